#pragma once

// Plain loops in wider precision: the oracle of the products.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <complex>
#include <type_traits>

namespace test {

template <class T>
using wide = std::conditional_t<std::is_same_v<T, double>, long double, std::complex<long double>>;

inline void add_product(long double& sum, long double x, long double y)
{
    sum += x * y;
}

// Written out, as the operator looks for NaN in each product: with that a matrix product takes five
// times as long.
template <class Complex>
void add_product(std::complex<long double>& sum, const Complex& x, const Complex& y)
{
    const std::complex<long double> a(x);
    const std::complex<long double> b(y);
    sum = {sum.real() + (a.real() * b.real() - a.imag() * b.imag()),
           sum.imag() + (a.real() * b.imag() + a.imag() * b.real())};
}

// A·B, summed in long double and rounded once. By columns of B, so that the sum stays in registers.
template <class T>
numerical::matrix<T> reference_product(const numerical::matrix<T>& a, const numerical::matrix<T>& b)
{
    numerical::matrix<T> c(a.rows, b.cols, numerical::aligned_vector<T>(a.rows * b.cols));
    numerical::aligned_vector<T> column(b.rows);
    for (std::size_t j = 0; j < b.cols; ++j) {
        for (std::size_t l = 0; l < b.rows; ++l)
            column[l] = b.data[l * b.cols + j];
        for (std::size_t i = 0; i < a.rows; ++i) {
            wide<T> sum(0);
            for (std::size_t l = 0; l < a.cols; ++l)
                add_product(sum, a.data[i * a.cols + l], column[l]);
            c.data[i * b.cols + j] = static_cast<T>(sum);
        }
    }
    return c;
}

} // namespace test
