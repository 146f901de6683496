#pragma once

// Plain loops in wider precision: the oracle of the products.

#include "numerical/matrix.hpp"

#include <complex>
#include <type_traits>

namespace test {

template <class T>
using wide = std::conditional_t<std::is_same_v<T, double>, long double, std::complex<long double>>;

// C + A·B, summed in long double and rounded once.
template <class T>
numerical::matrix<T> reference_product(const numerical::matrix<T>& a, const numerical::matrix<T>& b)
{
    numerical::matrix<T> c(a.rows, b.cols, std::vector<T>(a.rows * b.cols));
    std::vector<wide<T>> row(b.cols);
    for (std::size_t i = 0; i < a.rows; ++i) {
        std::fill(row.begin(), row.end(), wide<T>(0));
        for (std::size_t l = 0; l < a.cols; ++l) {
            const wide<T> x(a.data[i * a.cols + l]);
            for (std::size_t j = 0; j < b.cols; ++j)
                row[j] += x * wide<T>(b.data[l * b.cols + j]);
        }
        for (std::size_t j = 0; j < b.cols; ++j)
            c.data[i * b.cols + j] = static_cast<T>(row[j]);
    }
    return c;
}

} // namespace test
