#include "numerical/nonsymmetric/chain_update.hpp"

#include "numerical/counts.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// A strip is too large for the stack; allocating it costs little compared to applying the
// reflectors.
template <class T>
std::vector<T> strip_of(std::size_t rows)
{
    return uninitialized<T>(rows * strip_columns<T>);
}

template <class T>
strip_reflector<T> conjugated(const strip_reflector<T>& h)
{
    return {.tau = h.tau,
            .w1 = conjugate(h.w1),
            .w2 = conjugate(h.w2),
            .tau_w1 = conjugate(h.tau_w1),
            .tau_w2 = conjugate(h.tau_w2)};
}

template <class T>
void reflect_two(T* rows, const strip_reflector<T>& h)
{
    constexpr std::size_t width = strip_columns<T>;
    const T w1 = conjugate(h.w1);
    for (std::size_t j = 0; j < width; ++j) {
        const T t = rows[j] + finite_product(w1, rows[width + j]);
        rows[j] -= h.tau * t;
        rows[width + j] -= finite_product(h.tau_w1, t);
    }
}

template <class T>
void reflect(int path, T* rows, const std::vector<bulge_pass<T>>& passes)
{
    for (const bulge_pass<T>& pass : passes) {
        if (pass.reflectors.empty())
            continue;
        T* const first = rows + pass.first * strip_columns<T>;
        const std::size_t threes = pass.reflectors.size() - (pass.ends_with_two ? 1 : 0);
        if (threes != 0)
            reflect_strip_on(path, first, pass.reflectors.data(), threes);
        if (pass.ends_with_two)
            reflect_two(first + threes * strip_columns<T>, pass.reflectors.back());
    }
}

// Prefetches the cache lines with which the rows of the next strip begin: they are too far apart
// for the hardware prefetcher.
template <class T>
void prefetch_rows(block_view<T> c)
{
    for (std::size_t i = 0; i < c.rows; ++i)
        for (std::size_t j = 0; j < c.cols; j += line_elements<T>)
            __builtin_prefetch(c.row(i) + j, 1);
}

// Up to strip_columns columns of a block of rows.
template <class T>
void update_rows(int path, block_view<T> c, const std::vector<bulge_pass<T>>& passes)
{
    constexpr std::size_t width = strip_columns<T>;
    std::vector<T> copy = strip_of<T>(c.rows);
    if (c.cols < width)
        set_zero(copy.data(), c.rows * width);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(c.row(i), c.cols, copy.data() + i * width);
    prefetch_rows<T>(
        {.first = c.first + c.cols, .rows = c.rows, .cols = c.cols, .stride = c.stride});
    reflect(path, copy.data(), passes);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(copy.data() + i * width, c.cols, c.row(i));
}

// Up to strip_columns rows, multiplied from the right: as rows of the transpose, by the conjugate
// reflectors.
template <class T>
void update_columns(int path, block_view<T> c, const std::vector<bulge_pass<T>>& conjugates)
{
    constexpr std::size_t width = strip_columns<T>;
    std::vector<T> copy = strip_of<T>(c.cols);
    if (c.rows < width)
        set_zero(copy.data(), c.cols * width);
    transpose_into<T>({.first = copy.data(), .rows = c.cols, .cols = c.rows, .stride = width}, c);
    prefetch_rows<T>({.first = c.row(c.rows), .rows = c.rows, .cols = c.cols, .stride = c.stride});
    reflect(path, copy.data(), conjugates);
    transpose_into<T>(c, {.first = copy.data(), .rows = c.cols, .cols = c.rows, .stride = width});
}

template <class T>
std::vector<bulge_pass<T>> conjugated(std::vector<bulge_pass<T>> passes)
{
    if constexpr (!std::is_same_v<T, double>)
        for (bulge_pass<T>& pass : passes)
            for (strip_reflector<T>& h : pass.reflectors)
                h = conjugated(h);
    return passes;
}

template <class T>
std::size_t strips_of(std::size_t extent)
{
    return ceil_div(extent, strip_columns<T>);
}

} // namespace

template <class T>
void chain_record<T>::clear(std::size_t bulges)
{
    passes.resize(bulges);
    for (bulge_pass<T>& pass : passes) {
        pass.reflectors.clear();
        pass.ends_with_two = false;
    }
}

template <class T>
void chain_record<T>::add(std::size_t bulge, std::size_t row, bool of_two,
                          const bulge_reflector<T>& h)
{
    bulge_pass<T>& pass = passes[bulge];
    if (pass.reflectors.empty())
        pass.first = row;
    pass.ends_with_two = of_two;
    pass.reflectors.push_back(
        {.tau = h.tau, .w1 = h.w1, .w2 = h.w2, .tau_w1 = h.tau * h.w1, .tau_w2 = h.tau * h.w2});
}

template <class T>
void update_by_chain(const schur_views<T>& s, std::size_t low, std::size_t high,
                     const window_range& window, const chain_record<T>& chain,
                     const similarity_reach& reach)
{
    constexpr std::size_t width = strip_columns<T>;
    const int path = gemm_path_current();
    const std::size_t right = window.to < reach.col_to ? reach.col_to - window.to : 0;
    const std::size_t above = reach.row_from < window.from ? window.from - reach.row_from : 0;
    const std::size_t right_strips = strips_of<T>(right);
    const std::size_t z_strips = right_strips + strips_of<T>(s.z.cols);
    const std::size_t strips = z_strips + strips_of<T>(above);
    const std::vector<bulge_pass<T>> conjugates =
        above > 0 ? conjugated(chain.passes) : std::vector<bulge_pass<T>>();
    const auto update_strip = [&](std::size_t i) {
        if (i < right_strips) {
            const std::size_t left = window.to + i * width;
            update_rows(path, s.h.sub(low, high, left, std::min(left + width, reach.col_to)),
                        chain.passes);
        } else if (i < z_strips) {
            const std::size_t left = (i - right_strips) * width;
            update_rows(path, s.z.sub(low, high, left, std::min(left + width, s.z.cols)),
                        chain.passes);
        } else {
            const std::size_t top = reach.row_from + (i - z_strips) * width;
            update_columns(path, s.h.sub(top, std::min(top + width, window.from), low, high),
                           conjugates);
        }
    };
    // The sweeps between the loops take longer than a worker polls: a loop has to repay its waking.
    constexpr std::size_t doubles_per_unit = 8;
    std::size_t reflectors = 0;
    for (const bulge_pass<T>& pass : chain.passes)
        reflectors += pass.reflectors.size();
    parallel_for(strips, reflectors * strip_doubles / doubles_per_unit, update_strip);
}

template struct chain_record<double>;
template struct chain_record<complex>;
template void update_by_chain(const schur_views<double>&, std::size_t, std::size_t,
                              const window_range&, const chain_record<double>&,
                              const similarity_reach&);
template void update_by_chain(const schur_views<complex>&, std::size_t, std::size_t,
                              const window_range&, const chain_record<complex>&,
                              const similarity_reach&);

} // namespace numerical::detail
