#include "numerical/factor/triangular.hpp"

#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

// Columns [first, first + x.cols) of the inverse by back substitution from the unit vectors. `x` is
// zero at the start and ends with the row of the last column's diagonal; below it all stays zero.
template <class T>
void invert_columns(int path, block_view<const T> r, std::size_t first, block_view<T> x)
{
    for (std::size_t i = x.rows; i-- > 0;) {
        if (i >= first)
            x(i, i - first) = T(1);
        subtract_products_on(path, x.row(i), r.row(i) + i + 1, x.row(i + 1), x.stride,
                             x.rows - 1 - i, x.cols);
        divide_row(x.row(i), r(i, i), x.cols);
    }
}

// The same on a private tile.
template <class T>
void invert_columns_aside(int path, block_view<const T> r, std::size_t first, block_view<T> x)
{
    std::vector<T> store = zeros<T>(x.rows * x.cols);
    const block_view<T> tile{store.data(), x.rows, x.cols, x.cols};
    invert_columns(path, r, first, tile);
    for (std::size_t i = 0; i < x.rows; ++i)
        std::copy(tile.row(i), tile.row(i) + x.cols, x.row(i));
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
    parallel_for((n + triangular_tile - 1) / triangular_tile, n * n * triangular_tile / 2,
                 invert_tile);
    return inverse;
}

template std::vector<double> upper_inverse(const std::vector<double>&, std::size_t);
template std::vector<complex> upper_inverse(const std::vector<complex>&, std::size_t);

} // namespace numerical::detail
