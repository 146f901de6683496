#pragma once

// The reduction to tridiagonal form in two stages, for values without vectors or with few, by
// hermitian_two_stage.hpp (Bischof, Lang and Sun 2000). First blocks of reflectors leave a band:
// all of that is in matrix products, where the direct reduction reads the matrix for every column.
// Then the band is narrowed to a tridiagonal matrix column by column, each reflection making a
// bulge that is chased down the band (Haidar, Ltaief and Dongarra 2011).

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// From this order on two stages take less time than the direct reduction without panels.
template <class T>
constexpr std::size_t two_stage_eigen_order = std::is_same_v<T, double> ? 1100 : 1040;

// Subdiagonals of the band: a wider one makes for faster products in the first stage and for more
// work in the second.
constexpr std::size_t greatest_hermitian_band_width = 32;

constexpr std::size_t least_order_of_wide_band = 2500;

inline std::size_t hermitian_band_width(std::size_t n)
{
    const bool wide = n >= least_order_of_wide_band;
    return wide ? greatest_hermitian_band_width : greatest_hermitian_band_width / 2;
}

// The lower triangle of a Hermitian band of order n with room for the bulges, and above the
// diagonal for the mirrored diagonal blocks: of row i the columns [i - 2·width, i + width]. They
// lie as in a matrix whose rows overlap, so that a block within the band is an ordinary view.
template <class T>
class hermitian_band
{
public:
    hermitian_band(std::size_t n, std::size_t subdiagonals)
        : order(n), width(subdiagonals), store(zeros<T>((n + 1) * (3 * width + 1)))
    {
    }

    block_view<T> block(std::size_t from, std::size_t to, std::size_t left, std::size_t right)
    {
        return {.first = &(*this)(from, left),
                .rows = to - from,
                .cols = right - left,
                .stride = 3 * width};
    }

    T& operator()(std::size_t i, std::size_t j) { return store[2 * width + i * 3 * width + j]; }

    const std::size_t order;
    const std::size_t width;

private:
    aligned_vector<T> store;
};

// The reflectors v of a chase, whose reflections are I - 2·v·vᴴ. Those of a sweep act side by side:
// sweep s is a vector of the rows from s + 1 on, of which step k has the part
// [s + 1 + k·width, s + 1 + (k + 1)·width), zero where nothing was reflected.
template <class T>
class chase_reflectors
{
public:
    chase_reflectors(std::size_t n, std::size_t band_width)
        : order(n), width(band_width), store(uninitialized<T>(n * (n - 1) / 2))
    {
    }

    // The first row that step k of sweep s acts on, and the one after the last.
    std::size_t first_row(std::size_t s, std::size_t k) const { return s + 1 + k * width; }

    std::size_t end_row(std::size_t s, std::size_t k) const
    {
        return std::min(first_row(s, k) + width, order);
    }

    std::size_t steps(std::size_t s) const { return ceil_div(order - 1 - s, width); }

    T* at(std::size_t s, std::size_t k) { return store.data() + place(s, k); }

    const T* at(std::size_t s, std::size_t k) const { return store.data() + place(s, k); }

private:
    // Sweep s has order - 1 - s elements.
    std::size_t place(std::size_t s, std::size_t k) const
    {
        return s * (2 * order - 1 - s) / 2 + k * width;
    }

    std::size_t order;
    std::size_t width;
    aligned_vector<T> store;
};

// A band of the given width, at most the greatest, with the eigenvalues of the row-major n × n
// matrix, of which the lower triangle is read.
template <class T>
hermitian_band<T> reduce_to_hermitian_band(aligned_vector<T> a, std::size_t n, std::size_t width);

// The same with the reflections that made it, in order: with their product Q the matrix is
// Q·band·Qᴴ.
template <class T>
hermitian_band<T> reduce_to_hermitian_band(aligned_vector<T> a, std::size_t n, std::size_t width,
                                           std::vector<reflector_block<T>>& reflections);

// The diagonal, and the moduli of the subdiagonal, that the band is narrowed to: d with n elements,
// e with n as well, the last 0.
template <class T>
void narrow_hermitian_band(hermitian_band<T>& band, aligned_vector<double>& d,
                           aligned_vector<double>& e);

// The same with the reflectors; the subdiagonal itself, which is real if T is and else may have any
// phase, is left in the band. For n >= 2.
template <class T>
chase_reflectors<T> narrow_keeping_reflectors(hermitian_band<T>& band, aligned_vector<double>& d,
                                              aligned_vector<double>& e);

} // namespace numerical::detail
