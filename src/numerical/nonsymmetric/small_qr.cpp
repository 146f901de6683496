#include "numerical/nonsymmetric/small_qr.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/bulge.hpp"
#include "numerical/nonsymmetric/deflation_test.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

// Blocks of this order are solved in closed form.
template <class T>
constexpr std::size_t solved_order = std::is_same_v<T, double> ? 2 : 1;

// Of two real eigenvalues the one closer to the last diagonal element is used twice, as one
// eigenvalue is deflated at a time.
template <class T>
shift_pair trailing_shifts(block_view<const T> h, std::size_t end)
{
    const T last = h(end - 1, end - 1);
    const auto [first, second] =
        eigenvalues_of_two(h(end - 2, end - 2), h(end - 2, end - 1), h(end - 1, end - 2), last);
    if (first.imag() != 0 && std::is_same_v<T, double>)
        return {first, second};
    const complex closer =
        rough_modulus(first - last) < rough_modulus(second - last) ? first : second;
    return {closer, closer};
}

// The constants 3/4 and -7/16 are those of Martin, Peters and Wilkinson (1970).
template <class T>
shift_pair exceptional_shifts(block_view<const T> h, std::size_t row, double s)
{
    const complex middle = 0.75 * s + complex(h(row, row));
    if constexpr (std::is_same_v<T, double>) {
        const auto [first, second] =
            eigenvalues_of_two(middle.real(), -0.4375 * s, s, middle.real());
        return {first, second};
    }
    return {middle, middle};
}

template <class T>
class small_iteration
{
public:
    small_iteration(const schur_views<T>& views, std::size_t first, schur_extent how_far)
        : s(views), from(first), extent(how_far)
    {
    }

    std::size_t run(std::size_t end, std::size_t step_limit);

private:
    similarity_reach reach(std::size_t top, std::size_t end) const
    {
        if (extent == schur_extent::whole)
            return {0, s.h.cols};
        return {top, end};
    }

    shift_pair shifts(std::size_t top, std::size_t end, std::size_t step) const;
    void chase(std::size_t top, std::size_t end, std::size_t step) const;

    const bulge_kernels<T> kernels{gemm_path_current()};
    const schur_views<T> s;
    const std::size_t from;
    const schur_extent extent;
};

template <class T>
std::size_t small_iteration<T>::run(std::size_t end, std::size_t step_limit)
{
    std::size_t steps = 0;
    std::size_t since_deflation = 0;
    while (end > from) {
        const std::size_t top = start_of_unreduced(s.h, from, end);
        if (end - top <= solved_order<T>) {
            if constexpr (std::is_same_v<T, double>)
                if (end - top == 2)
                    standardize_block(s, top, reach(top, end));
            end = top;
            since_deflation = 0;
            continue;
        }
        if (steps++ == step_limit)
            return end;
        chase(top, end, ++since_deflation);
    }
    return from;
}

template <class T>
shift_pair small_iteration<T>::shifts(std::size_t top, std::size_t end, std::size_t step) const
{
    if (step % (2 * exceptional_step) == exceptional_step)
        return exceptional_shifts<T>(
            s.h, top,
            rough_modulus(s.h(top + 1, top)) +
                (end - top > 2 ? rough_modulus(s.h(top + 2, top + 1)) : 0));
    if (step % (2 * exceptional_step) == 0)
        return exceptional_shifts<T>(
            s.h, end - 1,
            rough_modulus(s.h(end - 1, end - 2)) +
                (end - top > 2 ? rough_modulus(s.h(end - 2, end - 3)) : 0));
    return trailing_shifts<T>(s.h, end);
}

template <class T>
void small_iteration<T>::chase(std::size_t top, std::size_t end, std::size_t step) const
{
    const shift_pair pair = shifts(top, end, step);
    const similarity_reach far = reach(top, end);
    for (std::size_t k = top; k + 1 < end; ++k)
        move_bulge(kernels, s, {top, end, k}, pair, far);
}

} // namespace

template <class T>
std::size_t small_qr(const schur_views<T>& s, std::size_t from, std::size_t to, schur_extent extent,
                     std::size_t step_limit)
{
    return small_iteration<T>(s, from, extent).run(to, step_limit);
}

template std::size_t small_qr(const schur_views<double>&, std::size_t, std::size_t, schur_extent,
                              std::size_t);
template std::size_t small_qr(const schur_views<complex>&, std::size_t, std::size_t, schur_extent,
                              std::size_t);

} // namespace numerical::detail
