#pragma once

// A block of a row-major array, named, so that a blocked algorithm reads like its picture, and the
// product on it. Products only ever add; who subtracts adds a negated copy.

#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// rows × cols elements from `first`, rows `stride` apart. T may be const.
template <class T>
struct block_view
{
    T* first;
    std::size_t rows;
    std::size_t cols;
    std::size_t stride;

    T* row(std::size_t i) const { return first + i * stride; }

    T& operator()(std::size_t i, std::size_t j) const { return first[i * stride + j]; }

    // Rows [from, to) of columns [left, right).
    block_view sub(std::size_t from, std::size_t to, std::size_t left, std::size_t right) const
    {
        return {first + from * stride + left, to - from, right - left, stride};
    }

    operator block_view<const T>() const requires(!std::is_const_v<T>)
    {
        return {first, rows, cols, stride};
    }
};

// C += A·B.
template <class T>
void add_product(block_view<const std::type_identity_t<T>> a,
                 block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    gemm<T>(c.rows, c.cols, a.cols, a.first, a.stride, b.first, b.stride, c.first, c.stride);
}

// C += AᴴB.
template <class T>
void add_adjoint_product(block_view<const std::type_identity_t<T>> a,
                         block_view<const std::type_identity_t<T>> b, block_view<T> c)
{
    gemm_adjoint<T>(c.rows, c.cols, a.rows, a.first, a.stride, b.first, b.stride, c.first,
                    c.stride);
}

// `to` := -A, contiguous by rows; the storage of `to` is reused.
template <class T>
void negate_into(std::vector<T>& to, block_view<const std::type_identity_t<T>> a)
{
    if (to.size() < a.rows * a.cols)
        to = uninitialized<T>(a.rows * a.cols);
    const std::size_t count = a.cols * sizeof(T) / sizeof(double);
    for (std::size_t i = 0; i < a.rows; ++i) {
        // The parts of complex numbers one by one: as numbers they don't vectorise.
        const auto* const from = reinterpret_cast<const double*>(a.row(i));
        auto* const parts = reinterpret_cast<double*>(to.data() + i * a.cols);
        for (std::size_t j = 0; j < count; ++j)
            parts[j] = -from[j];
    }
}

// -A, contiguous by rows.
template <class T>
std::vector<std::remove_const_t<T>> negated_copy(block_view<T> a)
{
    std::vector<std::remove_const_t<T>> copy;
    negate_into(copy, a);
    return copy;
}

// Rows x and y of two blocks change their elements.
template <class T>
void exchange_runs(T* x, T* y, std::size_t count)
{
    auto* const parts = reinterpret_cast<double*>(x);
    std::swap_ranges(parts, parts + count * sizeof(T) / sizeof(double),
                     reinterpret_cast<double*>(y));
}

// The bits of an element in one register: the compiler would move the parts of a complex number one
// by one.
template <class T>
struct element_bits
{
    using pair [[gnu::vector_size(16)]] = double;
    std::conditional_t<std::is_same_v<T, double>, double, pair> value;

    explicit element_bits(const T& from) { std::memcpy(&value, &from, sizeof(T)); }

    void store(T* to) const { std::memcpy(static_cast<void*>(to), &value, sizeof(T)); }
};

// The rows [i, i + 4) of A, within the columns [left, right), become four columns of `to`.
template <class T>
void transpose_four_rows(block_view<T> to, block_view<const std::type_identity_t<T>> a,
                         std::size_t i, std::size_t left, std::size_t right)
{
    for (std::size_t j = left; j < right; ++j) {
        const element_bits<T> x0(a(i, j));
        const element_bits<T> x1(a(i + 1, j));
        const element_bits<T> x2(a(i + 2, j));
        const element_bits<T> x3(a(i + 3, j));
        T* const four = &to(j, i);
        x0.store(four);
        x1.store(four + 1);
        x2.store(four + 2);
        x3.store(four + 3);
    }
}

// `to` := Aᵀ, in tiles, so that neither side walks a page for each element.
template <class T>
void transpose_into(block_view<T> to, block_view<const std::type_identity_t<T>> a)
{
    constexpr std::size_t tile = 32;
    for (std::size_t top = 0; top < a.rows; top += tile)
        for (std::size_t left = 0; left < a.cols; left += tile) {
            const std::size_t bottom = std::min(top + tile, a.rows);
            const std::size_t right = std::min(left + tile, a.cols);
            std::size_t i = top;
            for (; i + 4 <= bottom; i += 4)
                transpose_four_rows(to, a, i, left, right);
            for (; i < bottom; ++i)
                for (std::size_t j = left; j < right; ++j)
                    to(j, i) = a(i, j);
        }
}

} // namespace numerical::detail
