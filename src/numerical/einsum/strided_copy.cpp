#include "numerical/einsum/strided_copy.hpp"

#include "numerical/storage.hpp"
#include "numerical/streamed_copy.hpp"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <emmintrin.h>

namespace numerical::detail {
namespace {

// Tiles of 32 × 32 elements touch few pages on the strided side and use each cache line whole.
constexpr std::size_t tile = 32;
template <class T>
constexpr std::size_t line = 64 / sizeof(T);
// How many columns of the source complex transposes prefetch.
constexpr std::size_t columns_ahead = 64;

using axes_view = std::span<const loop_axis<1>>;

// 4 × 4 elements by way of registers, two by two, which the baseline of x86-64 has.
void transpose_4x4(const double* from, std::size_t from_stride, double* to, std::size_t to_stride)
{
    for (std::size_t r = 0; r < 4; r += 2)
        for (std::size_t c = 0; c < 4; c += 2) {
            const __m128d left = _mm_loadu_pd(from + c * from_stride + r);
            const __m128d right = _mm_loadu_pd(from + (c + 1) * from_stride + r);
            _mm_storeu_pd(to + r * to_stride + c, _mm_unpacklo_pd(left, right));
            _mm_storeu_pd(to + (r + 1) * to_stride + c, _mm_unpackhi_pd(left, right));
        }
}

// Prefetches `count` elements of each of four rows of the source: short segments far apart, which
// the hardware prefetcher doesn't follow.
void prefetch_rows(const double* from, std::size_t from_stride, std::size_t count)
{
    for (std::size_t c = 0; c < 4; ++c)
        for (std::size_t r = 0; r < count; r += line<double>)
            __builtin_prefetch(from + c * from_stride + r);
}

template <class T>
void transpose_plain(const T* from, std::size_t from_stride, T* to, std::size_t to_stride,
                     std::size_t rows, std::size_t cols)
{
    for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t c = 0; c < cols; ++c)
            to[r * to_stride + c] = from[c * from_stride + r];
}

void transpose_tile(const double* from, std::size_t from_stride, double* to, std::size_t to_stride,
                    std::size_t rows, std::size_t cols, bool more_cols)
{
    const std::size_t whole_rows = rows & ~std::size_t{3};
    const std::size_t whole_cols = cols & ~std::size_t{3};
    for (std::size_t c = 0; c < whole_cols; c += 4) {
        if (more_cols)
            prefetch_rows(from + (c + tile) * from_stride, from_stride, rows);
        for (std::size_t r = 0; r < whole_rows; r += 4)
            transpose_4x4(from + c * from_stride + r, from_stride, to + r * to_stride + c,
                          to_stride);
    }
    transpose_plain(from + whole_cols * from_stride, from_stride, to + whole_cols, to_stride,
                    whole_rows, cols - whole_cols);
    transpose_plain(from + whole_rows, from_stride, to + whole_rows * to_stride, to_stride,
                    rows - whole_rows, cols);
}

// The rows of one cache line of the source: the lines of the columns, far apart, are prefetched,
// and few rows are written side by side, each in its order.
void transpose_line(const std::complex<double>* from, std::size_t from_stride,
                    std::complex<double>* to, std::size_t to_stride, std::size_t cols)
{
    for (std::size_t c = 0; c < cols; ++c, from += from_stride, ++to) {
        if (c + columns_ahead < cols)
            __builtin_prefetch(from + columns_ahead * from_stride);
        for (std::size_t r = 0; r < line<std::complex<double>>; ++r)
            _mm_storeu_pd(reinterpret_cast<double*>(to + r * to_stride),
                          _mm_loadu_pd(reinterpret_cast<const double*>(from + r)));
    }
}

// Elements from `address` to the next line.
std::size_t elements_to_line(const std::complex<double>* address)
{
    const auto past_line = reinterpret_cast<std::uintptr_t>(address) % 64;
    return past_line == 0 ? 0 : (64 - past_line) / sizeof(*address);
}

// The last axis is contiguous in the source: whole runs are copied.
template <class T>
void copy_runs(const T* from, axes_view axes, const block_writer<T>& writer, T* to)
{
    const std::size_t run = axes.back().extent;
    for_each_position<1>(axes.first(axes.size() - 1), {},
                         [&](const offsets<1>& at) { to = writer.copy(from + at[0], run, to); });
}

// The last axis isn't contiguous: its elements are read one by one, or repeated.
template <class T>
void gather(const T* from, axes_view axes, const block_writer<T>& writer, T* to)
{
    const std::size_t stride = axes.back().stride[0];
    const std::size_t extent = axes.back().extent;
    for_each_position<1>(axes.first(axes.size() - 1), {}, [&](const offsets<1>& at) {
        if (stride == 0) {
            to = writer.fill(from[at[0]], extent, to);
            return;
        }
        const T* next = from + at[0];
        for (std::size_t i = 0; i < extent; ++i, next += stride)
            *to++ = *next;
    });
}

// Axis `rows` is contiguous in the source, the last one in the result: a transpose for each
// position of the axes before and between, in strips of the rows if there are axes between.
template <class T>
void transpose_axes(const T* from, axes_view axes, std::size_t rows, T* to)
{
    const axes_view between = axes.subspan(rows + 1, axes.size() - rows - 2);
    const loop_axis<1>& last = axes.back();
    const std::size_t extent = axes[rows].extent;
    const std::size_t strip = between.empty() ? extent : tile;
    std::size_t row_stride = last.extent;
    for (const loop_axis<1>& axis : between)
        row_stride *= axis.extent;

    for_each_position<1>(axes.first(rows), {}, [&](const offsets<1>& before) {
        for (std::size_t r = 0; r < extent; r += strip) {
            const std::size_t count = std::min(strip, extent - r);
            T* place = to;
            for_each_position<1>(between, before, [&](const offsets<1>& at) {
                transpose_block(from + at[0] + r, last.stride[0], place, row_stride, count,
                                last.extent);
                place += last.extent;
            });
            to += count * row_stride;
        }
    });
}

} // namespace

