#include "numerical/factor/qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/wide_qr_panel.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t panel_columns = 32;

// A column keeps its norm under reflections, but 2·d in H·y = y - 2·d·v and sums on the way may
// exceed it by some binary orders. Columns that may come that close to overflow are factored times
// 2^-64, which changes no digit of Q or of their columns of R. The others are left alone: times
// 2^-64 they might lose digits by underflow.
constexpr double greatest_safe_norm = 0x1p1007;
constexpr double overflow_guard = 0x1p-64;

template <class T>
std::size_t columns_of_block(std::size_t k, reflector_blocking blocking)
{
    if (blocking == reflector_blocking::by_panels)
        return panel_columns;
    return k >= least_widely_blocked ? wide_block_columns : block_columns<T>;
}

double safe_part(std::size_t rows)
{
    return greatest_safe_norm / std::sqrt(double(rows));
}

// The factor of each column.
template <class T>
aligned_vector<double> overflow_guards(const aligned_vector<T>& a, std::size_t rows,
                                       std::size_t columns)
{
    aligned_vector<double> guards(columns, 1.0);
    for (std::size_t i = 0; i < a.size(); ++i)
        if (any_part_above(&a[i], 1, safe_part(rows)))
            guards[i % columns] = overflow_guard;
    return guards;
}

template <class T>
void multiply_columns(aligned_vector<T>& a, const aligned_vector<double>& factors)
{
    for (std::size_t i = 0; i < a.size(); ++i)
        a[i] *= factors[i % factors.size()];
}

// The first k rows with the part below the diagonal cleared.
template <class T>
aligned_vector<T> upper_trapezoid(aligned_vector<T> a, std::size_t k, std::size_t columns)
{
    aligned_vector<T> r = a.size() == k * columns ? std::move(a) : copy_of(a.data(), k * columns);
    parallel_for(k, columns, [&](std::size_t i) { set_zero(r.data() + i * columns, i); });
    return r;
}

// x[i] *= factors[i·step], step being 0 or 1.
void multiply(double* x, const double* factors, std::size_t step, std::size_t n)
{
    const double first = *factors;
    for (std::size_t i = 0; i < n; ++i)
        x[i] *= step == 0 ? first : factors[i];
}

void multiply(complex* x, const complex* factors, std::size_t step, std::size_t n)
{
    multiply_full(gemm_path_current(), x, factors, step, n);
}

// The block loop, with look-ahead: the next panel's columns are updated and factored while other
// threads update those right of it.
//           from   to   next_to
//    from [  R     R   |   R    ]
//      to [  V   panel | update ]
template <class T>
class qr_panels
{
public:
    qr_panels(aligned_vector<T>& matrix, std::size_t row_count, std::size_t column_count,
              reflector_blocking panel_form)
        : a(matrix), rows(row_count), columns(column_count), blocking(panel_form),
          width(columns_of_block<T>(std::min(rows, columns), blocking))
    {
    }

    std::vector<reflector_block<T>> factorize();

private:
    aligned_vector<T>& a;
    std::size_t rows;
    std::size_t columns;
    reflector_blocking blocking;
    std::size_t width; // of a block

    reflector_block<T> factorize_panel(std::size_t from, std::size_t to);
    reflector_block<T> update_and_factorize(const reflector_block<T>& block, std::size_t to,
                                            std::size_t next_to);
};

template <class T>
std::vector<reflector_block<T>> qr_panels<T>::factorize()
{
    const std::size_t k = std::min(rows, columns);
    std::vector<reflector_block<T>> blocks;
    std::size_t to = std::min(width, k);
    blocks.push_back(factorize_panel(0, to));
    while (to < k) {
        const std::size_t next_to = std::min(to + width, k);
        blocks.push_back(update_and_factorize(blocks.back(), to, next_to));
        to = next_to;
    }
    if (to < columns)
        apply_reflector_block<block_operator::adjoint>(blocks.back(), a, columns, to, columns);
    return blocks;
}

template <class T>
reflector_block<T> qr_panels<T>::factorize_panel(std::size_t from, std::size_t to)
{
    const block_view<T> matrix{a.data(), rows, columns};
    const block_view<T> panel = matrix.sub(from, rows, from, to);
    return blocking == reflector_blocking::by_panels ? factor_qr_panel(panel, from)
                                                     : factor_wide_qr_panel(panel, from);
}

// The slabs write the columns from next_to on, the panel those before it alone.
template <class T>
reflector_block<T> qr_panels<T>::update_and_factorize(const reflector_block<T>& block,
                                                      std::size_t to, std::size_t next_to)
{
    constexpr std::size_t slabs_per_thread = 8; // small ones, as the caller joins late
    const std::size_t narrower = std::min(next_to - to, columns - next_to);
    if (narrower < least_tile_side) { // its sums would run in another order
        apply_reflector_block<block_operator::adjoint>(block, a, columns, to, columns);
        return factorize_panel(to, next_to);
    }
    const auto update_next = [&] {
        apply_reflector_block<block_operator::adjoint>(block, a, columns, to, next_to);
    };
    // Fewer columns are updated in less time than a panel is.
    const bool is_short = columns - next_to < 3 * width;
    if (is_short) // the other threads would wait for the panel: they take part in its update
        update_next();
    const block_view<T> c{a.data() + block.offset * columns, block.rows, columns};
    const slabs_application<block_operator::adjoint, T> update(
        block, c.sub(0, c.rows, next_to, columns), slabs_per_thread);
    reflector_block<T> next;
    const auto next_panel = [&] {
        if (!is_short)
            update_next();
        next = factorize_panel(to, next_to);
    };
    // The panel keeps the caller from the loop: a helper pays sooner than in one that both share.
    const std::size_t work = 2 * update.work();
    parallel_for_beside(
        update.count(), work, [&](std::size_t s) { update.apply(s); }, next_panel);
    return next;
}

} // namespace

