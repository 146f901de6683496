#include "numerical/strided/take.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/strided_copy.hpp"

#include <complex>
#include <stdexcept>
#include <utility>

namespace numerical {
namespace {

// For ranges of which none is empty.
template <class T>
void copy_selected(const tensor<T>& a, std::span<const axis_range> ranges, T* to)
{
    std::ptrdiff_t origin = 0;
    detail::short_list<detail::strided_axis<1>> axes(ranges.size());
    for (std::size_t axis = 0; axis < ranges.size(); ++axis) {
        const axis_range& range = ranges[axis];
        const auto distance = static_cast<std::size_t>(distance_in(range, a.strides[axis]));
        origin += range.start * static_cast<std::ptrdiff_t>(a.strides[axis]);
        detail::append_axis<1>(axes, {static_cast<std::size_t>(range.count), {distance}});
    }
    detail::copy_rows<T>(a.data.data() + origin, axes.span(), detail::block_writer<T>(0), to);
}

} // namespace

bool lies_within(const axis_range& range, std::size_t extent)
{
    if (range.count == 0)
        return true;
    const auto end = static_cast<__int128>(extent);
    const __int128 last = (static_cast<__int128>(range.count) - 1) * range.step + range.start;
    return range.count > 0 && range.start >= 0 && range.start < end && last >= 0 && last < end;
}

template <class T>
tensor<T> take(const tensor<T>& a, std::span<const axis_range> ranges)
{
    shape_list shape;
    shape.reserve(ranges.size());
    std::size_t count = 1;
    for (const axis_range& range : ranges) {
        count = detail::checked_mul(count, static_cast<std::size_t>(range.count));
        if (range.kept)
            shape.push_back(static_cast<std::size_t>(range.count));
    }
    aligned_vector<T> data;
    if (count > data.max_size())
        throw std::length_error("vector::reserve");
    data = detail::uninitialized<T>(count);
    if (count != 0)
        copy_selected(a, ranges, data.data());
    return tensor<T>(std::move(shape), std::move(data));
}

template <class T>
T take_first(const tensor<T>& a, std::span<const axis_range> ranges)
{
    std::ptrdiff_t offset = 0;
    for (std::size_t axis = 0; axis < ranges.size(); ++axis) {
        if (ranges[axis].count == 0)
            throw dimension_error("tensor: data size does not match the shape");
        offset += ranges[axis].start * static_cast<std::ptrdiff_t>(a.strides[axis]);
    }
    return a.data[static_cast<std::size_t>(offset)];
}

template tensor<double> take(const tensor<double>&, std::span<const axis_range>);
template tensor<std::complex<double>> take(const tensor<std::complex<double>>&,
                                           std::span<const axis_range>);
template positions take(const positions&, std::span<const axis_range>);
template std::ptrdiff_t take_first(const positions&, std::span<const axis_range>);
template double take_first(const tensor<double>&, std::span<const axis_range>);
template std::complex<double> take_first(const tensor<std::complex<double>>&,
                                         std::span<const axis_range>);

} // namespace numerical
