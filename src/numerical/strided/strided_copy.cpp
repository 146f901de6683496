#include "numerical/strided/strided_copy.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

using axes_view = std::span<const strided_axis<1>>;

// With a stride known to the compiler the loop moves more than one element at a time.
template <std::ptrdiff_t stride, class T>
void copy_by_stride(const T* from, std::ptrdiff_t count, T* to)
{
    for (std::ptrdiff_t j = 0; j < count; ++j)
        to[j] = from[j * stride];
}

template <class T>
void copy_row(const T* from, const strided_axis<1>& row, const block_writer<T>& writer, T* to)
{
    const auto count = static_cast<std::ptrdiff_t>(row.extent);
    const auto stride = static_cast<std::ptrdiff_t>(row.stride[0]);
    if (stride == 1)
        writer.copy(from, row.extent, to);
    else if (stride == -1)
        copy_by_stride<-1>(from, count, to);
    else if (stride == 2)
        copy_by_stride<2>(from, count, to);
    else if (stride == 0)
        writer.fill(*from, row.extent, to);
    else
        for (std::ptrdiff_t j = 0; j < count; ++j)
            to[j] = from[j * stride];
}

template <class T>
const T* moved(const T* from, const offsets<1>& by)
{
    return from + static_cast<std::ptrdiff_t>(by[0]);
}

// Axis `rows` is contiguous in the source, the last one in the result: a transpose for each
// position of the axes before and between, in strips of the rows if there are axes between.
template <class T>
void transpose_axes(const T* from, axes_view axes, std::size_t rows, T* to)
{
    constexpr std::size_t strip_rows = 32;
    const axes_view between = axes.subspan(rows + 1, axes.size() - rows - 2);
    const strided_axis<1>& last = axes.back();
    const std::size_t extent = axes[rows].extent;
    const std::size_t strip = between.empty() ? extent : strip_rows;
    std::size_t row_stride = last.extent;
    for (const strided_axis<1>& axis : between)
        row_stride *= axis.extent;

    for_each_position<1>(axes.first(rows), {}, [&](const offsets<1>& before) {
        for (std::size_t r = 0; r < extent; r += strip) {
            const std::size_t count = std::min(strip, extent - r);
            T* place = to;
            for_each_position<1>(between, before, [&](const offsets<1>& at) {
                transpose_into<T>(
                    {.first = place, .rows = count, .cols = last.extent, .stride = row_stride},
                    {.first = moved(from, at) + r,
                     .rows = last.extent,
                     .cols = count,
                     .stride = last.stride[0]});
                place += last.extent;
            });
            to += count * row_stride;
        }
    });
}

} // namespace

template <class T>
void copy_rows(const T* from, axes_view axes, const block_writer<T>& writer, T* to)
{
    if (axes.empty()) {
        *to = *from;
        return;
    }
    for_each_position<1>(axes.first(axes.size() - 1), {}, [&](const offsets<1>& at) {
        copy_row(moved(from, at), axes.back(), writer, to);
        to += axes.back().extent;
    });
}

template <class T>
aligned_vector<T> strided_copy(const T* from, axes_view axes)
{
    const auto repeats = [](const strided_axis<1>& axis) { return axis.stride[0] == 0; };
    const auto is_contiguous = [](const strided_axis<1>& axis) { return axis.stride[0] == 1; };
    std::size_t size = 1;
    for (const strided_axis<1>& axis : axes)
        size *= axis.extent;
    aligned_vector<T> out = uninitialized<T>(size);
    const auto found = std::find_if(axes.begin(), axes.end(), is_contiguous);
    if (found != axes.end() && found + 1 != axes.end() && !repeats(axes.back())) {
        transpose_axes(from, axes, static_cast<std::size_t>(found - axes.begin()), out.data());
        return out;
    }
    // The result of a permutation is usually read next, by a product, and stays in the cache; a
    // result with repeated elements is far larger than its source, and is written past it.
    const bool any_repeats = std::any_of(axes.begin(), axes.end(), repeats);
    copy_rows(from, axes, block_writer<T>(any_repeats ? size : 0), out.data());
    return out;
}

template void copy_rows(const double*, axes_view, const block_writer<double>&, double*);
template void copy_rows(const complex*, axes_view, const block_writer<complex>&, complex*);
template void copy_rows(const std::ptrdiff_t*, axes_view, const block_writer<std::ptrdiff_t>&,
                        std::ptrdiff_t*);
template aligned_vector<double> strided_copy(const double*, axes_view);
template aligned_vector<complex> strided_copy(const complex*, axes_view);

} // namespace numerical::detail