// Drops the imaginary parts that rounding leaves on the diagonal.
template <class T>
aligned_vector<T> turn_diagonal_real(aligned_vector<T>& r, std::size_t k, std::size_t columns)
{
    aligned_vector<T> phases(k);
    const auto turn_row = [&](std::size_t i) {
        T* const diagonal = r.data() + i * columns + i;
        phases[i] = phase_of(*diagonal);
        const T conjugated = conjugate(phases[i]);
        multiply(diagonal, &conjugated, 0, columns - i);
        *diagonal = real_part(*diagonal);
    };
    parallel_for(k, columns, turn_row);
    return phases;
}

template <class T>
qr_reflections<T> householder_reflect(aligned_vector<T> a, std::size_t rows, std::size_t columns,
                                      reflector_blocking blocking)
{
    const std::size_t k = std::min(rows, columns);
    if (k == 0)
        return {upper_trapezoid(std::move(a), k, columns), {}};
    if (k <= panel_columns)
        blocking = reflector_blocking::by_panels;
    std::vector<reflector_block<T>> blocks = qr_panels<T>(a, rows, columns, blocking).factorize();
    return {upper_trapezoid(std::move(a), k, columns), std::move(blocks)};
}

// The first `width` >= k columns of the product of the blocks.
template <class T>
aligned_vector<T> formed_basis(const std::vector<reflector_block<T>>& blocks, std::size_t rows,
                               std::size_t k, std::size_t width)
{
    aligned_vector<T> q = uninitialized<T>(rows * width);
    for (std::size_t i = k; i < width; ++i) { // beyond the blocks Q begins as the identity
        set_zero(q.data() + i * width + k, width - k);
        q[i * width + i] = T(1);
    }
    for (auto block = blocks.rbegin(); block != blocks.rend(); ++block)
        extend_basis(*block, q, width);
    return q;
}

template <class T>
thin_qr<T> householder_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns,
                          basis_extent extent, reflector_blocking blocking)
{
    const std::size_t k = std::min(rows, columns);
    if (k == 0) // the other extent may be astronomic
        return {};
    aligned_vector<double> guards; // of the columns, where one needs it
    if (blocking == reflector_blocking::by_panels &&
        any_part_above_on_threads(a.data(), a.size(), safe_part(rows))) {
        guards = overflow_guards(a, rows, columns);
        multiply_columns(a, guards);
    }
    qr_reflections<T> reflections = householder_reflect(std::move(a), rows, columns, blocking);
    thin_qr<T> thin{{}, std::move(reflections.r)};
    const aligned_vector<T> phases = turn_diagonal_real(thin.r, k, columns);
    if (extent != basis_extent::none) {
        const std::size_t width = extent == basis_extent::thin ? k : rows;
        thin.q = formed_basis(reflections.blocks, rows, k, width);
        const auto turn_row = [&](std::size_t i) {
            multiply(thin.q.data() + i * width, phases.data(), 1, k);
        };
        parallel_for(rows, k, turn_row);
    }
    if (!guards.empty()) {
        for (double& guard : guards)
            guard = 1 / guard;
        multiply_columns(thin.r, guards);
    }
    return thin;
}

template <class T>
aligned_vector<T> completed_basis(const aligned_vector<T>& u, std::size_t rows, std::size_t k)
{
    const qr_reflections<T> reflections =
        householder_reflect(u, rows, k, reflector_blocking::by_panels);
    aligned_vector<T> basis = formed_basis(reflections.blocks, rows, k, rows);
    for (std::size_t i = 0; i < rows; ++i)
        std::copy_n(u.data() + i * k, k, basis.data() + i * rows);
    return basis;
}

template aligned_vector<double> turn_diagonal_real(aligned_vector<double>&, std::size_t,
                                                   std::size_t);
template aligned_vector<complex> turn_diagonal_real(aligned_vector<complex>&, std::size_t,
                                                    std::size_t);
template qr_reflections<double> householder_reflect(aligned_vector<double>, std::size_t,
                                                    std::size_t, reflector_blocking);
template qr_reflections<complex> householder_reflect(aligned_vector<complex>, std::size_t,
                                                     std::size_t, reflector_blocking);
template thin_qr<double> householder_qr(aligned_vector<double>, std::size_t, std::size_t,
                                        basis_extent, reflector_blocking);
template thin_qr<complex> householder_qr(aligned_vector<complex>, std::size_t, std::size_t,
                                         basis_extent, reflector_blocking);
template aligned_vector<double> completed_basis(const aligned_vector<double>&, std::size_t,
                                                std::size_t);
template aligned_vector<complex> completed_basis(const aligned_vector<complex>&, std::size_t,
                                                 std::size_t);

} // namespace numerical::detail
