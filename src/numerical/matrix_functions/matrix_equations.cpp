#include "numerical/matrix_functions/matrix_equations.hpp"

#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/hermitian.hpp"
#include "numerical/matrix_functions/triangular_sylvester.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/nonsymmetric/triangular_vectors.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace numerical {
namespace {

using complex = std::complex<double>;
using detail::adjoint;
using detail::matrix_equation;

constexpr double unit_roundoff = std::numeric_limits<double>::epsilon();

template <class T>
void require_square_and_finite(const matrix<T>& a, const char* operation)
{
    if (a.rows != a.cols)
        throw dimension_error(std::string(operation) + " requires square coefficients");
    detail::require_finite(a, operation);
}

template <class T>
void require_right_side(const matrix<T>& q, std::size_t rows, std::size_t cols,
                        const char* operation)
{
    if (q.rows != rows || q.cols != cols)
        throw dimension_error(std::string(operation) +
                              ": the right-hand side doesn't fit the coefficients");
    detail::require_finite(q, operation);
}

template <class T>
double greatest(const matrix<T>& a)
{
    return detail::largest_modulus(a.data.data(), a.data.size());
}

// The least pivot: the rounding error of coefficients of this size.
template <matrix_equation E, class T>
double least_pivot(const matrix<T>& r, const matrix<T>& s)
{
    if (E == matrix_equation::sylvester)
        return unit_roundoff * std::max(greatest(r), greatest(s));
    return unit_roundoff * std::max(1.0, greatest(r) * greatest(s));
}

// Replaces F by the solution Y of the triangular equation.
template <matrix_equation E, class T>
void solve_triangular(const matrix<T>& r, const matrix<T>& s, matrix<T>& f, const char* failure)
{
    const std::size_t m = r.rows;
    const std::size_t n = s.rows;
    if (!detail::solve_triangular<E, T>({r.data.data(), m, m}, {s.data.data(), n, n},
                                        {f.data.data(), m, n}, least_pivot<E>(r, s)))
        throw singular_matrix_error(failure);
}

// The columns in reverse order.
template <class T>
matrix<T> reversed_columns(matrix<T> a)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        std::reverse(a.data.data() + i * a.cols, a.data.data() + (i + 1) * a.cols);
    return a;
}

// The solution of a Lyapunov equation by A = U·R·Uᴴ. With the reversal J the other coefficient is
// Aᴴ = (U·J)·S·(U·J)ᴴ, where S = J·Rᴴ·J is upper triangular.
template <matrix_equation E, class T>
matrix<T> solve_lyapunov(matrix<T> a, const matrix<T>& q, const char* failure)
{
    const std::size_t n = a.rows;
    const schur_factors<T> schur = schur_form(std::move(a), schur_vectors::compute);
    const matrix<T> s(n, n, detail::reversed_adjoint<T>({schur.t.data.data(), n, n}));
    const matrix<T> v = reversed_columns(schur.q);
    matrix<T> y = adjoint(schur.q) * (q * v);
    solve_triangular<E>(schur.t, s, y, failure);
    matrix<T> x = schur.q * (y * adjoint(v));
    if (detail::is_hermitian(q))
        detail::make_hermitian(x);
    return x;
}

} // namespace

template <class T>
matrix<T> solve_sylvester(matrix<T> a, matrix<T> b, const matrix<T>& q)
{
    constexpr const char* operation = "solve_sylvester";
    require_square_and_finite(a, operation);
    require_square_and_finite(b, operation);
    require_right_side(q, a.rows, b.rows, operation);
    const schur_factors<T> left = schur_form(std::move(a), schur_vectors::compute);
    const schur_factors<T> right = schur_form(std::move(b), schur_vectors::compute);
    matrix<T> y = adjoint(left.q) * (q * right.q);
    solve_triangular<matrix_equation::sylvester>(
        left.t, right.t, y, "solve_sylvester: a and -b have an eigenvalue in common");
    return left.q * (y * adjoint(right.q));
}

template <class T>
matrix<T> solve_continuous_lyapunov(matrix<T> a, const matrix<T>& q)
{
    constexpr const char* operation = "solve_continuous_lyapunov";
    require_square_and_finite(a, operation);
    require_right_side(q, a.rows, a.rows, operation);
    return solve_lyapunov<matrix_equation::sylvester>(
        std::move(a), q,
        "solve_continuous_lyapunov: a has eigenvalues that are each other's negative conjugate");
}

template <class T>
matrix<T> solve_discrete_lyapunov(matrix<T> a, const matrix<T>& q)
{
    constexpr const char* operation = "solve_discrete_lyapunov";
    require_square_and_finite(a, operation);
    require_right_side(q, a.rows, a.rows, operation);
    matrix<T> minus_q = q;
    for (T& element : minus_q.data)
        element = detail::negated(element);
    return solve_lyapunov<matrix_equation::stein>(
        std::move(a), minus_q,
        "solve_discrete_lyapunov: a has eigenvalues that are each other's reciprocal conjugate");
}

template matrix<double> solve_sylvester(matrix<double>, matrix<double>, const matrix<double>&);
template matrix<complex> solve_sylvester(matrix<complex>, matrix<complex>, const matrix<complex>&);
template matrix<double> solve_continuous_lyapunov(matrix<double>, const matrix<double>&);
template matrix<complex> solve_continuous_lyapunov(matrix<complex>, const matrix<complex>&);
template matrix<double> solve_discrete_lyapunov(matrix<double>, const matrix<double>&);
template matrix<complex> solve_discrete_lyapunov(matrix<complex>, const matrix<complex>&);

} // namespace numerical
