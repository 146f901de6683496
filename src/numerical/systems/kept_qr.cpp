#include "numerical/systems/kept_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/systems/pivoted_qr.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t block_elements = reflectors_of_block * reflectors_of_block;

// Column norms up to this stay finite while reflectors are applied; the limit of qr.
constexpr double greatest_safe_norm = 0x1p1007;
constexpr double overflow_guard = 0x1p-64;

template <class T>
void multiply_all(aligned_vector<T>& a, double factor)
{
    for (T& x : a)
        x *= factor;
}

template <class T>
void keep_blocks(const std::vector<reflector_block<T>>& blocks, std::size_t rows, std::size_t k,
                 qr_factors<T>& kept)
{
    kept.vectors = zeros<T>(rows * k);
    kept.factors = zeros<T>(blocks.size() * block_elements);
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        const reflector_block<T>& block = blocks[b];
        for (std::size_t i = 0; i < block.rows; ++i)
            std::copy_n(block.vectors.data() + i * block.count, block.count,
                        kept.vectors.data() + (block.offset + i) * k + block.offset);
        for (std::size_t i = 0; i < block.count; ++i)
            std::copy_n(block.factor.data() + i * block.count, block.count,
                        kept.factors.data() + b * block_elements + i * reflectors_of_block);
    }
}

// Block b of the reflectors.
template <class T>
reflector_block<T> kept_block(const kept_reflectors<T>& q, std::size_t b)
{
    const std::size_t offset = b * reflectors_of_block;
    const std::size_t count = std::min(reflectors_of_block, q.vectors.cols - offset);
    const std::size_t height = q.vectors.rows - offset;
    reflector_block<T> block{.offset = offset,
                             .rows = height,
                             .count = count,
                             .vectors = uninitialized<T>(height * count),
                             .factor = uninitialized<T>(count * count)};
    for (std::size_t i = 0; i < height; ++i)
        std::copy_n(&q.vectors(offset + i, offset), count, block.vectors.data() + i * count);
    for (std::size_t i = 0; i < count; ++i)
        std::copy_n(q.factors + b * block_elements + i * reflectors_of_block, count,
                    block.factor.data() + i * count);
    return block;
}

template <class T>
std::size_t block_count(const kept_reflectors<T>& q)
{
    return ceil_div(q.vectors.cols, reflectors_of_block);
}

} // namespace
} // namespace detail

template <class T>
qr_factors<T> factor_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns,
                        column_order order)
{
    const std::size_t k = std::min(rows, columns);
    qr_factors<T> kept;
    kept.permutation.resize(columns);
    std::iota(kept.permutation.begin(), kept.permutation.end(), std::size_t{0});
    if (k == 0)
        return kept;
    const bool guarded = detail::any_part_above_on_threads(
        a.data(), a.size(), detail::greatest_safe_norm / std::sqrt(double(rows)));
    if (guarded)
        detail::multiply_all(a, detail::overflow_guard);
    detail::qr_reflections<T> reflections;
    if (order == column_order::pivoted) {
        pivoted_reflections<T> pivoted = pivoted_reflect(a, rows, columns);
        reflections = std::move(pivoted.reflections);
        kept.permutation = std::move(pivoted.permutation);
    } else {
        reflections = detail::householder_reflect(std::move(a), rows, columns);
    }
    detail::keep_blocks(reflections.blocks, rows, k, kept);
    kept.r = std::move(reflections.r);
    kept.phases = detail::turn_diagonal_real(kept.r, k, columns);
    if (guarded)
        detail::multiply_all(kept.r, 1 / detail::overflow_guard);
    return kept;
}

template <class T>
void multiply_by_q(const kept_reflectors<T>& q, aligned_vector<T>& c, std::size_t columns)
{
    for (std::size_t i = 0; i < q.vectors.cols; ++i)
        for (std::size_t j = 0; j < columns; ++j)
            c[i * columns + j] *= q.phases[i];
    for (std::size_t b = detail::block_count(q); b-- > 0 && columns != 0;)
        detail::apply_reflector_block<detail::block_operator::direct>(detail::kept_block(q, b), c,
                                                                      columns, 0, columns);
}

template <class T>
void multiply_by_adjoint_q(const kept_reflectors<T>& q, aligned_vector<T>& c, std::size_t columns)
{
    for (std::size_t b = 0; b < detail::block_count(q) && columns != 0; ++b)
        detail::apply_reflector_block<detail::block_operator::adjoint>(detail::kept_block(q, b), c,
                                                                       columns, 0, columns);
    for (std::size_t i = 0; i < q.vectors.cols; ++i)
        for (std::size_t j = 0; j < columns; ++j)
            c[i * columns + j] *= detail::conjugate(q.phases[i]);
}

using detail::complex;

template qr_factors<double> factor_qr(aligned_vector<double>, std::size_t, std::size_t,
                                      column_order);
template qr_factors<complex> factor_qr(aligned_vector<complex>, std::size_t, std::size_t,
                                       column_order);
template void multiply_by_q(const kept_reflectors<double>&, aligned_vector<double>&, std::size_t);
template void multiply_by_q(const kept_reflectors<complex>&, aligned_vector<complex>&, std::size_t);
template void multiply_by_adjoint_q(const kept_reflectors<double>&, aligned_vector<double>&,
                                    std::size_t);
template void multiply_by_adjoint_q(const kept_reflectors<complex>&, aligned_vector<complex>&,
                                    std::size_t);

} // namespace numerical
