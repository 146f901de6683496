#include "module/elements.hpp"

#include "binding/gil.hpp"
#include "module/element_reader.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/axes.hpp"

#include <algorithm>
#include <complex>
#include <utility>

namespace numerical::boundary {
namespace {

using complex = std::complex<double>;

using detail::strided_axis;

// Of the source, in bytes, and of the copy, in elements.
using copied_axis = strided_axis<2>;
using copied_axes = std::vector<copied_axis>;

std::size_t source_stride(const copied_axis& axis)
{
    return axis.stride[0];
}

std::size_t step(const copied_axis& axis)
{
    return axis.stride[1];
}

// The axes of the loops. A contiguous array is one axis.
copied_axes axes_of(const foreign_array& from)
{
    copied_axes axes;
    std::size_t step = from.count;
    for (std::size_t i = 0; i < from.shape.size(); ++i) {
        step /= from.shape[i];
        detail::append_axis<2>(axes,
                               {from.shape[i], {static_cast<std::size_t>(from.strides[i]), step}});
    }
    return axes;
}

// Segments of an axis. The first one is so long that the others begin at cache lines, if they can:
// tiles that share cache lines take up to twice the time.
class stretches
{
public:
    stretches(address first, std::size_t stride, std::size_t axis_extent, std::size_t full)
        : extent(axis_extent), size(full)
    {
        const std::size_t to_line =
            (detail::line_bytes - first % detail::line_bytes) % detail::line_bytes;
        if (stride != 0 && to_line % stride == 0)
            lead = to_line / stride;
    }

    std::size_t end_of(std::size_t from) const
    {
        return std::min(extent, from == 0 && lead != 0 ? lead : from + size);
    }

private:
    std::size_t extent;
    std::size_t size;
    std::size_t lead = 0;
};

// If the source's items are closest along another axis than the copy's, as in a transposed array, a
// loop along either axis misses the cache on the other side. In strips of as many rows as a cache
// line of the source holds items, few lines of the copy are written at a time, each of them whole;
// the reader prefetches the columns, which the hardware prefetcher doesn't follow.
template <class T>
void read_strips(block_reader<T> read, const copied_axis& row, const copied_axis& col,
                 address source, T* out)
{
    const std::size_t height = magnitude(source_stride(row)) <= sizeof(double) ? 8 : 4;
    const stretches rows(source, source_stride(row), row.extent, height);
    const stretches cols(reinterpret_cast<address>(out), sizeof(T), col.extent, col.extent);
    for (std::size_t i = 0; i < row.extent; i = rows.end_of(i))
        for (std::size_t j = 0; j < col.extent; j = cols.end_of(j))
            read({.from = source + i * source_stride(row) + j * source_stride(col),
                  .rows = rows.end_of(i) - i,
                  .cols = cols.end_of(j) - j,
                  .row_stride = source_stride(row),
                  .col_stride = source_stride(col)},
                 out + i * step(row) + j, step(row));
}

template <class T>
void read_all(block_reader<T> read, copied_axes axes, address source, T* out)
{
    if (axes.empty()) {
        read({.from = source, .rows = 1, .cols = 1, .row_stride = 0, .col_stride = 0}, out, 0);
        return;
    }
    const copied_axis last = axes.back();
    axes.pop_back();
    const auto closest =
        std::min_element(axes.begin(), axes.end(), [](const copied_axis& a, const copied_axis& b) {
            return magnitude(source_stride(a)) < magnitude(source_stride(b));
        });
    if (closest != axes.end() &&
        magnitude(source_stride(*closest)) < magnitude(source_stride(last))) {
        const copied_axis row = *closest;
        axes.erase(closest);
        detail::for_each_position<2>(axes, {source, 0}, [&](const detail::offsets<2>& at) {
            read_strips(read, row, last, at[0], out + at[1]);
        });
        return;
    }
    const copied_axis row = axes.empty() ? copied_axis{1, {}} : axes.back();
    if (!axes.empty())
        axes.pop_back();
    detail::for_each_position<2>(axes, {source, 0}, [&](const detail::offsets<2>& at) {
        read({.from = at[0],
              .rows = row.extent,
              .cols = last.extent,
              .row_stride = source_stride(row),
              .col_stride = source_stride(last)},
             out + at[1], step(row));
    });
}

} // namespace

template <class T>
tensor<T> tensor_from_elements(foreign_array&& from)
{
    aligned_vector<T> data;
    if (from.count != 0) {
        const marlinth::binding::gil_release released(
            from.count >= marlinth::binding::gil_release_threshold && !from.type.swap);
        data = detail::uninitialized<T>(from.count);
        read_all(reader_for<T>(from.type), axes_of(from), reinterpret_cast<address>(from.data),
                 data.data());
    }
    return tensor<T>(std::move(from.shape), std::move(data));
}

template tensor<double> tensor_from_elements(foreign_array&&);
template tensor<complex> tensor_from_elements(foreign_array&&);

} // namespace numerical::boundary
