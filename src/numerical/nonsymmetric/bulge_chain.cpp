#include "numerical/nonsymmetric/bulge_chain.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <optional>

namespace numerical::detail {
namespace {

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
    chain_window window_of(const step_range& steps) const;
    void run_window(const step_range& steps, chain_record<T>& record) const;

    const bulge_kernels<T> kernels{gemm_path_current()};
    const schur_views<T> s;
    const std::size_t top;
    const std::size_t end;
    const std::span<const shift_pair> shifts;
    const similarity_reach reach;
    sweep_storage<T>& storage;
};

// A window begins when the rows and columns of its diagonal block are up to date: the strips that
// meet the block come first, on the thread that crosses the window. The rest of the window before
// is updated beside both.
template <class T>
void chain<T>::run() const
{
    const std::size_t end_step = end - 1 - top + bulge_spacing * (shifts.size() - 1);
    const std::size_t stride = steps_of_window(shifts.size());
    std::optional<chain_update<T>> behind;
    for (std::size_t from = 0; from < end_step; from += stride) {
        const step_range steps{from, std::min(from + stride, end_step)};
        const chain_window window = window_of(steps);
        chain_record<T>& record = storage.records[from / stride % 2];
        if (behind) {
            const std::size_t near = behind->strips_before(window.to);
            const auto update_strip = [&](std::size_t i) { behind->update_strip(near + i); };
            const auto cross_window = [&] {
                for (std::size_t strip = 0; strip < near; ++strip)
                    behind->update_strip(strip);
                run_window(steps, record);
            };
            parallel_for_beside(behind->strips() - near, behind->work_per_strip(), update_strip,
                                cross_window);
        } else {
            run_window(steps, record);
        }
        behind.emplace(s, window, record, reach);
    }
    const auto update_strip = [&](std::size_t i) { behind->update_strip(i); };
    parallel_for(behind->strips(), behind->work_per_strip(), update_strip);
}

// A window has one more row before those of its reflectors, with the subdiagonal elements that
// vanish, and one behind, into which the last bulge extends.
template <class T>
chain_window chain<T>::window_of(const step_range& steps) const
{
    const std::size_t length = bulge_spacing * (shifts.size() - 1);
    const std::size_t low = top + (steps.from > length ? steps.from - length : 0);
    const std::size_t last = std::min(end - 2, top + steps.to - 1);
    return {.from = low > top ? low - 1 : top,
            .to = std::min(end, last + 4),
            .low = low,
            .high = std::min(end, last + 3)};
}

template <class T>
void chain<T>::run_window(const step_range& steps, chain_record<T>& record) const
{
    const chain_window window = window_of(steps);
    const block_view<T> outside = s.h.sub(window.from, window.to, window.from, window.to);
    const block_view<T> inside = storage.window.copy(outside);
    record.clear(shifts.size());
    chase_through_window(kernels, {top, end, shifts}, window, steps, inside, record);
    for (std::size_t i = 0; i < outside.rows; ++i)
        std::copy_n(inside.row(i), outside.cols, outside.row(i));
}

} // namespace

template <class T>
sweep_storage<T>::sweep_storage(std::size_t order) : window(std::min(order, greatest_window))
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
