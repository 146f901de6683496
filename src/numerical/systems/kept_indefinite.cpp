#include "numerical/systems/kept_indefinite.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include <algorithm>

namespace numerical {

template <class T>
bool is_singular(const kept_indefinite<T>& a)
{
    for (std::size_t k = 0; k < a.lower.rows; ++k)
        if (a.below[k] != T(0))
            ++k;
        else if (a.diagonal[k] == T(0))
            return true;
    return false;
}

namespace detail {
namespace {

template <class T>
T mirrored(symmetry kind, const T& z)
{
    return kind == symmetry::hermitian ? conjugate(z) : z;
}

// Solves rows k and k + 1 of X by the block [ e f̄ ; f g ], with the formula of divide_by_block.
template <class T>
void solve_block(const kept_indefinite<T>& a, std::size_t k, block_view<T> x)
{
    const T f = a.below[k];
    const T f_mirrored = mirrored(a.kind, f);
    const T e_by_f = a.diagonal[k] / f_mirrored;
    const T g_by_f = a.diagonal[k + 1] / f;
    const T delta = e_by_f * g_by_f - T(1);
    for (std::size_t j = 0; j < x.cols; ++j) {
        const T first = x(k, j) / f_mirrored;
        const T second = x(k + 1, j) / f;
        x(k, j) = (g_by_f * first - second) / delta;
        x(k + 1, j) = (e_by_f * second - first) / delta;
    }
}

template <class T>
void solve_block_diagonal(const kept_indefinite<T>& a, block_view<T> x)
{
    for (std::size_t k = 0; k < x.rows; ++k) {
        if (a.below[k] != T(0)) {
            solve_block(a, k, x);
            ++k;
        } else {
            for (std::size_t j = 0; j < x.cols; ++j)
                x(k, j) /= a.diagonal[k];
        }
    }
}

template <class T>
void solve_together(const kept_indefinite<T>& a, block_view<T> x)
{
    aligned_vector<T> store = uninitialized<T>(x.rows * x.cols);
    const block_view<T> permuted{store.data(), x.rows, x.cols};
    for (std::size_t i = 0; i < x.rows; ++i)
        std::copy_n(x.row(std::size_t(a.permutation[i])), x.cols, permuted.row(i));
    const triangle<T> l{a.lower, triangle_half::lower, triangle_diagonal::ones};
    const bool hermitian = a.kind == symmetry::hermitian;
    solve_triangle(l, matrix_form::plain, permuted);
    solve_block_diagonal(a, permuted);
    solve_triangle(l, hermitian ? matrix_form::adjoint : matrix_form::transposed, permuted);
    for (std::size_t i = 0; i < x.rows; ++i)
        std::copy_n(permuted.row(i), x.cols, x.row(std::size_t(a.permutation[i])));
}

// Of the solution of a column, for parallel_for.
template <class T>
std::size_t work_of_column(std::size_t rows)
{
    constexpr std::size_t doubles = sizeof(T) / sizeof(double);
    return short_loops_pay() ? rows * rows * doubles : rows * rows / 2;
}

// Whether the columns are solved by themselves, on a thread each: a few threads gain more so than
// by the loops within a substitution, most of which is serial. One thread solves them together, as
// they share what it reads of L.
bool is_solved_by_columns(std::size_t cols, std::size_t work_of_each)
{
    constexpr std::size_t most_threads = 4;
    return 1 < cols && cols <= substituted_one_by_one && allowed_threads() <= most_threads &&
           split_loop(cols, work_of_each).has_value();
}

} // namespace
} // namespace detail

template <class T>
void solve_indefinite(const kept_indefinite<T>& a, detail::block_view<T> x)
{
    const std::size_t work = detail::work_of_column<T>(x.rows);
    if (!detail::is_solved_by_columns(x.cols, work))
        return detail::solve_together(a, x);
    const auto solve_column = [&](std::size_t j) {
        aligned_vector<T> column(x.rows);
        for (std::size_t i = 0; i < x.rows; ++i)
            column[i] = x(i, j);
        detail::solve_together(a, detail::block_view<T>{column.data(), x.rows, 1});
        for (std::size_t i = 0; i < x.rows; ++i)
            x(i, j) = column[i];
    };
    detail::parallel_for(x.cols, work, solve_column);
}

template <class T>
aligned_vector<T> determinant_factors(const kept_indefinite<T>& a)
{
    aligned_vector<T> factors(a.diagonal, a.diagonal + a.lower.rows);
    for (std::size_t k = 0; k < factors.size(); ++k)
        if (const T f = a.below[k]; f != T(0)) {
            const T f_mirrored = detail::mirrored(a.kind, f);
            factors[k] = (a.diagonal[k] / f_mirrored) * a.diagonal[k + 1] - f;
            factors[k + 1] = f_mirrored;
            ++k;
        }
    return factors;
}

template <class T>
double reciprocal_condition(const kept_indefinite<T>& a, double norm)
{
    const std::size_t n = a.lower.rows;
    if (is_singular(a))
        return 0;
    // The inverse of a complex symmetric matrix isn't its own adjoint: A⁻ᴴ·x is conj(A⁻¹·conj(x)).
    const auto solve = [&a](detail::block_view<T> x) { solve_indefinite(a, x); };
    const auto solve_adjoint = [&a](detail::block_view<T> x) {
        const bool conjugates = a.kind == symmetry::symmetric;
        const auto form = conjugates ? matrix_form::adjoint : matrix_form::transposed;
        detail::solve_transposed_or_adjoint(
            form, x, [&](detail::block_view<T> y) { solve_indefinite(a, y); });
    };
    return reciprocal_condition(n, norm, estimate_one_norm<T>(n, solve, solve_adjoint));
}

using detail::block_view;
using detail::complex;

template bool is_singular(const kept_indefinite<double>&);
template bool is_singular(const kept_indefinite<complex>&);
template void solve_indefinite(const kept_indefinite<double>&, block_view<double>);
template void solve_indefinite(const kept_indefinite<complex>&, block_view<complex>);
template double reciprocal_condition(const kept_indefinite<double>&, double);
template double reciprocal_condition(const kept_indefinite<complex>&, double);
template aligned_vector<double> determinant_factors(const kept_indefinite<double>&);
template aligned_vector<complex> determinant_factors(const kept_indefinite<complex>&);

} // namespace numerical
