#include "numerical/factor/cholesky.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/divide_row.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical {
namespace {

constexpr std::size_t tile_rows = 64;
constexpr std::size_t greatest_block = 64;

// The lower triangle of L11, contiguous by rows and conjugated off the diagonal, which is real.
template <class T>
std::vector<T> conjugated_lower(detail::block_view<const T> l11)
{
    std::vector<T> copy = detail::uninitialized<T>(l11.rows * l11.cols);
    for (std::size_t i = 0; i < l11.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            copy[i * l11.cols + j] = detail::conjugate(l11(i, j));
        copy[i * l11.cols + i] = l11(i, i);
    }
    return copy;
}

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

// Column by column on a transposed copy, so that the sums of a column run side by side; each of
// them subtracts its products one at a time in ascending order, unfused on every path.
template <class T>
void cholesky_decomposition<T>::factor_diagonal_block(std::size_t first, std::size_t last)
{
    const std::size_t width = last - first;
    const detail::block_view<T> a11 =
        detail::block_view<T>{factors.data(), order, order, order}.sub(first, last, first, last);
    std::vector<T> store = detail::uninitialized<T>(width * width);
    const detail::block_view<T> columns{store.data(), width, width, width};
    detail::transpose_into(columns, a11);
    const int path = detail::gemm_path_current();
    T coefficients[greatest_block];
    for (std::size_t j = 0; j < width; ++j) {
        T* const column = columns.row(j) + j;
        for (std::size_t l = 0; l < j; ++l)
            coefficients[l] = detail::conjugate(columns(l, j));
        detail::subtract_unfused(path, column, coefficients, store.data() + j, width, j, width - j);
        const double pivot = detail::real_part(column[0]);
        if (0 >= pivot)
            throw not_positive_definite_error("Cholesky: matrix is not positive-definite");
        column[0] = std::sqrt(pivot);
        detail::divide_row(path, column + 1, column[0], width - j - 1);
    }
    for (std::size_t i = 0; i < width; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            a11(i, j) = columns(j, i);
}

// Tile t turns 64 rows of A21 into L21 on a transposed private copy, where every step of the
// substitution runs along contiguous columns of L21.
template <class T>
void cholesky_decomposition<T>::factor_rows_below(std::size_t first, std::size_t last)
{
    const int path = detail::gemm_path_current();
    const std::size_t width = last - first;
    const detail::block_view<T> all{factors.data(), order, order, order};
    const std::vector<T> store = conjugated_lower<T>(all.sub(first, last, first, last));
    const detail::block_view<const T> l11{store.data(), width, width, width};

    const auto solve_tile = [&](std::size_t t) {
        const std::size_t from = last + tile_rows * t;
        const std::size_t height = std::min(order - from, tile_rows);
        const detail::block_view<T> rows = all.sub(from, from + height, first, last);
        std::vector<T> columns = detail::uninitialized<T>(width * height);
        const detail::block_view<T> transposed{columns.data(), width, height, height};
        detail::transpose_into(transposed, rows);
        detail::substitute_lower<T>(path, l11, transposed);
        detail::transpose_into(rows, transposed);
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
    std::vector<T> adjoint = detail::uninitialized<T>(width * rest);
    detail::transpose_into<T>({adjoint.data(), width, rest, rest}, l21);
    for (T& element : adjoint)
        element = detail::conjugate(element);

    const detail::block_view<const T> left{minus_l21.data(), rest, width, width};
    const detail::block_view<const T> right{adjoint.data(), width, rest, rest};
    const detail::block_view<T> a22 = all.sub(last, order, last, order);
    // A block column from its diagonal block down; the elements above the diagonal are cleared
    // last.
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
