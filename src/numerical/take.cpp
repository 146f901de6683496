#include "numerical/take.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <stdexcept>
#include <utility>

namespace numerical {
namespace {

// One step of the copy's loops: `count` times, `stride` elements of the source apart.
struct strided_loop
{
    std::ptrdiff_t count;
    std::ptrdiff_t stride;
    std::ptrdiff_t index = 0;
};

// The loops over a source, innermost first, and where they begin. Axes of one element move the
// origin only, and neighbours that follow each other evenly are one loop.
struct strided_walk
{
    std::ptrdiff_t origin = 0;
    detail::short_list<strided_loop> loops;

    template <class T>
    strided_walk(const tensor<T>& a, std::span<const axis_range> ranges) : loops(ranges.size() + 1)
    {
        for (std::size_t axis = ranges.size(); axis-- > 0;)
            add(ranges[axis], static_cast<std::ptrdiff_t>(a.strides[axis]));
        if (loops.empty())
            loops.push_back({1, 1});
    }

    void add(const axis_range& range, std::ptrdiff_t axis_stride)
    {
        origin += range.start * axis_stride;
        if (range.count == 1)
            return;
        const std::ptrdiff_t stride = range.step * axis_stride;
        if (!loops.empty() && stride == loops.back().count * loops.back().stride)
            loops.back().count *= range.count;
        else
            loops.push_back({range.count, stride});
    }

    // Advances the loops around the innermost one; the new offset of its first element.
    std::ptrdiff_t next_row(std::ptrdiff_t offset)
    {
        for (std::size_t i = 1; i < loops.size(); ++i) {
            strided_loop& at = loops[i];
            offset += at.stride;
            if (++at.index < at.count)
                break;
            offset -= at.count * at.stride;
            at.index = 0;
        }
        return offset;
    }
};

// With a stride known to the compiler the loop moves more than one element at a time.
template <std::ptrdiff_t stride, class T>
T* copy_by_stride(const T* from, std::ptrdiff_t count, T* out)
{
    for (std::ptrdiff_t j = 0; j < count; ++j)
        out[j] = from[j * stride];
    return out + count;
}

template <class T>
T* copy_row(const T* from, const strided_loop& row, T* out)
{
    if (row.stride == 1)
        return std::copy_n(from, row.count, out);
    if (row.stride == -1)
        return copy_by_stride<-1>(from, row.count, out);
    if (row.stride == 2)
        return copy_by_stride<2>(from, row.count, out);
    for (std::ptrdiff_t j = 0; j < row.count; ++j)
        out[j] = from[j * row.stride];
    return out + row.count;
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
    std::vector<T> data;
    if (count > data.max_size())
        throw std::length_error("vector::reserve");
    data = detail::uninitialized<T>(count);
    if (count != 0) {
        strided_walk walk(a, ranges);
        std::ptrdiff_t offset = walk.origin;
        for (T* out = data.data(); out != data.data() + count; offset = walk.next_row(offset))
            out = copy_row(a.data.data() + offset, walk.loops.front(), out);
    }
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
