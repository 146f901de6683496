#include "numerical/svd/least_squares.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/svd.hpp"
#include "numerical/svd/unfused_product.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>

namespace numerical {
namespace detail {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

// a, or its adjoint if it is wide, times 2^-exponent: always tall.
template <class T>
std::vector<T> tall_and_scaled(const matrix<T>& a, int exponent)
{
    std::vector<T> tall =
        a.rows >= a.cols ? copy_of(a.data.data(), a.data.size()) : std::move(adjoint(a).data);
    for (T& x : tall)
        x = scaled_by_power(x, -exponent);
    return tall;
}

// Singular values exceed the entries, the modulus of a complex entry its parts, and the reciprocal
// of a tiny value the range. A matrix for which one of them might overflow is taken times a power
// of two, whose exponent this is; that changes no digit. 0 for all others.
template <class T>
int guard_exponent(const matrix<T>& a)
{
    const auto has_above = [&a](double limit) {
        return any_part_above(a.data.data(), a.data.size(), limit);
    };
    if (has_above(0x1p960))
        return -64;
    return !has_above(0x1p-960) && has_above(0) ? 128 : 0;
}

template <class T>
matrix<T> times_power(matrix<T> a, int exponent)
{
    for (T& x : a.data)
        x = scaled_by_power(x, exponent);
    return a;
}

template <class T>
double frobenius_norm(const std::vector<T>& a)
{
    double square = 0;
    for (const T& x : a)
        square += std::norm(x);
    return std::sqrt(square);
}

// X = R⁻¹·(QᴴB), for m ≥ n.
template <class T>
std::vector<T> solve_tall(const qr_reflections<T>& qr, const std::vector<T>& r_inverse,
                          const matrix<T>& b, std::size_t n)
{
    std::vector<T> reflected = copy_of(b.data.data(), b.data.size());
    for (const reflector_block<T>& block : qr.blocks)
        apply_reflector_block<block_operator::adjoint>(block, reflected, b.cols, 0, b.cols);
    std::vector<T> x = zeros<T>(n * b.cols);
    gemm(n, b.cols, n, r_inverse.data(), n, reflected.data(), b.cols, x.data(), b.cols);
    return x;
}

// X = Q·(R⁻ᴴ·B), for m < n: Q and R are the factors of the adjoint.
template <class T>
std::vector<T> solve_wide(const qr_reflections<T>& qr, std::vector<T> r_inverse, const matrix<T>& b,
                          std::size_t n)
{
    const std::size_t m = b.rows;
    const matrix<T> lower = adjoint(matrix<T>(m, m, std::move(r_inverse)));
    std::vector<T> x = zeros<T>(n * b.cols);
    gemm(m, b.cols, m, lower.data.data(), m, b.data.data(), b.cols, x.data(), b.cols);
    for (auto block = qr.blocks.rbegin(); block != qr.blocks.rend(); ++block)
        apply_reflector_block<block_operator::direct>(*block, x, b.cols, 0, b.cols);
    return x;
}

// The first columns of a matrix.
template <class T>
block_view<const T> view_of(const matrix<T>& a, std::size_t columns)
{
    return {a.data.data(), a.rows, columns, a.cols};
}

// To what no singular value contributes. An extent beside a zero one may be astronomic.
template <class T>
matrix<T> zero_matrix(std::size_t rows, std::size_t cols)
{
    return {rows, cols, zeros<T>(checked_mul(rows, cols))};
}

// The minimum-norm solution from the singular values that count, V·(S⁻¹·(UᴴB)).
template <class T>
matrix<T> lstsq_by_svd(const matrix<T>& a, const matrix<T>& b)
{
    const svd_decomposition<T> svd(a, svd_method::divide_and_conquer);
    const std::size_t rank = count_above_threshold(svd.values, a.rows, a.cols);
    if (rank == 0)
        return zero_matrix<T>(a.cols, b.cols);
    const matrix<T> left = adjoint(svd.u);
    std::vector<T> q =
        unfused_product<T>({left.data.data(), rank, a.rows, a.rows}, view_of(b, b.cols));
    for (std::size_t i = 0; i < rank; ++i)
        for (std::size_t c = 0; c < b.cols; ++c)
            q[i * b.cols + c] /= T(svd.values[i]);
    std::vector<T> x = unfused_product<T>(view_of(svd.v, rank), {q.data(), rank, b.cols, b.cols});
    return matrix<T>(a.cols, b.cols, std::move(x));
}

} // namespace

std::size_t count_above_threshold(const std::vector<double>& values, std::size_t m, std::size_t n)
{
    double largest = 0;
    for (const double value : values)
        largest = std::max(largest, value);
    const double threshold = static_cast<double>(std::max(m, n)) * (largest * eps);
    return static_cast<std::size_t>(std::count_if(values.begin(), values.end(),
                                                  [=](double value) { return value > threshold; }));
}

template <class T>
std::optional<matrix<T>> lstsq_by_qr(const matrix<T>& a, const matrix<T>& b)
{
    const double largest = largest_modulus(a.data.data(), a.data.size());
    if (a.rows == 0 || largest == 0)
        return std::nullopt;
    const int exponent = std::ilogb(largest);
    const std::size_t big = std::max(a.rows, a.cols);
    const std::size_t small = std::min(a.rows, a.cols);
    const qr_reflections<T> qr = householder_reflect(tall_and_scaled(a, exponent), big, small);
    std::vector<T> r_inverse = upper_inverse(qr.r, small);

    const double condition = frobenius_norm(qr.r) * frobenius_norm(r_inverse);
    const bool clearly_regular = 1.0 > condition * (static_cast<double>(big) * eps) * 100.0;
    if (!clearly_regular) // a zero on R's diagonal makes it infinite or NaN
        return std::nullopt;

    std::vector<T> x = a.rows >= a.cols ? solve_tall(qr, r_inverse, b, a.cols)
                                        : solve_wide(qr, std::move(r_inverse), b, a.cols);
    for (T& element : x)
        element = scaled_by_power(element, -exponent);
    return matrix<T>(a.cols, b.cols, std::move(x));
}

} // namespace detail

