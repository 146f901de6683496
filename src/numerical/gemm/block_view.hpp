#pragma once

// Products of blocks. They only ever add: to subtract, negate a copy of an operand.

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/block_view.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cstddef>
#include <type_traits>

namespace numerical::detail {

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

// Brings a stretch of a row, not an empty one, into cache. For loops over short stretches of long
// rows, whose next one the hardware prefetcher doesn't foresee.
template <class T>
void prefetch_run(const T* run, std::size_t count)
{
    for (std::size_t at = 0; at < count; at += line_elements<T>)
        __builtin_prefetch(run + at);
    __builtin_prefetch(run + count - 1);
}

// How many rows such a loop prefetches ahead.
constexpr std::size_t runs_ahead = 8;

// to[i] := -from[i].
template <class T>
void negate_run(T* to, const T* from, std::size_t count)
{
    // The parts of complex numbers one by one: as numbers they don't vectorise.
    const auto* const parts = as_doubles(from);
    auto* const negative = as_doubles(to);
    for (std::size_t i = 0; i < count * sizeof(T) / sizeof(double); ++i)
        negative[i] = -parts[i];
}

// `to` := -A, contiguous by rows; the storage of `to` is reused.
template <class T>
void negate_into(aligned_vector<T>& to, block_view<const std::type_identity_t<T>> a)
{
    if (to.size() < a.rows * a.cols)
        to = uninitialized<T>(a.rows * a.cols);
    for (std::size_t i = 0; i < a.rows; ++i) {
        prefetch_run(a.row(std::min(i + runs_ahead, a.rows - 1)), a.cols);
        negate_run(to.data() + i * a.cols, a.row(i), a.cols);
    }
}

// -A, contiguous by rows.
template <class T>
aligned_vector<std::remove_const_t<T>> negated_copy(block_view<T> a)
{
    aligned_vector<std::remove_const_t<T>> copy;
    negate_into(copy, a);
    return copy;
}

// Swaps row x of one block with row y of another.
template <class T>
void exchange_runs(T* x, T* y, std::size_t count)
{
    auto* const parts = as_doubles(x);
    std::swap_ranges(parts, parts + count * sizeof(T) / sizeof(double), as_doubles(y));
}

} // namespace numerical::detail
