#pragma once

// The reduction to bidiagonal form in two stages, for values without vectors (Grosser and Lang
// 1999). First blocks of reflectors from both sides leave an upper band: all of that is in matrix
// products, where the direct reduction reads the matrix for every column. Then the band is narrowed
// to two diagonals row by row, each reflection making a bulge that is chased down the band.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/svd/bidiagonal_qr.hpp"

#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// From this order on two stages take less time than one pass for each column: a real matrix has
// left L2, a complex one, on which the second stage has no kernel of whole blocks, the last cache.
template <class T>
constexpr std::size_t two_stage_order = std::is_same_v<T, double> ? 450 : 1040;

// Superdiagonals of the band: a wider one makes for faster products in the first stage and for more
// work in the second.
constexpr std::size_t greatest_band_width = 32;

inline std::size_t band_width_of_order(std::size_t n)
{
    constexpr std::size_t large = 800;
    return n < large ? greatest_band_width / 2 : greatest_band_width;
}

// An upper band of order n with room for the bulges: of row i the columns [i - width, i + 2·width].
// They lie as in a matrix whose rows overlap, so that a block within the band is an ordinary view.
template <class T>
class upper_band
{
public:
    upper_band(std::size_t n, std::size_t superdiagonals)
        : order(n), width(superdiagonals), store(zeros<T>((n + 1) * (3 * width + 1)))
    {
    }

    block_view<T> block(std::size_t from, std::size_t to, std::size_t left, std::size_t right)
    {
        return {.first = &(*this)(from, left),
                .rows = to - from,
                .cols = right - left,
                .stride = 3 * width};
    }

    T& operator()(std::size_t i, std::size_t j) { return store[width + i * 3 * width + j]; }

    const std::size_t order;
    const std::size_t width;

private:
    aligned_vector<T> store;
};

// A band of the given width, at most the greatest, with the singular values of the row-major n × n
// matrix.
template <class T>
upper_band<T> reduce_to_band(aligned_vector<T> a, std::size_t n, std::size_t width);

// Moduli of the diagonal and the superdiagonal that the band is narrowed to.
template <class T>
bidiagonal_entries narrow_band(upper_band<T>& band);

} // namespace numerical::detail
