#include "numerical/factor/triangular.hpp"

#include "numerical/factor/divide_row.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <complex>

namespace numerical::detail {

template <class T>
void substitute_unit_lower(int path, block_view<const T> l, block_view<T> x)
{
    for (std::size_t i = 1; i < x.rows; ++i)
        subtract_products_on(path, x.row(i), l.row(i), x.first, x.stride, i, x.cols);
}

template <class T>
void substitute_upper(int path, block_view<const T> u, block_view<T> x)
{
    for (std::size_t i = x.rows; i-- > 0;) {
        subtract_products_on(path, x.row(i), u.row(i) + i + 1, x.row(i + 1), x.stride,
                             x.rows - 1 - i, x.cols);
        divide_row(path, x.row(i), u(i, i), x.cols);
    }
}

namespace {

// Columns [first, first + x.cols) of the inverse, by substitution from unit vectors; `x` is zero at
// the start and ends below with the diagonal of its last column, as all under it stays zero.
template <class T>
void invert_columns(int path, block_view<const T> r, std::size_t first, block_view<T> x)
{
    for (std::size_t j = 0; j < x.cols; ++j)
        x(first + j, j) = T(1);
    substitute_upper(path, r, x);
}

// The same on a private tile.
template <class T>
void invert_columns_aside(int path, block_view<const T> r, std::size_t first, block_view<T> x)
{
    std::vector<T> store = zeros<T>(x.rows * x.cols);
    const block_view<T> tile{store.data(), x.rows, x.cols, x.cols};
    invert_columns(path, r, first, tile);
    copy_block(tile, x);
}

} // namespace

template <class T>
std::vector<T> upper_inverse(const std::vector<T>& r, std::size_t n)
{
    std::vector<T> inverse = zeros<T>(n * n);
    const block_view<const T> upper{r.data(), n, n, n};
    const block_view<T> x{inverse.data(), n, n, n};
    const int path = gemm_path_current();
    const auto invert =
        stride_crowds_cache_sets<T>(n) ? invert_columns_aside<T> : invert_columns<T>;

    // Each tile writes its own columns only.
    const auto invert_tile = [&](std::size_t t) {
        const std::size_t from = triangular_tile * t;
        const std::size_t to = std::min(from + triangular_tile, n);
        invert(path, upper, from, x.sub(0, to, from, to));
    };
    parallel_for(triangular_tiles(n), n * n * triangular_tile / 2, invert_tile);
    return inverse;
}

template void substitute_unit_lower(int, block_view<const double>, block_view<double>);
template void substitute_unit_lower(int, block_view<const complex>, block_view<complex>);
template void substitute_upper(int, block_view<const double>, block_view<double>);
template void substitute_upper(int, block_view<const complex>, block_view<complex>);
template std::vector<double> upper_inverse(const std::vector<double>&, std::size_t);
template std::vector<complex> upper_inverse(const std::vector<complex>&, std::size_t);

} // namespace numerical::detail
