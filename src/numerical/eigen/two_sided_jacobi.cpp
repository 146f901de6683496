// The Jacobi method of the real symmetric eigenproblem: rotations from both sides, pair by pair in
// row order, until what lies off the diagonal is negligible (Jacobi 1846; the cyclic order and the
// small angle are those of Forsythe and Henrici 1960).

#include "numerical/eigen/eigen.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/runtime/interruption.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace numerical::detail {
namespace {

// Of the Frobenius norm. What is left off the diagonal is an error of the matrix, here one rounding
// of it. No larger tolerance saves more than a sweep: from 1e-12 the next one comes to 1e-24, as
// convergence is quadratic, and each rotation sets its element to zero exactly.
constexpr double tolerance = std::numeric_limits<double>::epsilon();

class jacobi_iteration
{
public:
    jacobi_iteration(const matrix<double>& lower, double scale);

    void run(int sweep_limit);

    // Eigenvectors by rows, and the values on the diagonal of what the matrix has become.
    aligned_vector<double> q;

    double value(std::size_t i) const { return a[i * n + i]; }

private:
    const std::size_t n;
    aligned_vector<double> a;
    double tol = 0;

    double off_diagonal() const;
    void sweep();
    void annihilate(std::size_t p, std::size_t r);
};

jacobi_iteration::jacobi_iteration(const matrix<double>& lower, double scale)
    : q(lower.rows * lower.rows), n(lower.rows), a(n * n)
{
    double squares = 0;
    for (std::size_t i = 0; i < n; ++i) {
        q[i * n + i] = 1;
        for (std::size_t j = 0; j < n; ++j) {
            a[i * n + j] = lower.data[std::max(i, j) * n + std::min(i, j)] / scale;
            squares += a[i * n + j] * a[i * n + j];
        }
    }
    tol = tolerance * std::sqrt(squares);
}

double jacobi_iteration::off_diagonal() const
{
    double squares = 0;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = i + 1; j < n; ++j)
            squares += a[i * n + j] * a[i * n + j];
    return std::sqrt(2 * squares);
}

void jacobi_iteration::run(int sweep_limit)
{
    if (n < 2)
        return;
    for (int sweeps = 0; off_diagonal() > tol; ++sweeps) {
        if (sweeps == sweep_limit)
            throw convergence_error(
                "symmetric eigendecomposition: Jacobi did not converge within its sweeps");
        sweep();
    }
}

void jacobi_iteration::sweep()
{
    for (std::size_t p = 0; p + 1 < n; ++p) {
        check_for_interruption();
        for (std::size_t r = p + 1; r < n; ++r)
            if (a[p * n + r] != 0)
                annihilate(p, r);
    }
}

// The rotation by the smaller angle that makes a(p, r) zero.
void jacobi_iteration::annihilate(std::size_t p, std::size_t r)
{
    const double app = a[p * n + p];
    const double arr = a[r * n + r];
    const double apr = a[p * n + r];
    const double tau = (arr - app) / (2 * apr);
    const double t = (tau >= 0 ? 1.0 : -1.0) / (std::abs(tau) + std::sqrt(tau * tau + 1));
    const double c = 1 / std::sqrt(t * t + 1);
    const double s = t * c;
    a[r * n + r] = app * (s * s) + apr * (2 * s * c) + arr * (c * c);
    a[p * n + p] = app * (c * c) - apr * (2 * s * c) + arr * (s * s);
    a[p * n + r] = a[r * n + p] = 0;
    for (std::size_t k = 0; k < n; ++k) {
        if (k != p && k != r) {
            const double x = a[p * n + k];
            const double y = a[r * n + k];
            a[p * n + k] = a[k * n + p] = c * x - s * y;
            a[r * n + k] = a[k * n + r] = s * x + c * y;
        }
    }
    for (std::size_t k = 0; k < n; ++k) {
        const double x = q[p * n + k];
        const double y = q[r * n + k];
        q[p * n + k] = c * x - s * y;
        q[r * n + k] = s * x + c * y;
    }
}

} // namespace

jacobi_eigenpairs two_sided_jacobi(const matrix<double>& a, double scale, int sweep_limit)
{
    jacobi_iteration iteration(a, scale);
    iteration.run(sweep_limit);
    aligned_vector<double> diagonal(a.rows);
    for (std::size_t i = 0; i < a.rows; ++i)
        diagonal[i] = iteration.value(i) * scale;
    return {std::move(diagonal), std::move(iteration.q)};
}

} // namespace numerical::detail
