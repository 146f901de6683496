#pragma once

// One product C += A·B inside larger arrays: NaN beside the operands, guards beside C.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>

namespace test {

struct product_shape
{
    std::size_t m, n, k;
    std::size_t padding = 3; // of each stride
};

template <class T>
struct product_case
{
    product_shape shape;
    std::size_t lda, ldb, ldc;
    numerical::aligned_vector<T> a, b, c;

    // Values of `make(count, seed)`, each operand `offset` elements into its array.
    template <class Make>
    product_case(product_shape s, const Make& make)
        : shape(s), lda(s.k + s.padding), ldb(s.n + s.padding), ldc(s.n + s.padding),
          a(embedded(make(s.m * s.k, 1), s.m, s.k, lda)),
          b(embedded(make(s.k * s.n, 2), s.k, s.n, ldb)),
          c(embedded(make(s.m * s.n, 3), s.m, s.n, ldc))
    {
    }

    static constexpr std::size_t offset = 1; // an odd address

    T* c_first() { return c.data() + offset; }

    const T* a_first() const { return a.data() + offset; }

    const T* b_first() const { return b.data() + offset; }

    template <class Product>
    void run(const Product& product)
    {
        product(shape.m, shape.n, shape.k, a_first(), lda, b_first(), ldb, c_first(), ldc);
    }

    // Sets every element of C.
    void fill_c(T value)
    {
        for (std::size_t i = 0; i < shape.m; ++i)
            std::fill_n(c_first() + i * ldc, shape.n, value);
    }

private:
    static numerical::aligned_vector<T> embedded(const numerical::aligned_vector<T>& values,
                                                 std::size_t rows, std::size_t cols,
                                                 std::size_t stride)
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        numerical::aligned_vector<T> out(rows * stride + 2 * offset, T(nan));
        for (std::size_t i = 0; i < rows; ++i)
            for (std::size_t j = 0; j < cols; ++j)
                out[offset + i * stride + j] = values[i * cols + j];
        return out;
    }
};

// Equal to the bit, the guards of NaN included.
template <class T>
bool same_bits(const numerical::aligned_vector<T>& x, const numerical::aligned_vector<T>& y)
{
    return x.size() == y.size() &&
           (x.empty() || std::memcmp(x.data(), y.data(), x.size() * sizeof(T)) == 0);
}

inline std::string label(const product_shape& s)
{
    return std::to_string(s.m) + "x" + std::to_string(s.n) + "x" + std::to_string(s.k) +
           " padded by " + std::to_string(s.padding);
}

} // namespace test
