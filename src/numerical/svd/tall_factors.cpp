#include "numerical/svd/tall_factors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/systems/norm_estimate.hpp"
#include "numerical/systems/triangle.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// a, or its adjoint if it is wide, times 2^exponent: always tall.
template <class T>
aligned_vector<T> tall_times_power(block_view<const T> a, int exponent)
{
    return a.rows >= a.cols ? copy_times_power(a.first, a.rows * a.cols, exponent)
                            : adjoint_times_power(a, exponent).data;
}

// The largest modulus on the diagonal over the least, which no condition of a triangle is below.
template <class T>
double ratio_of_diagonal(const aligned_vector<T>& r, std::size_t n)
{
    double least = modulus(r[0]);
    double largest = least;
    for (std::size_t i = 1; i < n; ++i) {
        const double size = modulus(r[i * n + i]);
        least = std::min(least, size);
        largest = std::max(largest, size);
    }
    return largest / least;
}

template <class T>
double frobenius_norm(const aligned_vector<T>& a)
{
    double square = 0;
    for (const T& x : a)
        square += std::norm(x);
    return std::sqrt(square);
}

// The Frobenius norm of a triangle, summed by rows in several lanes; infinite where a square
// overflows.
template <class T>
double norm_of_upper(const aligned_vector<T>& r, std::size_t n)
{
    const int path = gemm_path_current();
    double square = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double* const row = as_doubles(r.data() + i * n + i);
        square += long_dot_on(path, row, row, (n - i) * (sizeof(T) / sizeof(double)));
    }
    return std::sqrt(square);
}

// A bound of the condition in Frobenius norms, which are at most √n times 1-norms. The estimate of
// ‖R⁻¹‖₁ is seldom below a third of it (Higham and Tisseur 2000).
template <class T>
double condition_bound(const aligned_vector<T>& r, std::size_t n)
{
    constexpr double least_share = 0.1;
    const triangle<T> upper{.of = {r.data(), n, n}, .half = triangle_half::upper};
    const auto solve_as = [&](matrix_form form) {
        return [&upper, form](block_view<T> x) { solve_triangle(upper, form, x); };
    };
    const double norm_of_inverse =
        estimate_one_norm<T>(n, solve_as(matrix_form::plain), solve_as(matrix_form::adjoint));
    return norm_of_upper(r, n) * norm_of_inverse * (std::sqrt(double(n)) / least_share);
}

} // namespace

template <class T>
tall_factors<T>::tall_factors(block_view<const T> a, double largest, reflector_blocking blocking)
    : rows(std::max(a.rows, a.cols)), order(std::min(a.rows, a.cols)),
      exponent(-std::ilogb(largest)),
      is_estimated(blocking == reflector_blocking::fastest && order >= least_estimated_order)
{
    aligned_vector<T> work = tall_times_power(a, exponent);
    if (blocking != reflector_blocking::fastest || !is_tall<T>(rows, order)) {
        qr = householder_reflect(std::move(work), rows, order, blocking);
        return;
    }
    tall.emplace(std::move(work), rows, order);
    qr.r = std::move(tall->r);
}

template <class T>
double tall_factors<T>::condition() const
{
    if (const double least = ratio_of_diagonal(qr.r, order); !is_clearly_regular(least, rows))
        return least;
    return frobenius_norm(qr.r) * frobenius_norm(upper_inverse(qr.r, order));
}

template <class T>
bool tall_factors<T>::has_condition_below(double cutoff) const
{
    const auto is_below = [&](double condition) {
        return is_clearly_regular(condition, rows) && 1.0 > condition * cutoff;
    };
    if (!is_clearly_regular(ratio_of_diagonal(qr.r, order), rows))
        return false;
    return (is_estimated && is_below(condition_bound(qr.r, order))) || is_below(condition());
}

template <class T>
std::optional<aligned_vector<T>> tall_factors<T>::regular_inverse() const
{
    if (!is_clearly_regular(ratio_of_diagonal(qr.r, order), rows))
        return {};
    aligned_vector<T> inverse = upper_inverse(qr.r, order);
    if (!is_clearly_regular(norm_of_upper(qr.r, order) * norm_of_upper(inverse, order), rows))
        return {};
    return inverse;
}

template <class T>
void tall_factors<T>::apply_adjoint(aligned_vector<T>& b, std::size_t cols) const
{
    if (tall)
        return tall->apply_adjoint({b.data(), rows, cols});
    for (const reflector_block<T>& block : qr.blocks)
        apply_reflector_block<block_operator::adjoint>(block, b, cols, 0, cols);
}

template <class T>
void tall_factors<T>::apply(aligned_vector<T>& b, std::size_t cols) const
{
    if (tall)
        return tall->apply({b.data(), rows, cols});
    for (auto block = qr.blocks.rbegin(); block != qr.blocks.rend(); ++block)
        apply_reflector_block<block_operator::direct>(*block, b, cols, 0, cols);
}

template <class T>
void tall_factors<T>::solve(aligned_vector<T>& b, std::size_t cols) const
{
    solve_upper<T>({qr.r.data(), order, order}, triangular_tile, {b.data(), order, cols});
}

template <class T>
void tall_factors<T>::solve_adjoint(aligned_vector<T>& b, std::size_t cols) const
{
    const matrix<T> lower = adjoint(matrix<T>(order, order, qr.r));
    solve_lower<T>({lower.data.data(), order, order}, triangular_tile, {b.data(), order, cols});
}

bool is_clearly_regular(double condition, std::size_t rows)
{
    return 1.0 > condition * (static_cast<double>(rows) * eps) * 100.0;
}

template struct tall_factors<double>;
template struct tall_factors<complex>;

} // namespace numerical::detail
