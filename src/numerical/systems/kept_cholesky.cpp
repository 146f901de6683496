#include "numerical/systems/kept_cholesky.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include <algorithm>
#include <cmath>

namespace numerical {
namespace detail {
namespace {

// A unitary rotation of two columns, (l, w) := (c·l + s·w, c·w - conj(s)·l).
template <class T>
struct column_rotation
{
    double c;
    T s;

    void apply(T& l, T& w) const
    {
        const T turned = c * l + finite_product(s, w);
        w = c * w - finite_product(conjugate(s), l);
        l = turned;
    }
};

// The rotations of a row form a chain in which each waits for the one before; this many rows are
// processed side by side.
constexpr std::size_t rows_at_once = 8;

// Applies the rotations k = 0, 1, ... of all columns of a lower triangle, row by row; w[i] is row i
// of the column that all of them rotate with.
template <class T>
class rotated_triangle
{
public:
    rotated_triangle(aligned_vector<T>& factor, aligned_vector<T>& shared)
        : w(shared), rows{factor.data(), w.size(), w.size()}, rotations(w.size())
    {
    }

    void update();
    void downdate(const aligned_vector<T>& p, double rho);

private:
    aligned_vector<T>& w;
    block_view<T> rows;
    std::vector<column_rotation<T>> rotations;

    // Rotation k on rows [from, from + rows_at_once).
    void rotate_rows(std::size_t from, std::size_t k)
    {
        T* const l = &rows(from, k);
#pragma GCC unroll 8
        for (std::size_t r = 0; r < rows_at_once; ++r)
            rotations[k].apply(l[r * rows.stride], w[from + r]);
    }
};

template <class T>
void rotated_triangle<T>::update()
{
    const std::size_t n = w.size();
    for (std::size_t from = 0; from < n; from += rows_at_once) {
        const std::size_t to = std::min(from + rows_at_once, n);
        if (to - from == rows_at_once)
            for (std::size_t k = 0; k < from; ++k)
                rotate_rows(from, k);
        for (std::size_t i = from; i < to; ++i) {
            for (std::size_t k = to - from == rows_at_once ? from : 0; k < i; ++k)
                rotations[k].apply(rows(i, k), w[i]);
            const double diagonal = real_part(rows(i, i));
            const double length = std::hypot(diagonal, modulus(w[i]));
            rotations[i] = {diagonal / length, conjugate(w[i]) / length};
            rows(i, i) = T(length);
        }
    }
}

// The rotations are computed before any row is changed, and each row is rotated independently.
template <class T>
void rotated_triangle<T>::downdate(const aligned_vector<T>& p, double rho)
{
    const std::size_t n = w.size();
    for (std::size_t k = n; k-- > 0;) {
        const double length = std::hypot(rho, modulus(p[k]));
        rotations[k] = {rho / length, -conjugate(p[k]) / length};
        rho = length;
    }
    const auto rotate_group = [&](std::size_t group) {
        const std::size_t from = group * rows_at_once;
        const std::size_t to = std::min(from + rows_at_once, n);
        const std::size_t alone_down_to = to - from == rows_at_once ? from : 0;
        for (std::size_t i = from; i < to; ++i)
            for (std::size_t k = i + 1; k-- > alone_down_to;)
                rotations[k].apply(rows(i, k), w[i]);
        for (std::size_t k = alone_down_to; k-- > 0;)
            rotate_rows(from, k);
        for (std::size_t i = from; i < to; ++i)
            rows(i, i) = T(real_part(rows(i, i)));
    };
    parallel_for(ceil_div(n, rows_at_once), rows_at_once * n, rotate_group);
}

} // namespace
} // namespace detail

template <class T>
void solve_definite(const triangle<T>& factor, detail::block_view<T> x)
{
    const bool lower = factor.is_lower();
    solve_triangle(factor, lower ? matrix_form::plain : matrix_form::adjoint, x);
    solve_triangle(factor, lower ? matrix_form::adjoint : matrix_form::plain, x);
}

template <class T>
double reciprocal_condition_of_definite(const triangle<T>& factor)
{
    const std::size_t n = factor.of.rows;
    if (is_singular(factor))
        return 0;
    const bool lower = factor.is_lower();
    const auto multiply = [&](detail::block_view<T> x) {
        multiply_triangle(factor, lower ? matrix_form::adjoint : matrix_form::plain, x);
        multiply_triangle(factor, lower ? matrix_form::plain : matrix_form::adjoint, x);
    };
    const auto solve = [&](detail::block_view<T> x) { solve_definite(factor, x); };
    return reciprocal_condition(n, estimate_one_norm<T>(n, multiply, multiply),
                                estimate_one_norm<T>(n, solve, solve));
}

template <class T>
void update_cholesky(aligned_vector<T>& factor, aligned_vector<T> v)
{
    detail::rotated_triangle<T>(factor, v).update();
}

template <class T>
void downdate_cholesky(aligned_vector<T>& factor, aligned_vector<T> v)
{
    const std::size_t n = v.size();
    const triangle<T> lower{{factor.data(), n, n}, triangle_half::lower};
    solve_triangle(lower, matrix_form::plain, detail::block_view<T>{v.data(), n, 1});
    double square = 0;
    for (const T& x : v)
        square += std::norm(x);
    if (!(square < 1))
        throw not_positive_definite_error("downdate: matrix would not be positive-definite");
    aligned_vector<T> nothing(n);
    detail::rotated_triangle<T>(factor, nothing).downdate(v, std::sqrt(1 - square));
}

template void solve_definite(const triangle<double>&, detail::block_view<double>);
template void solve_definite(const triangle<detail::complex>&, detail::block_view<detail::complex>);
template double reciprocal_condition_of_definite(const triangle<double>&);
template double reciprocal_condition_of_definite(const triangle<detail::complex>&);
template void update_cholesky(aligned_vector<double>&, aligned_vector<double>);
template void update_cholesky(aligned_vector<detail::complex>&, aligned_vector<detail::complex>);
template void downdate_cholesky(aligned_vector<double>&, aligned_vector<double>);
template void downdate_cholesky(aligned_vector<detail::complex>&, aligned_vector<detail::complex>);

} // namespace numerical