void transpose_block(const double* from, std::size_t from_stride, double* to, std::size_t to_stride,
                     std::size_t rows, std::size_t cols)
{
    for (std::size_t r = 0; r < rows; r += tile)
        for (std::size_t c = 0; c < cols; c += tile)
            transpose_tile(from + c * from_stride + r, from_stride, to + r * to_stride + c,
                           to_stride, std::min(tile, rows - r), std::min(tile, cols - c),
                           c + 2 * tile <= cols);
}

void transpose_block(const std::complex<double>* from, std::size_t from_stride,
                     std::complex<double>* to, std::size_t to_stride, std::size_t rows,
                     std::size_t cols)
{
    constexpr std::size_t whole = line<std::complex<double>>;
    std::size_t r = std::min(elements_to_line(from), rows);
    transpose_plain(from, from_stride, to, to_stride, r, cols);
    for (; r + whole <= rows; r += whole)
        transpose_line(from + r, from_stride, to + r * to_stride, to_stride, cols);
    transpose_plain(from + r, from_stride, to + r * to_stride, to_stride, rows - r, cols);
}

template <class T>
std::vector<T> strided_copy(const T* from, const std::vector<loop_axis<1>>& axes)
{
    if (axes.empty())
        return {*from};
    std::size_t size = 1;
    for (const loop_axis<1>& axis : axes)
        size *= axis.extent;
    const auto lies_side_by_side = [](const loop_axis<1>& axis) { return axis.stride[0] == 1; };
    const auto found = std::find_if(axes.begin(), axes.end(), lies_side_by_side);
    const bool last_repeats = axes.back().stride[0] == 0;
    if (found != axes.end() && found + 1 != axes.end() && !last_repeats) {
        std::vector<T> out = uninitialized<T>(size);
        transpose_axes(from, axes_view(axes), static_cast<std::size_t>(found - axes.begin()),
                       out.data());
        return out;
    }
    const bool repeats = std::any_of(axes.begin(), axes.end(),
                                     [](const loop_axis<1>& axis) { return axis.stride[0] == 0; });
    // A permutation is mostly read next, by a product; what is repeated makes far more than it
    // reads.
    const block_writer<T> writer(repeats ? size : 0);
    std::vector<T> out = uninitialized<T>(size);
    if (found == axes.end() || last_repeats)
        gather(from, axes_view(axes), writer, out.data());
    else
        copy_runs(from, axes_view(axes), writer, out.data());
    return out;
}

template <class T>
std::vector<T> permuted(std::span<const T> data, const std::string& from, const std::string& to,
                        const label_extents& extents)
{
    if (data.empty())
        return {};
    return strided_copy(data.data(), loop_axes<1>(to, {label_strides(from, extents)}, extents));
}

template std::vector<double> strided_copy(const double*, const std::vector<loop_axis<1>>&);
template std::vector<std::complex<double>> strided_copy(const std::complex<double>*,
                                                        const std::vector<loop_axis<1>>&);
template std::vector<double> permuted(std::span<const double>, const std::string&,
                                      const std::string&, const label_extents&);
template std::vector<std::complex<double>> permuted(std::span<const std::complex<double>>,
                                                    const std::string&, const std::string&,
                                                    const label_extents&);

} // namespace numerical::detail
