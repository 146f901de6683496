#include "numerical/nonsymmetric/bulge_chain.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// At step t bulge j forms its reflector in row top + t - 3j, the first bulge being ahead. No bulge
// writes what another one reads in the same step.
template <class T>
class chain
{
public:
    chain(const schur_views<T>& views, std::size_t first, std::size_t last,
          std::span<const shift_pair> pairs, const similarity_reach& how_far,
          sweep_storage<T>& work)
        : s(views), top(first), end(last), shifts(pairs), reach(how_far), storage(work)
    {
    }

    void run() const;

private:
    void run_window(std::size_t from, std::size_t to) const;
    void run_steps(const schur_views<T>& window, std::size_t origin, std::size_t low,
                   std::size_t from, std::size_t to) const;

    const bulge_kernels<T> kernels{gemm_path_current()};
    const schur_views<T> s;
    const std::size_t top;
    const std::size_t end;
    const std::span<const shift_pair> shifts;
    const similarity_reach reach;
    sweep_storage<T>& storage;
};

template <class T>
void chain<T>::run() const
{
    const std::size_t steps = end - 1 - top + bulge_spacing * (shifts.size() - 1);
    const std::size_t stride = steps_of_window(shifts.size());
    for (std::size_t from = 0; from < steps; from += stride)
        run_window(from, std::min(from + stride, steps));
}

// Performs the steps [from, to). Reflectors act on rows [low, high). A window has one more row
// before them, with the subdiagonal elements that vanish, and one behind, into which the last bulge
// extends.
template <class T>
void chain<T>::run_window(std::size_t from, std::size_t to) const
{
    const std::size_t length = bulge_spacing * (shifts.size() - 1);
    const std::size_t low = top + (from > length ? from - length : 0);
    const std::size_t last = std::min(end - 2, top + to - 1);
    const std::size_t high = std::min(end, last + 3);
    const std::size_t first_row = low > top ? low - 1 : top;
    const std::size_t end_row = std::min(end, last + 4);
    const block_view<T> outside = s.h.sub(first_row, end_row, first_row, end_row);
    const block_view<T> window = storage.window.copy(outside);
    storage.record.clear(shifts.size());
    run_steps({window, {nullptr, 0, 0}}, first_row, low, from, to);
    for (std::size_t i = 0; i < outside.rows; ++i)
        std::copy_n(window.row(i), outside.cols, outside.row(i));
    update_by_chain(s, low, high, {first_row, end_row}, storage.record, reach);
}

// Row i of the window is row `origin` + i of the matrix.
template <class T>
void chain<T>::run_steps(const schur_views<T>& window, std::size_t origin, std::size_t low,
                         std::size_t from, std::size_t to) const
{
    const std::size_t order = window.h.rows;
    const similarity_reach inside{0, order};
    for (std::size_t t = from; t < to; ++t)
        for (std::size_t j = 0; j < shifts.size() && bulge_spacing * j <= t; ++j) {
            const std::size_t k = top + t - bulge_spacing * j;
            if (k + 1 >= end)
                continue;
            const bulge_place at{top - std::min(top, origin), std::min(end - origin, order),
                                 k - origin};
            const auto h = move_bulge(kernels, window, at, shifts[j], inside);
            storage.record.add(j, k - low, k + 2 == end, h);
        }
}

} // namespace

template <class T>
sweep_storage<T>::sweep_storage(std::size_t order)
    : window(std::min(order, greatest_window)), record{}
{
}

template <class T>
void multishift_sweep(const schur_views<T>& s, std::size_t top, std::size_t end,
                      std::span<const shift_pair> shifts, const similarity_reach& reach,
                      sweep_storage<T>& storage)
{
    for (std::size_t first = 0; first < shifts.size(); first += chain_bulges) {
        const std::size_t count = std::min(chain_bulges, shifts.size() - first);
        chain<T>(s, top, end, shifts.subspan(first, count), reach, storage).run();
    }
}

template struct sweep_storage<double>;
template struct sweep_storage<complex>;
template void multishift_sweep(const schur_views<double>&, std::size_t, std::size_t,
                               std::span<const shift_pair>, const similarity_reach&,
                               sweep_storage<double>&);
template void multishift_sweep(const schur_views<complex>&, std::size_t, std::size_t,
                               std::span<const shift_pair>, const similarity_reach&,
                               sweep_storage<complex>&);

} // namespace numerical::detail
