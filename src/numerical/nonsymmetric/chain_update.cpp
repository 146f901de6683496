#include "numerical/nonsymmetric/chain_update.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// A strip is too large for the stack; allocating it costs little compared to applying the
// reflectors.
template <class T>
aligned_vector<T> strip_of(std::size_t rows)
{
    return uninitialized<T>(rows * strip_columns<T>);
}

template <class T>
void reflect_two(T* rows, const strip_reflector<T>& h, std::size_t columns)
{
    constexpr std::size_t width = strip_columns<T>;
    const T w1 = conjugate(h.w1);
    for (std::size_t j = 0; j < columns; ++j) {
        const T t = rows[j] + finite_product(w1, rows[width + j]);
        rows[j] -= h.tau * t;
        rows[width + j] -= finite_product(h.tau_w1, t);
    }
}

template <class T>
void reflect(int path, T* rows, std::size_t columns, const std::vector<bulge_pass<T>>& passes)
{
    constexpr std::size_t doubles = sizeof(T) / sizeof(double);
    for (const bulge_pass<T>& pass : passes) {
        if (pass.reflectors.empty())
            continue;
        T* const first = rows + pass.first * strip_columns<T>;
        const std::size_t threes = pass.reflectors.size() - (pass.ends_with_two ? 1 : 0);
        if (threes != 0)
            reflect_strip_on(path, first, pass.reflectors.data(), threes, columns * doubles);
        if (pass.ends_with_two)
            reflect_two(first + threes * strip_columns<T>, pass.reflectors.back(), columns);
    }
}

// Prefetches the rows of the next strip, which are too short for the hardware prefetcher, into L2:
// the copy of a strip fills L1.
template <class T>
void prefetch_rows(block_view<T> c)
{
    for (std::size_t i = 0; i < c.rows; ++i)
        for (std::size_t j = 0; j < c.cols; j += line_elements<T>)
            __builtin_prefetch(c.row(i) + j, 1, 2);
}

// Up to strip_columns columns of a block of rows.
template <class T>
void update_rows(int path, block_view<T> c, const std::vector<bulge_pass<T>>& passes)
{
    constexpr std::size_t width = strip_columns<T>;
    aligned_vector<T> copy = strip_of<T>(c.rows);
    for (std::size_t i = 0; i < c.rows; ++i) {
        T* const row = copy.data() + i * width;
        std::copy_n(c.row(i), c.cols, row);
        set_zero(row + c.cols, width - c.cols);
    }
    prefetch_rows<T>(
        {.first = c.first + c.cols, .rows = c.rows, .cols = c.cols, .stride = c.stride});
    reflect(path, copy.data(), c.cols, passes);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(copy.data() + i * width, c.cols, c.row(i));
}

// Up to strip_columns rows, multiplied from the right: as rows of the transpose, by the conjugate
// reflectors.
template <class T>
void update_columns(int path, block_view<T> c, const std::vector<bulge_pass<T>>& conjugates)
{
    constexpr std::size_t width = strip_columns<T>;
    aligned_vector<T> copy = strip_of<T>(c.cols);
    if (c.rows < width)
        set_zero(copy.data(), c.cols * width);
    transpose_into<T>({.first = copy.data(), .rows = c.cols, .cols = c.rows, .stride = width}, c);
    prefetch_rows<T>({.first = c.row(c.rows), .rows = c.rows, .cols = c.cols, .stride = c.stride});
    reflect(path, copy.data(), c.rows, conjugates);
    transpose_into<T>(c, {.first = copy.data(), .rows = c.cols, .cols = c.rows, .stride = width});
}

template <class T>
std::size_t strips_of(std::size_t from, std::size_t to)
{
    return from < to ? ceil_div(to - from, strip_columns<T>) : 0;
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
void clear_passes(std::vector<bulge_pass<T>>& passes, std::size_t bulges)
{
    passes.resize(bulges);
    for (bulge_pass<T>& pass : passes) {
        pass.reflectors.clear();
        pass.ends_with_two = false;
    }
}

template <class T>
void append(bulge_pass<T>& pass, std::size_t row, bool of_two, const strip_reflector<T>& h)
{
    if (pass.reflectors.empty())
        pass.first = row;
    pass.ends_with_two = of_two;
    pass.reflectors.push_back(h);
}

} // namespace

template <class T>
void chain_record<T>::clear(std::size_t bulges)
{
    clear_passes(passes, bulges);
    if constexpr (!std::is_same_v<T, double>)
        clear_passes(conjugates, bulges);
}

template <class T>
void chain_record<T>::add(std::size_t bulge, std::size_t row, bool of_two,
                          const bulge_reflector<T>& h)
{
    const strip_reflector<T> reflector{
        .tau = h.tau, .w1 = h.w1, .w2 = h.w2, .tau_w1 = h.tau * h.w1, .tau_w2 = h.tau * h.w2};
    append(passes[bulge], row, of_two, reflector);
    if constexpr (!std::is_same_v<T, double>)
        append(conjugates[bulge], row, of_two, conjugated(reflector));
}

template <class T>
std::size_t chain_record<T>::reflectors() const
{
    std::size_t count = 0;
    for (const bulge_pass<T>& pass : passes)
        count += pass.reflectors.size();
    return count;
}

template <class T>
chain_update<T>::chain_update(const schur_views<T>& views, const chain_window& of,
                              const chain_record<T>& chain, const similarity_reach& how_far)
    : s(views), window(of), record(chain), reach(how_far),
      right_strips(strips_of<T>(of.to, how_far.col_to)), z_strips(strips_of<T>(0, views.z.cols)),
      all_strips(right_strips + z_strips + strips_of<T>(how_far.row_from, of.from))
{
}

template <class T>
std::size_t chain_update<T>::strips_before(std::size_t to) const
{
    return std::min(strips_of<T>(window.to, to), right_strips);
}

template <class T>
std::size_t chain_update<T>::work_per_strip() const
{
    // Many times the time of a strip: while it runs the caller has the next window to cross, so
    // that a few strips are worth a helper, and the workers poll from one window to the next, so
    // that few of them have to be woken.
    constexpr std::size_t units_per_double = 16;
    return record.reflectors() * strip_doubles * units_per_double;
}

template <class T>
void chain_update<T>::update_strip(std::size_t strip) const
{
    constexpr std::size_t width = strip_columns<T>;
    if (strip < right_strips) {
        const std::size_t left = window.to + strip * width;
        const std::size_t right = std::min(left + width, reach.col_to);
        update_rows(path, s.h.sub(window.low, window.high, left, right), record.for_rows());
    } else if (strip < right_strips + z_strips) {
        const std::size_t left = (strip - right_strips) * width;
        const std::size_t right = std::min(left + width, s.z.cols);
        update_rows(path, s.z.sub(window.low, window.high, left, right), record.for_rows());
    } else {
        const std::size_t top = reach.row_from + (strip - right_strips - z_strips) * width;
        const std::size_t bottom = std::min(top + width, window.from);
        update_columns(path, s.h.sub(top, bottom, window.low, window.high), record.for_columns());
    }
}

template class chain_record<double>;
template class chain_record<complex>;
template class chain_update<double>;
template class chain_update<complex>;

} // namespace numerical::detail
