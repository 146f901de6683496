#include "numerical/nonsymmetric/hessenberg.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/nonsymmetric/hessenberg_panel.hpp"
#include "numerical/nonsymmetric/hessenberg_steps.hpp"
#include "numerical/nonsymmetric/hessenberg_update.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

template <class T>
void conjugate_into(aligned_vector<T>& to, const T* from, std::size_t n)
{
    to.resize(n);
    for (std::size_t i = 0; i < n; ++i)
        to[i] = conjugate(from[i]);
}

// --- column by column ----------------------------------------------------------------------------

template <class T>
void reduce_columns(block_view<T> a, std::vector<aligned_vector<T>>& reflectors)
{
    const std::size_t n = a.rows;
    aligned_vector<T> conjugated;
    for (std::size_t k = 0; k + 2 < n; ++k) {
        aligned_vector<T> x(n - k - 1);
        for (std::size_t i = k + 1; i < n; ++i)
            x[i - k - 1] = a(i, k);
        if (is_zero_beyond_first(x))
            continue;
        a(k + 1, k) = householder_in_place(x);
        for (std::size_t i = k + 2; i < n; ++i)
            a(i, k) = T(0);
        reflect_rows(a.sub(k + 1, n, k + 1, n), x);
        conjugate_into(conjugated, x.data(), x.size()); // columns are multiplied by a transpose
        reflect_columns(a.sub(0, n, k + 1, n), conjugated);
        reflectors[k + 1] = std::move(x);
    }
}

// --- by panels -----------------------------------------------------------------------------------

// Every row of A begins on a line.
template <class T>
std::vector<reflector_block<T>> reduce_aligned(block_view<T> a)
{
    const std::size_t columns = a.rows - 1; // to be reduced
    std::vector<reflector_block<T>> blocks;
    panel_reducer<T> panels(a);
    for (std::size_t from = 0; from < columns; from += hessenberg_panel) {
        const std::size_t to = std::min(from + hessenberg_panel, columns);
        panel_update<T> update(panels.reduce(from, to), a, to);
        update.apply();
        blocks.push_back(update.take_block());
    }
    return blocks;
}

// A stride of whole lines for rows of n elements, so that no vector of a row lies across two lines.
// One of whole pages would bring all rows to the same sets of L1.
template <class T>
std::size_t stride_by_lines(std::size_t n)
{
    constexpr std::size_t page_elements = 4096 / sizeof(T);
    const std::size_t stride = round_up(n, line_elements<T>);
    return stride % page_elements == 0 ? stride + line_elements<T> : stride;
}

template <class T>
void copy_matrix(block_view<T> to, block_view<const T> from)
{
    for (std::size_t i = 0; i < from.rows; ++i)
        std::copy_n(from.row(i), from.cols, to.row(i));
}

} // namespace

template <class T>
std::vector<reflector_block<T>> reduce_hessenberg_by_panels(block_view<T> a)
{
    const std::size_t stride = stride_by_lines<T>(a.cols);
    if (stride == a.stride)
        return reduce_aligned(a);
    aligned_vector<T> store = uninitialized<T>(a.rows * stride);
    const block_view<T> by_lines{store.data(), a.rows, a.cols, stride};
    copy_matrix<T>(by_lines, a);
    auto blocks = reduce_aligned(by_lines);
    copy_matrix<T>(a, by_lines);
    return blocks;
}

template <class T>
hessenberg_reduction<T> reduce_to_hessenberg(aligned_vector<T>& a, std::size_t n)
{
    const block_view<T> view{a.data(), n, n};
    hessenberg_reduction<T> reduction{n, {}, {}};
    if (n < hessenberg_crossover) {
        reduction.reflectors.resize(n);
        reduce_columns(view, reduction.reflectors);
    } else if (n <= most_order_of_steps<T>) {
        reduction.blocks = reduce_hessenberg_by_steps(view);
    } else {
        reduction.blocks = reduce_hessenberg_by_panels(view);
    }
    return reduction;
}

template <class T>
aligned_vector<T> hessenberg_basis(const hessenberg_reduction<T>& reduction)
{
    const std::size_t n = reduction.order;
    aligned_vector<T> q = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        q[i * n + i] = 1;
    for (auto block = reduction.blocks.rbegin(); block != reduction.blocks.rend(); ++block)
        extend_basis(*block, q, n);
    for (std::size_t i = reduction.reflectors.size(); i-- > 0;)
        if (!reduction.reflectors[i].empty())
            reflect_rows(q, n, reduction.reflectors[i], i, i);
    return q;
}

template std::vector<reflector_block<double>> reduce_hessenberg_by_panels(block_view<double>);
template std::vector<reflector_block<complex>> reduce_hessenberg_by_panels(block_view<complex>);
template hessenberg_reduction<double> reduce_to_hessenberg(aligned_vector<double>&, std::size_t);
template hessenberg_reduction<complex> reduce_to_hessenberg(aligned_vector<complex>&, std::size_t);
template aligned_vector<double> hessenberg_basis(const hessenberg_reduction<double>&);
template aligned_vector<complex> hessenberg_basis(const hessenberg_reduction<complex>&);

} // namespace numerical::detail
