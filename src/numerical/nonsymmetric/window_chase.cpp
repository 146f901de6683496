#include "numerical/nonsymmetric/window_chase.hpp"

#include "numerical/counts.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace numerical::detail {
namespace {

// The reflectors of neighbouring bulges in a step, the first bulge being ahead: reflector i acts on
// rows and columns `row` - 3i and the two behind it of the window.
template <class T>
struct bulge_group
{
    std::size_t count = 0;
    std::size_t row = 0;
    std::array<bulge_reflector<T>, reflector_lanes> reflectors;
};

template <class T>
class window_chase
{
public:
    window_chase(const bulge_kernels<T>& forms, const chain_of_bulges& of,
                 const chain_window& place, block_view<T> inside, chain_record<T>& list)
        : kernels(forms), chain(of), window(place), h(inside), record(list)
    {
    }

    void run(const step_range& steps);

private:
    bulge_group<T> form(std::size_t step, std::size_t first, std::size_t last);
    void read(std::size_t bulge, std::size_t k, T (&x)[3]) const;
    void write(std::size_t k, const T& beta);
    void apply(const bulge_group<T>& group) const;
    void apply_one(std::size_t k, const bulge_reflector<T>& reflector) const;
    void apply_two(std::size_t k, const bulge_reflector<T>& behind,
                   const bulge_reflector<T>& ahead) const;

    const bulge_kernels<T>& kernels;
    const chain_of_bulges chain;
    const chain_window window;
    const block_view<T> h;
    chain_record<T>& record;
};

// No bulge of a group reads what another one writes in the same step, and the group before may be
// applied after this one is formed.
template <class T>
void window_chase<T>::run(const step_range& steps)
{
    const std::size_t bulges = chain.shifts.size();
    const std::size_t half = (bulges + 1) / 2;
    bulge_group<T> waiting;
    for (std::size_t t = steps.from; t < steps.to; ++t)
        for (std::size_t first = 0; first < bulges; first += half) {
            if (half == bulges)
                apply(std::exchange(waiting, {}));
            const bulge_group<T> next = form(t, first, std::min(first + half, bulges));
            apply(waiting);
            waiting = next;
        }
    apply(waiting);
}

// The reflectors of those of the bulges [first, last) that have entered the block and haven't left
// it.
template <class T>
bulge_group<T> window_chase<T>::form(std::size_t step, std::size_t first, std::size_t last)
{
    const std::size_t front = chain.top + step + 2;
    if (front > chain.end)
        first = std::max(first, ceil_div(front - chain.end, bulge_spacing));
    last = std::min(last, step / bulge_spacing + 1);
    bulge_group<T> group;
    if (first >= last)
        return group;
    group.count = last - first;
    group.row = chain.top + step - bulge_spacing * first - window.from;
    T x[reflector_lanes][3];
    T beta[reflector_lanes];
    for (std::size_t i = 0; i < group.count; ++i)
        read(first + i, group.row - bulge_spacing * i, x[i]);
    reflectors_of_three(kernels.path, x, group.count, group.reflectors.data(), beta);
    for (std::size_t i = 0; i < group.count; ++i) {
        const std::size_t k = group.row - bulge_spacing * i;
        if (k > 0)
            write(k, beta[i]);
        record.add(first + i, k + window.from - window.low, k + 2 == h.rows, group.reflectors[i]);
    }
    return group;
}

// Row 0 of the window is the top of the block, or has been passed by all bulges.
template <class T>
void window_chase<T>::read(std::size_t bulge, std::size_t k, T (&x)[3]) const
{
    if (k == 0)
        return bulge_start<T>(h, 0, h.rows, chain.shifts[bulge], x);
    x[0] = h(k, k - 1);
    x[1] = h(k + 1, k - 1);
    x[2] = k + 2 < h.rows ? h(k + 2, k - 1) : T(0);
}

template <class T>
void window_chase<T>::write(std::size_t k, const T& beta)
{
    h(k, k - 1) = beta;
    h(k + 1, k - 1) = T(0);
    if (k + 2 < h.rows)
        h(k + 2, k - 1) = T(0);
}

template <class T>
void window_chase<T>::apply(const bulge_group<T>& group) const
{
    std::size_t i = 0;
    const auto row = [&] { return group.row - bulge_spacing * i; };
    if (group.count % 2 != 0 || (group.count != 0 && row() + 2 == h.rows)) {
        apply_one(row(), group.reflectors[0]);
        ++i;
    }
    for (; i + 1 < group.count; i += 2)
        apply_two(row() - bulge_spacing, group.reflectors[i + 1], group.reflectors[i]);
    if (i < group.count)
        apply_one(row(), group.reflectors[i]);
}

template <class T>
void window_chase<T>::apply_one(std::size_t k, const bulge_reflector<T>& reflector) const
{
    const std::size_t count = std::min<std::size_t>(3, h.rows - k);
    const std::size_t row_to = std::min(k + 4, h.rows);
    apply_reflector<T>(kernels, {h, {nullptr, 0, 0}},
                       {.k = k, .count = count, .col_from = k, .row_to = row_to}, {0, h.cols},
                       reflector);
}

// The bulge ahead is three rows below row k, that of the bulge behind, which has nothing but zeros
// in the rows that only the bulge ahead reaches.
template <class T>
void window_chase<T>::apply_two(std::size_t k, const bulge_reflector<T>& behind,
                                const bulge_reflector<T>& ahead) const
{
    const std::size_t next = k + bulge_spacing;
    kernels.rows(&h(next, next), h.stride, h.cols - next, ahead);
    kernels.rows(&h(k, k), h.stride, h.cols - k, behind);
    kernels.columns_of_two(&h(0, k), h.stride, std::min(next + 4, h.rows), behind, ahead);
}

} // namespace

template <class T>
void chase_through_window(const bulge_kernels<T>& kernels, const chain_of_bulges& chain,
                          const chain_window& window, const step_range& steps, block_view<T> inside,
                          chain_record<T>& record)
{
    window_chase<T>(kernels, chain, window, inside, record).run(steps);
}

template void chase_through_window(const bulge_kernels<double>&, const chain_of_bulges&,
                                   const chain_window&, const step_range&, block_view<double>,
                                   chain_record<double>&);
template void chase_through_window(const bulge_kernels<complex>&, const chain_of_bulges&,
                                   const chain_window&, const step_range&, block_view<complex>,
                                   chain_record<complex>&);

} // namespace numerical::detail
