#include "numerical/nonsymmetric/multishift_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/nonsymmetric/bulge_chain.hpp"
#include "numerical/nonsymmetric/deflation_test.hpp"
#include "numerical/nonsymmetric/early_deflation.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace numerical::detail {
namespace {

// The number of shifts of a sweep and the order of the deflation window for an active block of
// order n.
struct sweep_sizes
{
    std::size_t shifts;
    std::size_t window;
};

sweep_sizes sizes_for(std::size_t n)
{
    const std::size_t shifts = n < 150 ? 16 : n < 700 ? 32 : n < 1500 ? 64 : 128;
    return {shifts, n < 400 ? shifts : 3 * shifts / 2};
}

// A sweep is skipped if this part of the window was deflated, as another deflation may then succeed
// as well (the nibble of Braman, Byers and Mathias 2002, part II).
constexpr std::size_t nibble_percent = 25;

// After this many sweeps without deflation ad hoc shifts are used, and windows grow.
constexpr std::size_t fruitless_sweeps = 6;

template <class T>
class multishift_iteration
{
public:
    multishift_iteration(const schur_views<T>& views, schur_extent how_far)
        : s(views), extent(how_far), sweeps(views.h.rows)
    {
    }

    std::size_t run(std::size_t step_limit);

private:
    similarity_reach reach(std::size_t top, std::size_t end) const
    {
        if (extent == schur_extent::whole)
            return {0, s.h.cols};
        return {top, end};
    }

    bool solve_small(std::size_t top, std::size_t end);
    std::size_t step(std::size_t top, std::size_t end);
    void sweep(std::size_t top, std::size_t end, aligned_vector<complex> values);
    aligned_vector<complex> ad_hoc_shifts(std::size_t top, std::size_t end) const;

    const schur_views<T> s;
    const schur_extent extent;
    sweep_storage<T> sweeps;
    far_storage<T> far;
    std::size_t fruitless = 0;
};

template <class T>
std::size_t multishift_iteration<T>::run(std::size_t step_limit)
{
    std::size_t steps = 0;
    std::size_t end = s.h.rows;
    while (end > 0) {
        const std::size_t top = start_of_unreduced(s.h, 0, end);
        if (end - top < multishift_crossover) {
            if (!solve_small(top, end))
                return end;
            end = top;
            fruitless = 0;
            continue;
        }
        if (steps++ == step_limit)
            return end;
        const std::size_t deflated = step(top, end);
        end -= deflated;
        fruitless = deflated > 0 ? 0 : fruitless + 1;
    }
    return 0;
}

template <class T>
bool multishift_iteration<T>::solve_small(std::size_t top, std::size_t end)
{
    const std::size_t order = end - top;
    const block_view<T> block = s.h.sub(top, end, top, end);
    const bool alone = s.z.cols == 0 && extent == schur_extent::active_block;
    padded_square<T> copy(order);
    padded_square<T> adjoint(alone ? 0 : order);
    const schur_views<T> inside{copy.copy(block),
                                alone ? block_view<T>{nullptr, 0, 0} : adjoint.identity(order)};
    if (small_qr(inside, 0, order, extent, qr_step_limit(order)) != 0)
        return false;
    for (std::size_t i = 0; i < order; ++i)
        std::copy_n(inside.h.row(i), order, block.row(i));
    if (!alone)
        update_far<T>(s, inside.z, top, reach(top, end), far);
    return true;
}

// Early deflation, and a sweep unless much was deflated. Returns the number of eigenvalues that
// have converged.
template <class T>
std::size_t multishift_iteration<T>::step(std::size_t top, std::size_t end)
{
    const std::size_t order = end - top;
    const sweep_sizes sizes = sizes_for(order);
    std::size_t window = std::min(sizes.window, order);
    if (fruitless >= fruitless_sweeps)
        window = std::min(2 * window, order);
    early_deflation found =
        deflate_early(s, end - window, end, window < order, reach(top, end), far);
    const std::size_t deflated = found.deflated;
    if (100 * deflated > nibble_percent * window || order - deflated < multishift_crossover)
        return deflated;
    aligned_vector<complex> shifts = std::move(found.unsettled);
    if (fruitless % fruitless_sweeps == fruitless_sweeps - 1 || shifts.size() < 2)
        shifts = ad_hoc_shifts(top, end - deflated);
    if (shifts.size() > sizes.shifts)
        shifts.erase(shifts.begin(), shifts.end() - std::ptrdiff_t(sizes.shifts));
    const std::size_t start = start_of_unreduced(s.h, top, end - deflated);
    if (end - deflated - start >= multishift_crossover)
        sweep(start, end - deflated, std::move(shifts));
    return deflated;
}

// Pairs of shifts. For a real matrix conjugate shifts stay together, and a single real one at the
// end is dropped.
template <class T>
std::vector<shift_pair> paired(const aligned_vector<complex>& values)
{
    std::vector<shift_pair> pairs;
    aligned_vector<complex> singles;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool conjugates = std::is_same_v<T, double> && values[i].imag() != 0;
        if (conjugates && (i + 1 == values.size() || values[i + 1] != std::conj(values[i])))
            continue;
        if (conjugates) {
            pairs.push_back({values[i], values[i + 1]});
            ++i;
        } else if (singles.empty()) {
            singles.push_back(values[i]);
        } else {
            pairs.push_back({singles.back(), values[i]});
            singles.clear();
        }
    }
    return pairs;
}

template <class T>
void multishift_iteration<T>::sweep(std::size_t top, std::size_t end,
                                    aligned_vector<complex> values)
{
    const std::vector<shift_pair> pairs = paired<T>(values);
    multishift_sweep<T>(s, top, end, pairs, reach(top, end), sweeps);
}

// The constants 3/4 and -7/16 are those of Martin, Peters and Wilkinson (1970).
template <class T>
aligned_vector<complex> multishift_iteration<T>::ad_hoc_shifts(std::size_t top,
                                                               std::size_t end) const
{
    aligned_vector<complex> shifts;
    const std::size_t count =
        std::min(sizes_for(end - top).shifts, end - top - 2) & ~std::size_t{1};
    for (std::size_t i = end - count; i < end; i += 2) {
        const double size = rough_modulus(s.h(i, i - 1)) + rough_modulus(s.h(i - 1, i - 2));
        const complex middle = 0.75 * size + complex(s.h(i, i));
        if constexpr (std::is_same_v<T, double>) {
            const auto [first, second] =
                eigenvalues_of_two(middle.real(), -0.4375 * size, size, middle.real());
            shifts.push_back(first);
            shifts.push_back(second);
        } else {
            shifts.insert(shifts.end(), 2, middle);
        }
    }
    return shifts;
}

} // namespace

template <class T>
std::size_t multishift_qr(const schur_views<T>& s, schur_extent extent, std::size_t step_limit)
{
    return multishift_iteration<T>(s, extent).run(step_limit);
}

template <class T>
std::size_t qr_iteration(const schur_views<T>& s, schur_extent extent, std::size_t step_limit)
{
    if (s.h.rows < multishift_crossover)
        return small_qr(s, 0, s.h.rows, extent, step_limit);
    return multishift_qr(s, extent, step_limit);
}

template std::size_t qr_iteration(const schur_views<double>&, schur_extent, std::size_t);
template std::size_t qr_iteration(const schur_views<complex>&, schur_extent, std::size_t);
template std::size_t multishift_qr(const schur_views<double>&, schur_extent, std::size_t);
template std::size_t multishift_qr(const schur_views<complex>&, schur_extent, std::size_t);

} // namespace numerical::detail
