#include "numerical/matrix.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <utility>

namespace numerical {

template <class T>
matrix<T>::matrix(std::size_t row_count, std::size_t col_count, std::vector<T> elements)
    : rows(row_count), cols(col_count), data(std::move(elements))
{
    if (detail::checked_mul(rows, cols) != data.size())
        throw dimension_error("matrix buffer size does not match dimensions");
}

template struct matrix<double>;
template struct matrix<std::complex<double>>;

namespace detail {

template <class T>
matrix<T> zero_matrix(std::size_t rows, std::size_t cols)
{
    return {rows, cols, zeros<T>(checked_mul(rows, cols))};
}

template matrix<double> zero_matrix(std::size_t, std::size_t);
template matrix<complex> zero_matrix(std::size_t, std::size_t);

// Edge of the square tiles in which both sides of a transposition stay in cache.
constexpr std::size_t tile = 32;

template <class T>
matrix<T> adjoint(const matrix<T>& a)
{
    std::vector<T> out = zeros<T>(a.data.size());
    if (out.empty()) // one of the extents may be astronomic
        return matrix<T>(a.cols, a.rows, std::move(out));
    // In square tiles, so that neither side walks a page for each element.
    for (std::size_t i0 = 0; i0 < a.rows; i0 += tile)
        for (std::size_t j0 = 0; j0 < a.cols; j0 += tile)
            for (std::size_t i = i0; i < std::min(i0 + tile, a.rows); ++i)
                for (std::size_t j = j0; j < std::min(j0 + tile, a.cols); ++j)
                    out[j * a.rows + i] = conjugate(a.data[i * a.cols + j]);
    return matrix<T>(a.cols, a.rows, std::move(out));
}

template <class T>
void transpose_in_place(std::vector<T>& a, std::size_t n)
{
    for (std::size_t i0 = 0; i0 < n; i0 += tile)
        for (std::size_t j0 = i0; j0 < n; j0 += tile)
            for (std::size_t i = i0; i < std::min(i0 + tile, n); ++i)
                for (std::size_t j = std::max(j0, i + 1); j < std::min(j0 + tile, n); ++j)
                    std::swap(a[i * n + j], a[j * n + i]);
}

template void transpose_in_place(std::vector<double>&, std::size_t);
template void transpose_in_place(std::vector<complex>&, std::size_t);
template matrix<double> adjoint(const matrix<double>&);
template matrix<complex> adjoint(const matrix<complex>&);

} // namespace detail
} // namespace numerical
