#include "numerical/elementwise/numbers.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "numerical/elementwise/vector_boundary.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

namespace numerical {
namespace detail {

const number_kernels& numbers_in_force()
{
    return avx2_in_force(gemm_path_current()) ? avx2_unfused_numbers : portable_numbers;
}

} // namespace detail

namespace {

using complex = std::complex<double>;
using detail::choice_row;
using detail::row_form;

// One axis of a result that three operands broadcast to: how far each moves along it.
struct choice_axis
{
    std::size_t extent;
    std::array<std::size_t, 3> steps;
    std::size_t index = 0;

    // Whether this axis and the one inside it can be merged for all operands.
    bool joins(const choice_axis& inside) const
    {
        for (std::size_t k = 0; k < 3; ++k)
            if (steps[k] != inside.extent * inside.steps[k])
                return false;
        return true;
    }
};

// The loops over the result, innermost first. Along the innermost axis the stride of each operand
// is 1 or 0.
std::vector<choice_axis> choice_axes(const shape_list& shape,
                                     const std::array<const shape_list*, 3>& operands)
{
    std::array<shape_list, 3> strides;
    for (std::size_t k = 0; k < 3; ++k)
        strides[k] = detail::broadcast_strides(*operands[k], shape.size());
    std::vector<choice_axis> axes;
    for (std::size_t i = shape.size(); i-- > 0;) {
        if (shape[i] == 1)
            continue;
        const choice_axis axis{shape[i], {strides[0][i], strides[1][i], strides[2][i]}};
        if (!axes.empty() && axis.joins(axes.back()))
            axes.back().extent *= axis.extent;
        else
            axes.push_back(axis);
    }
    if (axes.empty())
        axes.push_back({1, {0, 0, 0}});
    return axes;
}

template <class T>
const choice_row* choices_in_force()
{
    const detail::number_kernels& kernels = detail::numbers_in_force();
    return std::is_same_v<T, double> ? kernels.choices : kernels.complex_choices;
}

// Writes `count` elements row by row.
template <class T>
void choose_rows(std::vector<choice_axis>& axes, const std::uint8_t* mask, const T* a, const T* b,
                 T* out, std::size_t count)
{
    const choice_axis& row = axes.front();
    const std::size_t moving = 4 * row.steps[0] + 2 * row.steps[1] + row.steps[2];
    const choice_row choose = choices_in_force<T>()[moving];
    std::array<std::size_t, 3> at{};
    for (std::size_t done = 0; done < count; done += row.extent) {
        choose(mask + at[0], detail::as_doubles(a + at[1]), detail::as_doubles(b + at[2]),
               detail::as_doubles(out + done), row.extent);
        for (std::size_t i = 1; i < axes.size(); ++i) {
            choice_axis& axis = axes[i];
            const bool wraps = ++axis.index == axis.extent;
            for (std::size_t k = 0; k < 3; ++k)
                at[k] = wraps ? at[k] - (axis.extent - 1) * axis.steps[k] : at[k] + axis.steps[k];
            if (!wraps)
                break;
            axis.index = 0;
        }
    }
}

} // namespace

tensor<double> number_by(number_function function, const tensor<double>& a)
{
    aligned_vector<double> data = detail::uninitialized<double>(a.data.size());
    const auto kernel = detail::numbers_in_force().of_one[static_cast<int>(function)];
    const std::size_t lead = detail::before_boundary(data.data(), data.size());
    kernel(a.data.data(), data.data(), lead);
    kernel(a.data.data() + lead, data.data() + lead, data.size() - lead);
    return tensor<double>(a.shape, std::move(data));
}

tensor<double> pair_by(pair_function function, const tensor<double>& a, const tensor<double>& b)
{
    const auto& rows = detail::numbers_in_force().of_two[static_cast<int>(function)];
    return detail::broadcast_rows<double>(
        a, b, [&](row_form form, const double* x, const double* y, double* out, std::size_t n) {
            const auto row = rows.by_form[static_cast<int>(form)];
            const std::size_t lead = detail::before_boundary(out, n);
            row(x, y, out, lead);
            const std::size_t left = form == row_form::right ? 0 : lead;
            const std::size_t right = form == row_form::left ? 0 : lead;
            row(x + left, y + right, out + lead, n - lead);
        });
}

tensor<double> clipped(const tensor<double>& a, double low, double high)
{
    aligned_vector<double> data = detail::uninitialized<double>(a.data.size());
    detail::numbers_in_force().clip(a.data.data(), low, high, data.data(), data.size());
    return tensor<double>(a.shape, std::move(data));
}

std::size_t count_of_true(const tensor<double>& a)
{
    return detail::numbers_in_force().count_true(a.data.data(), a.data.size());
}

bool are_equal(const tensor<double>& a, const tensor<double>& b)
{
    constexpr std::size_t block = 4096; // elements compared before the result is looked at
    if (a.shape != b.shape)
        return false;
    bool equal = true;
    for (std::size_t i = 0; i < a.data.size() && equal; i += block)
        equal = detail::numbers_in_force().are_equal(a.data.data() + i, b.data.data() + i,
                                                     std::min(block, a.data.size() - i));
    return equal;
}

bool are_equal(const tensor<complex>& a, const tensor<complex>& b)
{
    return a.shape == b.shape && a.data == b.data;
}

template <class T>
tensor<T> chosen(const booleans& mask, const tensor<T>& a, const tensor<T>& b)
{
    shape_list shape = mask.shape;
    if (a.shape != shape)
        shape = broadcast_shape(shape, a.shape);
    if (b.shape != shape)
        shape = broadcast_shape(shape, b.shape);
    std::vector<choice_axis> axes = choice_axes(shape, {&mask.shape, &a.shape, &b.shape});
    std::size_t count = 1;
    for (const choice_axis& axis : axes)
        count *= axis.extent;
    aligned_vector<T> data = detail::uninitialized<T>(count);
    choose_rows(axes, mask.data.data(), a.data.data(), b.data.data(), data.data(), count);
    return tensor<T>(std::move(shape), std::move(data));
}

template <class T>
tensor<T> differences(const tensor<T>& a, std::size_t axis)
{
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    const detail::walk_shape walk = detail::walk_along(a.shape, axis);
    shape_list shape = a.shape;
    shape[axis] = walk.extent == 0 ? 0 : walk.extent - 1;
    const std::size_t stretch = shape[axis] * walk.inner * parts;
    aligned_vector<T> data = detail::uninitialized<T>(walk.outer * shape[axis] * walk.inner);
    const auto minus = detail::arithmetic_in_force().real[1].by_form[0];
    const auto* from = detail::as_doubles(a.data.data());
    auto* to = detail::as_doubles(data.data());
    for (std::size_t o = 0; o < walk.outer && stretch != 0; ++o) {
        const double* first = from + o * walk.extent * walk.inner * parts;
        minus(first + walk.inner * parts, first, to + o * stretch, stretch);
    }
    return tensor<T>(std::move(shape), std::move(data));
}

template tensor<double> chosen(const booleans&, const tensor<double>&, const tensor<double>&);
template tensor<complex> chosen(const booleans&, const tensor<complex>&, const tensor<complex>&);
template tensor<double> differences(const tensor<double>&, std::size_t);
template tensor<complex> differences(const tensor<complex>&, std::size_t);

} // namespace numerical
