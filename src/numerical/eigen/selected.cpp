#include "numerical/eigen/selected.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/bisection.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/eigen/eigenvalues.hpp"
#include "numerical/eigen/hermitian_two_stage.hpp"
#include "numerical/eigen/inverse_iteration.hpp"
#include "numerical/eigen/lower_triangle.hpp"
#include "numerical/eigen/root_free_ql.hpp"
#include "numerical/eigen/tridiagonal.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>
#include <type_traits>
#include <utility>

namespace numerical {
namespace {

using detail::complex;
using detail::index_range;

aligned_vector<double> scaled(aligned_vector<double> values, double scale)
{
    for (double& value : values)
        value *= scale;
    return values;
}

aligned_vector<double> scaled_by_power(aligned_vector<double> values, int exponent)
{
    for (double& value : values)
        value = detail::scaled_by_power(value, exponent);
    return values;
}

aligned_vector<double> part(const aligned_vector<double>& values, index_range range)
{
    return {values.begin() + std::ptrdiff_t(range.first),
            values.begin() + std::ptrdiff_t(range.last)};
}

// All pairs, by the drivers of the whole problem.
template <class T>
eigenpairs<T> all_eigenpairs(matrix<T> a)
{
    std::conditional_t<std::is_same_v<T, double>, symmetric_eigen, hermitian_eigen> whole(
        std::move(a), eigen_method::divide_and_conquer, eigen_blocks::fastest);
    return {std::move(whole.values), std::move(whole.vectors)};
}

// A tridiagonal matrix and, from its values, the choice of those selected.
struct chosen_problem
{
    const aligned_vector<double>& d;
    const aligned_vector<double>& e;
    const eigen_selection& selection;
    const detail::column_choice& choice;
};

// Where they are known to be few, or else all have to be known.
struct few_values
{
    index_range range;
    aligned_vector<double> values;
};

few_values values_of(const chosen_problem& problem)
{
    const std::size_t n = problem.d.size();
    if (!problem.selection.is_interval()) {
        const index_range places = problem.selection.places_of(n);
        return {places, detail::bisected_values(problem.d, problem.e, places)};
    }
    aligned_vector<double> values = problem.d;
    aligned_vector<double> subdiagonal = problem.e;
    detail::root_free_ql(values, subdiagonal, detail::ql_steps_per_value * n);
    const index_range range = problem.choice(values);
    return {range, part(values, range)};
}

// By inverse iteration, if it does. The reduction is that of the matrix, in one stage or in two.
template <class T, class Reduction>
std::optional<eigenpairs<T>> few_eigenpairs(const chosen_problem& problem,
                                            const Reduction& reduction)
{
    const std::size_t n = problem.d.size();
    auto [range, values] = values_of(problem);
    if (range.count() > detail::most_iterated_vectors(n))
        return {};
    auto rows = detail::iterated_vectors(problem.d, problem.e, values);
    if (!rows)
        return {};
    return eigenpairs<T>{
        std::move(values),
        {n, range.count(), columns_in_matrix_basis(reduction, std::move(*rows), n)}};
}

template <class T>
eigenpairs<T> divided_eigenpairs(const chosen_problem& problem,
                                 const detail::tridiagonal_reduction<T>& reduction)
{
    aligned_vector<double> d = problem.d;
    aligned_vector<double> e = problem.e;
    const std::size_t n = d.size();
    auto [range, columns] = detail::divide_and_conquer_choosing(d, e, reduction, n, problem.choice);
    return {part(d, range), {n, range.count(), std::move(columns)}};
}

template <class T>
eigenpairs<T> divided_eigenpairs(const chosen_problem& problem,
                                 const detail::two_stage_reduction<T>& reduction)
{
    aligned_vector<double> d = problem.d;
    const std::size_t n = d.size();
    const auto [range, rows] = detail::divide_choosing(d, problem.e, n, problem.choice);
    return {part(d, range), {n, range.count(), columns_in_matrix_basis(reduction, rows, n)}};
}

template <class T, class Reduction>
eigenpairs<T> pairs_of_reduction(const chosen_problem& problem, const Reduction& reduction,
                                 bool maybe_few)
{
    if (maybe_few)
        if (auto few = few_eigenpairs<T>(problem, reduction))
            return std::move(*few);
    return divided_eigenpairs<T>(problem, reduction);
}

// Two stages are for vectors that are known to be few.
template <class T>
eigenpairs<T> pairs_of_scaled(aligned_vector<T> a, std::size_t n, const eigen_selection& selection,
                              const detail::column_choice& choice)
{
    aligned_vector<double> d(n);
    aligned_vector<double> e(n);
    const chosen_problem problem{d, e, selection, choice};
    if (selection.most(n) <= detail::most_two_stage_vectors<T>(n)) {
        const auto reduction =
            detail::reduce_in_two_stages(std::move(a), n, detail::hermitian_band_width(n), d, e);
        return pairs_of_reduction<T>(problem, reduction, true);
    }
    auto reduction = detail::tridiagonalize(a, n, d, e, detail::reduction_form::fastest);
    reduction.way_back = detail::fastest_way_back<T>(n);
    a = {};
    const std::size_t most = detail::most_iterated_vectors(n);
    const bool maybe_few = most != 0 && (selection.most(n) <= most || selection.is_interval());
    return pairs_of_reduction<T>(problem, reduction, maybe_few);
}

// Of the matrix times 2^exponent, to whose values the selection is applied.
template <class T>
eigenpairs<T> chosen_eigenpairs(matrix<T> a, int exponent, const eigen_selection& selection)
{
    const double scale = detail::checked_scale(a);
    detail::scale_lower(a, scale);
    const auto given = [&](aligned_vector<double> values) {
        return scaled_by_power(scaled(std::move(values), scale), exponent);
    };
    eigenpairs<T> pairs = pairs_of_scaled<T>(
        std::move(a.data), a.rows, selection,
        [&](const aligned_vector<double>& found) { return selection.among(given(found)); });
    return {given(std::move(pairs.values)), std::move(pairs.vectors)};
}

} // namespace

eigen_selection eigen_selection::by_place(std::size_t first, std::size_t last)
{
    eigen_selection selection;
    selection.places = true;
    selection.range = {first, last};
    return selection;
}

eigen_selection eigen_selection::by_value(double above, double upto)
{
    eigen_selection selection;
    selection.above = above;
    selection.upto = upto;
    return selection;
}

index_range eigen_selection::among(const aligned_vector<double>& values) const
{
    if (is_whole(values.size()))
        return {0, values.size()};
    if (places)
        return places_of(values.size());
    const auto place_after = [&](double bound) {
        return std::size_t(std::upper_bound(values.begin(), values.end(), bound) - values.begin());
    };
    const std::size_t first = place_after(above);
    return {first, std::max(first, place_after(upto))};
}

index_range eigen_selection::places_of(std::size_t n) const
{
    return {std::min(range.first, n), std::min(range.last, n)};
}

bool eigen_selection::is_whole(std::size_t n) const
{
    return places ? range.first == 0 && range.last >= n : above == -infinity && upto == infinity;
}

template <class T>
eigenpairs<T> selected_eigenpairs(matrix<T> a, const eigen_selection& selection)
{
    if (a.rows == 0 || selection.is_whole(a.rows))
        return all_eigenpairs(std::move(a));
    return chosen_eigenpairs(std::move(a), 0, selection);
}

template <class T>
eigenpairs<T> selected_eigenpairs(matrix<T> a, matrix<T> b, pencil_form form,
                                  const eigen_selection& selection)
{
    definite_pencil<T> pencil(std::move(a), std::move(b), form);
    const std::size_t n = pencil.standard.rows;
    if (n != 0 && !selection.is_whole(n)) {
        eigenpairs<T> pairs =
            chosen_eigenpairs(std::move(pencil.standard), pencil.exponent, selection);
        pencil.restore(pairs.vectors);
        return pairs;
    }
    eigenpairs<T> pairs = all_eigenpairs(std::move(pencil.standard));
    pencil.restore(pairs.vectors);
    return {scaled_by_power(std::move(pairs.values), pencil.exponent), std::move(pairs.vectors)};
}

template <class T>
aligned_vector<double> selected_eigenvalues(matrix<T> a, const eigen_selection& selection)
{
    const aligned_vector<double> values = eigenvalues(std::move(a));
    return part(values, selection.among(values));
}

template <class T>
aligned_vector<double> selected_eigenvalues(matrix<T> a, matrix<T> b, pencil_form form,
                                            const eigen_selection& selection)
{
    definite_pencil<T> pencil(std::move(a), std::move(b), form);
    const aligned_vector<double> values =
        scaled_by_power(eigenvalues(std::move(pencil.standard)), pencil.exponent);
    return part(values, selection.among(values));
}

template eigenpairs<double> selected_eigenpairs(matrix<double>, const eigen_selection&);
template eigenpairs<complex> selected_eigenpairs(matrix<complex>, const eigen_selection&);
template eigenpairs<double> selected_eigenpairs(matrix<double>, matrix<double>, pencil_form,
                                                const eigen_selection&);
template eigenpairs<complex> selected_eigenpairs(matrix<complex>, matrix<complex>, pencil_form,
                                                 const eigen_selection&);
template aligned_vector<double> selected_eigenvalues(matrix<double>, const eigen_selection&);
template aligned_vector<double> selected_eigenvalues(matrix<complex>, const eigen_selection&);
template aligned_vector<double> selected_eigenvalues(matrix<double>, matrix<double>, pencil_form,
                                                     const eigen_selection&);
template aligned_vector<double> selected_eigenvalues(matrix<complex>, matrix<complex>, pencil_form,
                                                     const eigen_selection&);

} // namespace numerical
