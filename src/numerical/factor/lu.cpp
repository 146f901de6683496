#include "numerical/factor/lu.hpp"

#include "numerical/errors.hpp"
#include "numerical/factor/lu_factorization.hpp"
#include "numerical/factor/threads_of_order.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <numeric>
#include <type_traits>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t narrow_block = 32;
constexpr std::size_t wide_block = 64;
constexpr std::size_t greatest_narrow_order = 256;

template <class T>
constexpr greatest_serial_order serial_lu =
    std::is_same_v<T, double> ? greatest_serial_order{192, 320} : greatest_serial_order{144, 192};

template <class T>
spread_rows<T> room_for_square(block_view<const T> a)
{
    if (a.rows != a.cols)
        throw dimension_error("LU decomposition requires a square matrix");
    return {a.rows, a.cols};
}

template <class T>
std::size_t threads_for(block_view<const T> a)
{
    return threads_of_order(std::max(a.rows, a.cols), serial_lu<T>);
}

// P·A = L·U in the place of a copy of A.
template <class T>
lu_pivots factorize_copy(block_view<const T> a, block_view<T> copy)
{
    const loops_on_few scope(threads_for(a));
    lu_factorization<T> factorization(copy, lu_block_width(a.rows, a.cols));
    factorization.factorize_copy_of(a);
    return {factorization.row_exchanges(), factorization.singular()};
}

} // namespace
} // namespace detail

std::size_t lu_block_width(std::size_t rows, std::size_t cols)
{
    return std::min(rows, cols) <= detail::greatest_narrow_order ? detail::narrow_block
                                                                 : detail::wide_block;
}

template <class T>
lu_pivots factorize_lu(detail::block_view<T> a)
{
    const detail::loops_on_few scope(detail::threads_for<T>(a));
    detail::lu_factorization<T> factorization(a, lu_block_width(a.rows, a.cols));
    factorization.factorize();
    return {factorization.row_exchanges(), factorization.singular()};
}

template <class T>
lu_decomposition<T>::lu_decomposition(detail::block_view<const T> a)
    : order(a.rows), block(lu_block_width(a.rows, a.cols)), factors(detail::room_for_square(a))
{
    const lu_pivots pivots = detail::factorize_copy(a, factors.view());
    singular = pivots.singular;
    permutation.resize(order);
    std::iota(permutation.begin(), permutation.end(), std::size_t{0});
    for (std::size_t i = 0; i < order; ++i)
        if (const std::size_t other = pivots.exchanges[i]; other != i) {
            std::swap(permutation[i], permutation[other]);
            sign = -sign;
        }
}

template <class T>
lu_decomposition<T>::lu_decomposition(const matrix<T>& a)
    : lu_decomposition(detail::block_view<const T>{a.data.data(), a.rows, a.cols})
{
}

template lu_pivots factorize_lu(detail::block_view<double>);
template lu_pivots factorize_lu(detail::block_view<std::complex<double>>);
template struct lu_decomposition<double>;
template struct lu_decomposition<std::complex<double>>;

} // namespace numerical
