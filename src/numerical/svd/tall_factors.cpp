#include "numerical/svd/tall_factors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/factor/triangular_solve.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/range_guard.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// a, or its adjoint if it is wide, times 2^exponent: always tall.
template <class T>
aligned_vector<T> tall_times_power(matrix<T> a, int exponent)
{
    aligned_vector<T> tall = std::move(a.rows >= a.cols ? a.data : adjoint(a).data);
    multiply_by_power(tall.data(), tall.size(), exponent);
    return tall;
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

} // namespace

template <class T>
tall_factors<T>::tall_factors(matrix<T> a, double largest, reflector_blocking blocking)
    : rows(std::max(a.rows, a.cols)), order(std::min(a.rows, a.cols)),
      exponent(-std::ilogb(largest))
{
    aligned_vector<T> work = tall_times_power(std::move(a), exponent);
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
std::optional<aligned_vector<T>> tall_factors<T>::regular_inverse() const
{
    if (!is_clearly_regular(ratio_of_diagonal(qr.r, order), rows))
        return {};
    aligned_vector<T> inverse = upper_inverse(qr.r, order);
    if (!is_clearly_regular(frobenius_norm(qr.r) * frobenius_norm(inverse), rows))
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