template <class T>
matrix<T> lstsq(const matrix<T>& a, const matrix<T>& b)
{
    if (a.rows != b.rows)
        throw dimension_error("lstsq: right-hand side size differs from the matrix");
    detail::require_finite(a, "lstsq");
    if (const int guard = detail::guard_exponent(a); guard != 0)
        return detail::times_power(lstsq(detail::times_power(a, guard), b), guard);
    if (auto x = detail::lstsq_by_qr(a, b))
        return *std::move(x);
    return detail::lstsq_by_svd(a, b);
}

template <class T>
vector<T> lstsq(const matrix<T>& a, const vector<T>& b)
{
    return {lstsq(a, matrix<T>(b.data.size(), 1, b.data)).data};
}

template <class T>
matrix<T> pinv(const matrix<T>& a)
{
    detail::require_finite(a, "pinv");
    if (const int guard = detail::guard_exponent(a); guard != 0)
        return detail::times_power(pinv(detail::times_power(a, guard)), guard);
    svd_decomposition<T> svd(a, svd_method::divide_and_conquer);
    const std::size_t rank = detail::count_above_threshold(svd.values, a.rows, a.cols);
    if (rank == 0)
        return detail::zero_matrix<T>(a.cols, a.rows);
    matrix<T>& right = svd.v; // becomes V·S⁻¹
    for (std::size_t j = 0; j < a.cols; ++j)
        for (std::size_t i = 0; i < rank; ++i)
            right.data[j * right.cols + i] *= T(1.0 / svd.values[i]);
    std::vector<T> p = detail::unfused_product_with_adjoint<T>(detail::view_of(right, rank),
                                                               detail::view_of(svd.u, rank));
    return matrix<T>(a.cols, a.rows, std::move(p));
}

template <class T>
std::size_t matrix_rank(const matrix<T>& a)
{
    detail::require_finite(a, "matrix_rank");
    const int guard = detail::guard_exponent(a);
    const std::vector<double> values =
        guard == 0 ? singular_values(a) : singular_values(detail::times_power(a, guard));
    return detail::count_above_threshold(values, a.rows, a.cols);
}

using detail::complex;

template std::optional<matrix<double>> detail::lstsq_by_qr(const matrix<double>&,
                                                           const matrix<double>&);
template std::optional<matrix<complex>> detail::lstsq_by_qr(const matrix<complex>&,
                                                            const matrix<complex>&);
template matrix<double> lstsq(const matrix<double>&, const matrix<double>&);
template matrix<complex> lstsq(const matrix<complex>&, const matrix<complex>&);
template vector<double> lstsq(const matrix<double>&, const vector<double>&);
template vector<complex> lstsq(const matrix<complex>&, const vector<complex>&);
template matrix<double> pinv(const matrix<double>&);
template matrix<complex> pinv(const matrix<complex>&);
template std::size_t matrix_rank(const matrix<double>&);
template std::size_t matrix_rank(const matrix<complex>&);

} // namespace numerical
