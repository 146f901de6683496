#include "numerical/factor/cholesky.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical {
namespace {

constexpr std::size_t tile_rows = 64;

std::size_t block_width(std::size_t order)
{
    if (order <= 128)
        return 16;
    return order <= 256 ? 32 : 64;
}

} // namespace

template <class T>
cholesky_decomposition<T>::cholesky_decomposition(matrix<T>&& a)
    : order(a.rows), block(block_width(order))
{
    if (a.rows != a.cols)
        throw dimension_error("Cholesky decomposition requires a square matrix");
    detail::require_finite(a, "Cholesky decomposition");
    factors = std::move(a.data);
    factorize();
    clear_upper();
}

// Right-looking by block columns:
//          first  last
//   first [ L11         ]   L11 from A11, on the calling thread
//    last [ L21    A22  ]   L21 = A21·L11⁻ᴴ; A22 -= L21·L21ᴴ, its lower triangle
template <class T>
void cholesky_decomposition<T>::factorize()
{
    for (std::size_t first = 0; first < order; first += block) {
        const std::size_t last = std::min(first + block, order);
        factor_diagonal_block(first, last);
        if (last == order)
            return;
        factor_rows_below(first, last);
        update_trailing(first, last);
    }
}

template <class T>
void cholesky_decomposition<T>::factor_diagonal_block(std::size_t first, std::size_t last)
{
    for (std::size_t i = first; i < last; ++i)
        for (std::size_t j = first; j <= i; ++j) {
            T* const row = factors.data() + i * order;
            const T* const above = factors.data() + j * order;
            T s = row[j];
            for (std::size_t l = first; l < j; ++l)
                s -= row[l] * detail::conjugate(above[l]);
            if (j < i) {
                row[j] = s / above[j];
                continue;
            }
            if (0 >= detail::real_part(s))
                throw not_positive_definite_error("Cholesky: matrix is not positive-definite");
            row[i] = std::sqrt(detail::real_part(s));
        }
}

// Tile t turns 64 rows of A21 into L21 on a transposed private copy, where every step of the
// substitution runs along contiguous columns of L21.
template <class T>
void cholesky_decomposition<T>::factor_rows_below(std::size_t first, std::size_t last)
{
    const int path = detail::gemm_path_current();
    const std::size_t width = last - first;
    const detail::block_view<T> all{factors.data(), order, order, order};
    const detail::block_view<T> l11 = all.sub(first, last, first, last);

    const auto solve_tile = [&](std::size_t t) {
        const std::size_t from = last + tile_rows * t;
        const std::size_t height = std::min(order - from, tile_rows);
        const detail::block_view<T> rows = all.sub(from, from + height, first, last);
        std::vector<T> columns(width * height);
        for (std::size_t i = 0; i < height; ++i)
            for (std::size_t j = 0; j < width; ++j)
                columns[j * height + i] = rows(i, j);
        std::vector<T> coefficients(width);
        for (std::size_t j = 0; j < width; ++j) {
            T* const column = columns.data() + j * height;
            std::transform(l11.row(j), l11.row(j) + j, coefficients.begin(),
                           [](const T& x) { return detail::conjugate(x); });
            detail::subtract_products_on(path, column, coefficients.data(), columns.data(), height,
                                         j, height);
            for (std::size_t i = 0; i < height; ++i)
                column[i] /= l11(j, j);
        }
        for (std::size_t i = 0; i < height; ++i)
            for (std::size_t j = 0; j < width; ++j)
                rows(i, j) = columns[j * height + i];
    };
    detail::parallel_for((order - last + tile_rows - 1) / tile_rows, width * width * 64 / 2,
                         solve_tile);
}

template <class T>
void cholesky_decomposition<T>::update_trailing(std::size_t first, std::size_t last)
{
    const std::size_t rest = order - last;
    const std::size_t width = last - first;
    const detail::block_view<T> all{factors.data(), order, order, order};
    const detail::block_view<T> l21 = all.sub(last, order, first, last);
    const std::vector<T> minus_l21 = detail::negated_copy(l21);
    std::vector<T> adjoint(width * rest);
    for (std::size_t i = 0; i < rest; ++i)
        for (std::size_t j = 0; j < width; ++j)
            adjoint[j * rest + i] = detail::conjugate(l21(i, j));

    const detail::block_view<const T> left{minus_l21.data(), rest, width, width};
    const detail::block_view<const T> right{adjoint.data(), width, rest, rest};
    const detail::block_view<T> a22 = all.sub(last, order, last, order);
    // A block column from its diagonal block down; what falls above the diagonal is cleared last.
    for (std::size_t r = 0; r < rest; r += block) {
        const std::size_t to = std::min(r + block, rest);
        detail::add_product(left.sub(r, rest, 0, width), right.sub(0, width, r, to),
                            a22.sub(r, rest, r, to));
    }
}

template <class T>
void cholesky_decomposition<T>::clear_upper()
{
    for (std::size_t i = 0; i < order; ++i)
        std::fill(factors.begin() + std::ptrdiff_t(i * order + i + 1),
                  factors.begin() + std::ptrdiff_t((i + 1) * order), T(0));
}

template struct cholesky_decomposition<double>;
template struct cholesky_decomposition<detail::complex>;

} // namespace numerical
