#include "numerical/systems/kept_lu.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include <numeric>
#include <utility>

namespace numerical {

// Exchange i brings the row that the permutation requires to place i, from where the earlier
// exchanges have moved it.
aligned_vector<std::ptrdiff_t> exchanges_of(const std::vector<std::size_t>& permutation)
{
    const std::size_t n = permutation.size();
    std::vector<std::size_t> row_at(n);
    std::iota(row_at.begin(), row_at.end(), std::size_t{0});
    std::vector<std::size_t> place_of = row_at;
    aligned_vector<std::ptrdiff_t> exchanges(n);
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t wanted = permutation[i];
        const std::size_t place = place_of[wanted];
        exchanges[i] = std::ptrdiff_t(place);
        place_of[row_at[i]] = place;
        row_at[place] = row_at[i];
    }
    return exchanges;
}

template <class T>
void solve_kept(const kept_lu<T>& lu, matrix_form form, detail::block_view<T> x)
{
    const std::size_t n = x.rows;
    const auto exchange = [&](std::size_t i) {
        if (const auto other = std::size_t(lu.exchanges[i]); other != i)
            detail::exchange_runs(x.row(i), x.row(other), x.cols);
    };
    if (form == matrix_form::plain) {
        for (std::size_t i = 0; i < n; ++i)
            exchange(i);
        solve_triangle(lu.lower(), form, x);
        solve_triangle(lu.upper(), form, x);
    } else {
        solve_triangle(lu.upper(), form, x);
        solve_triangle(lu.lower(), form, x);
        for (std::size_t i = n; i-- > 0;)
            exchange(i);
    }
}

template <class T>
double reciprocal_condition(const kept_lu<T>& lu, double norm)
{
    const std::size_t n = lu.factors.rows;
    if (is_singular(lu.upper()))
        return 0;
    const auto solve_as = [&](matrix_form form) {
        return [&lu, form](detail::block_view<T> x) { solve_kept(lu, form, x); };
    };
    return reciprocal_condition(
        n, norm,
        estimate_one_norm<T>(n, solve_as(matrix_form::plain), solve_as(matrix_form::adjoint)));
}

template void solve_kept(const kept_lu<double>&, matrix_form, detail::block_view<double>);
template void solve_kept(const kept_lu<detail::complex>&, matrix_form,
                         detail::block_view<detail::complex>);
template double reciprocal_condition(const kept_lu<double>&, double);
template double reciprocal_condition(const kept_lu<detail::complex>&, double);

} // namespace numerical
