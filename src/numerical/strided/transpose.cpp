#include "numerical/strided/transpose.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/matrix_view.hpp"

#include <algorithm>
#include <cstdint>
#include <emmintrin.h>
#include <utility>

namespace numerical::detail {
namespace {

// Rows of the source that are read a cache line each before the next line of the first.
constexpr std::size_t tile_rows = 64;
// Edge of the square tiles in which rows are read further than a line.
constexpr std::size_t tile_edge = 32;

// Blocks up to this size are in L2 mostly, where prefetching costs more than it saves.
constexpr std::size_t cached_elements = 16384;

// Rows that lie whole pages apart share few sets of L1, in which their lines don't stay: few rows
// are then read further at a time.
template <class T>
bool crowds_sets(block_view<const T> a)
{
    const std::size_t bytes = a.stride * sizeof(T);
    return bytes % 4096 == 0 && (a.rows <= tile_rows || bytes % 16384 == 0);
}

// A view without elements may have no address to count from.
template <class T>
bool is_empty(block_view<const T> a)
{
    return a.rows == 0 || a.cols == 0;
}

template <class T>
void transpose_plain(block_view<T> to, block_view<const T> a)
{
    for (std::size_t j = 0; j < a.cols; ++j)
        for (std::size_t i = 0; i < a.rows; ++i)
            to(j, i) = a(i, j);
}

// 4 × 4 elements from row i and column j on by way of registers, two by two, which the baseline of
// x86-64 has.
void transpose_4x4(block_view<double> to, block_view<const double> a, std::size_t i, std::size_t j)
{
    for (std::size_t r = i; r < i + 4; r += 2)
        for (std::size_t c = j; c < j + 4; c += 2) {
            const __m128d upper = _mm_loadu_pd(&a(r, c));
            const __m128d lower = _mm_loadu_pd(&a(r + 1, c));
            _mm_storeu_pd(&to(c, r), _mm_unpacklo_pd(upper, lower));
            _mm_storeu_pd(&to(c + 1, r), _mm_unpackhi_pd(upper, lower));
        }
}

// Columns [left, right) of four rows, of which the next line is prefetched if there is one.
template <bool prefetches>
void transpose_four_rows(block_view<double> to, block_view<const double> a, std::size_t i,
                         std::size_t left, std::size_t right)
{
    if (prefetches && right < a.cols)
        for (std::size_t r = i; r < i + 4; ++r)
            __builtin_prefetch(a.row(r) + right);
    for (std::size_t j = left; j < right; j += 4)
        transpose_4x4(to, a, i, j);
}

// In tiles, four rows at a time, for multiples of four rows and columns.
template <std::size_t height, std::size_t width>
void transpose_tiles(block_view<double> to, block_view<const double> a)
{
    for (std::size_t top = 0; top < a.rows; top += height)
        for (std::size_t left = 0; left < a.cols; left += width) {
            const std::size_t bottom = std::min(top + height, a.rows);
            const std::size_t right = std::min(left + width, a.cols);
            for (std::size_t i = top; i < bottom; i += 4)
                transpose_four_rows<width == line_elements<double>>(to, a, i, left, right);
        }
}

void transpose_real(block_view<double> to, block_view<const double> a)
{
    if (is_empty(a))
        return;
    const std::size_t rows = a.rows - a.rows % 4;
    const std::size_t cols = a.cols - a.cols % 4;
    const bool small = a.rows * a.cols <= cached_elements;
    if (small || crowds_sets(a))
        transpose_tiles<tile_edge, tile_edge>(to, a.sub(0, rows, 0, cols));
    else
        transpose_tiles<tile_rows, line_elements<double>>(to, a.sub(0, rows, 0, cols));
    transpose_plain(to.sub(cols, a.cols, 0, rows), a.sub(0, rows, cols, a.cols));
    transpose_plain(to.sub(0, a.cols, rows, a.rows), a.sub(rows, a.rows, 0, a.cols));
}

// In registers, as the compiler would move the parts of a complex number one by one.
template <bool conjugates>
void move(complex* to, const complex* from)
{
    const __m128d x = _mm_loadu_pd(as_doubles(from));
    const __m128d sign_of_imaginary = _mm_set_pd(-0.0, 0.0);
    _mm_storeu_pd(as_doubles(to), conjugates ? _mm_xor_pd(x, sign_of_imaginary) : x);
}

// Square tiles, four rows at a time.
template <bool conjugates>
void transpose_tiles(block_view<complex> to, block_view<const complex> a)
{
    for (std::size_t top = 0; top < a.rows; top += tile_edge)
        for (std::size_t left = 0; left < a.cols; left += tile_edge) {
            const std::size_t bottom = std::min(top + tile_edge, a.rows);
            const std::size_t right = std::min(left + tile_edge, a.cols);
            for (std::size_t i = top; i < bottom; i += 4)
                for (std::size_t j = left; j < right; ++j)
                    for (std::size_t r = i; r < std::min(i + 4, bottom); ++r)
                        move<conjugates>(&to(j, r), &a(r, j));
        }
}

// A cache line of columns at a time: few rows are written, each in its order.
template <bool conjugates>
void transpose_lines(block_view<complex> to, block_view<const complex> a)
{
    constexpr std::size_t rows_ahead = 64;
    for (std::size_t left = 0; left < a.cols; left += line_elements<complex>)
        for (std::size_t i = 0; i < a.rows; ++i) {
            if (i + rows_ahead < a.rows)
                __builtin_prefetch(&a(i + rows_ahead, left));
            for (std::size_t j = left; j < left + line_elements<complex>; ++j)
                move<conjugates>(&to(j, i), &a(i, j));
        }
}

template <bool conjugates>
void transpose_columns(block_view<complex> to, block_view<const complex> a)
{
    for (std::size_t j = 0; j < a.cols; ++j)
        for (std::size_t i = 0; i < a.rows; ++i)
            move<conjugates>(&to(j, i), &a(i, j));
}

// Columns up to the first cache line, whole lines, and the columns left over.
template <bool conjugates>
void transpose_complex(block_view<complex> to, block_view<const complex> a)
{
    if (is_empty(a))
        return;
    if (crowds_sets(a))
        return transpose_tiles<conjugates>(to, a);
    const std::size_t past_line = reinterpret_cast<std::uintptr_t>(a.first) % line_bytes;
    const std::size_t first =
        past_line == 0 ? 0 : std::min((line_bytes - past_line) / sizeof(complex), a.cols);
    const std::size_t last = a.cols - (a.cols - first) % line_elements<complex>;
    transpose_columns<conjugates>(to.sub(0, first, 0, a.rows), a.sub(0, a.rows, 0, first));
    transpose_lines<conjugates>(to.sub(first, last, 0, a.rows), a.sub(0, a.rows, first, last));
    transpose_columns<conjugates>(to.sub(last, a.cols, 0, a.rows), a.sub(0, a.rows, last, a.cols));
}

} // namespace

template <>
void transpose_into(block_view<double> to, block_view<const double> a)
{
    transpose_real(to, a);
}

template <>
void transpose_into(block_view<complex> to, block_view<const complex> a)
{
    transpose_complex<false>(to, a);
}

template <>
void adjoint_into(block_view<double> to, block_view<const double> a)
{
    transpose_real(to, a);
}

template <>
void adjoint_into(block_view<complex> to, block_view<const complex> a)
{
    transpose_complex<true>(to, a);
}

template <class T>
aligned_vector<T> adjoint_copy(block_view<const T> a)
{
    aligned_vector<T> copy = uninitialized<T>(a.rows * a.cols);
    adjoint_into<T>({copy.data(), a.cols, a.rows}, a);
    return copy;
}

template <class T>
matrix<T> adjoint(const matrix<T>& a)
{
    if (a.data.empty()) // one of the extents may be astronomic
        return matrix<T>(a.cols, a.rows, {});
    return matrix<T>(a.cols, a.rows, adjoint_copy(view_of(a)));
}

// Tile by tile with its mirror image, by way of a copy of one of them.
template <class T>
void transpose_in_place(aligned_vector<T>& a, std::size_t n)
{
    constexpr std::size_t edge = 4 * line_elements<T>;
    if (n <= edge) {
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i + 1; j < n; ++j)
                std::swap(a[i * n + j], a[j * n + i]);
        return;
    }
    const block_view<T> all{a.data(), n, n};
    // An index exchanges the tiles right of the diagonal in its rows with their mirror images.
    const auto transpose_tiles = [&](std::size_t row_of_tiles) {
        T copy[edge * edge];
        const std::size_t top = row_of_tiles * edge;
        for (std::size_t left = top; left < n; left += edge) {
            const block_view<T> upper =
                all.sub(top, std::min(top + edge, n), left, std::min(left + edge, n));
            const block_view<T> lower = all.sub(left, left + upper.cols, top, top + upper.rows);
            const block_view<T> transposed{copy, upper.cols, upper.rows};
            transpose_into<T>(transposed, upper);
            if (left != top)
                transpose_into<T>(upper, lower);
            for (std::size_t i = 0; i < lower.rows; ++i)
                std::copy_n(transposed.row(i), lower.cols, lower.row(i));
        }
    };
    parallel_for(ceil_div(n, edge), edge * n, transpose_tiles);
}

template aligned_vector<double> adjoint_copy(block_view<const double>);
template aligned_vector<complex> adjoint_copy(block_view<const complex>);
template matrix<double> adjoint(const matrix<double>&);
template matrix<complex> adjoint(const matrix<complex>&);
template void transpose_in_place(aligned_vector<double>&, std::size_t);
template void transpose_in_place(aligned_vector<complex>&, std::size_t);

} // namespace numerical::detail
