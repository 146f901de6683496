#include "numerical/eigen/tridiagonal_divide.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/halves.hpp"
#include "numerical/eigen/order.hpp"
#include "numerical/eigen/tridiagonal_ql.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// The block scaled by an exact power of two, so that its largest entry lies in [0.5, 1) and the
// tolerances of the merges are relative to that.
void divide_scaled(double* d, const double* e, std::size_t n, int exponent, block_view<double> z,
                   merge_workspace& workspace)
{
    aligned_vector<double> scaled_d(n);
    aligned_vector<double> scaled_e(n);
    for (std::size_t i = 0; i < n; ++i)
        scaled_d[i] = std::ldexp(d[i], -exponent);
    for (std::size_t i = 0; i + 1 < n; ++i)
        scaled_e[i] = std::ldexp(e[i], -exponent);
    divide_block(scaled_d.data(), scaled_e.data(), n, z, workspace);
    for (std::size_t i = 0; i < n; ++i)
        d[i] = std::ldexp(scaled_d[i], exponent);
}

void solve_leaf(double* d, const double* e, std::size_t n, block_view<double> z)
{
    aligned_vector<double> values(d, d + n);
    aligned_vector<double> off_diagonal(n);
    std::copy(e, e + (n - 1), off_diagonal.begin());
    aligned_vector<double> rows(n * n);
    for (std::size_t i = 0; i < n; ++i)
        rows[i * n + i] = 1;
    tridiagonal_ql(values, off_diagonal, rows, n, 30 * n);
    const std::vector<std::size_t> order = ascending_order(values);
    for (std::size_t j = 0; j < n; ++j) {
        d[j] = values[order[j]];
        for (std::size_t i = 0; i < n; ++i)
            z(i, j) = rows[order[j] * n + i];
    }
}

// What couples two solved halves: d holds their values and z their vectors.
struct torn_matrix
{
    std::size_t k;
    double rho;
    aligned_vector<double> values;
    aligned_vector<double> zv;
};

// With rho = |e[k-1]| taken from the two diagonal entries at the tear, the matrix is the two halves
// and rho·v·vᵀ, v having 1 and the sign of e[k-1] there.
torn_matrix tear(double* d, const double* e, std::size_t n, block_view<double> z,
                 merge_workspace& workspace)
{
    const std::size_t k = n / 2;
    const double coupling = e[k - 1];
    const double rho = std::abs(coupling);
    d[k - 1] -= rho;
    d[k] -= rho;
    const quotient_form quotients = workspace.quotients; // the upper half works there meanwhile
    const auto solve_upper = [&](merge_workspace& own) {
        divide_block(d, e, k, z.sub(0, k, 0, k), own);
    };
    const auto solve_lower = [&](merge_workspace& own) {
        own.quotients = quotients;
        divide_block(d + k, e + k, n - k, z.sub(k, n, k, n), own);
    };
    solve_both_halves(n, workspace, solve_upper, solve_lower);

    aligned_vector<double> zv(n);
    for (std::size_t j = 0; j < k; ++j)
        zv[j] = z(k - 1, j);
    for (std::size_t j = k; j < n; ++j)
        zv[j] = std::copysign(1.0, coupling) * z(k, j);
    return {.k = k, .rho = rho, .values = aligned_vector<double>(d, d + n), .zv = std::move(zv)};
}

void tear_and_merge(double* d, const double* e, std::size_t n, block_view<double> z,
                    merge_workspace& workspace)
{
    auto [k, rho, values, zv] = tear(d, e, n, z, workspace);
    merge_rank_one(values, std::move(zv), rho, z, k, workspace);
    std::copy(values.begin(), values.end(), d);
}

// All vectors of the tridiagonal matrix, in columns, in the coordinates of the matrix that was
// reduced.
template <class T>
aligned_vector<T> all_in_matrix_basis(const tridiagonal_reduction<T>& reduction,
                                      aligned_vector<double> z, std::size_t n)
{
    aligned_vector<T> vectors;
    if constexpr (std::is_same_v<T, double>) {
        vectors = std::move(z);
        if (n <= greatest_order_of_columns) {
            columns_to_matrix_basis(reduction, vectors, n);
            return vectors;
        }
        transpose_in_place(vectors, n);
    } else {
        transpose_in_place(z, n);
        vectors = reserved<T>(n * n);
        vectors.insert(vectors.end(), z.begin(), z.end());
        z = {}; // its memory may be the next block's
    }
    to_matrix_basis(reduction, vectors, n);
    transpose_in_place(vectors, n);
    return vectors;
}

// Of rows, one eigenvector each in no order, the chosen ones in columns. d ascends on return.
template <class T>
chosen_columns<T> chosen_of_rows(aligned_vector<double>& d, const aligned_vector<T>& rows,
                                 std::size_t n, const column_choice& choice)
{
    const std::vector<std::size_t> order = ascending_order(d);
    d = in_order(d, order);
    const index_range range = choice(d);
    chosen_columns<T> chosen{range, aligned_vector<T>(n * range.count())};
    for (std::size_t c = 0; c < range.count(); ++c)
        for (std::size_t i = 0; i < n; ++i)
            chosen.columns[i * range.count() + c] = rows[order[range.first + c] * n + i];
    return chosen;
}

// The torn matrix scaled as in divide_block.
chosen_vectors chosen_of_tridiagonal(aligned_vector<double>& d, const aligned_vector<double>& e,
                                     std::size_t n, const column_choice& choice)
{
    int exponent = 0;
    std::frexp(std::max(largest_modulus(d.data(), n), largest_modulus(e.data(), n - 1)), &exponent);
    const auto times_power = [](aligned_vector<double> x, int power) {
        for (double& element : x)
            element = std::ldexp(element, power);
        return x;
    };
    aligned_vector<double> scaled = times_power(d, -exponent);
    const aligned_vector<double> scaled_e = times_power(e, -exponent);
    aligned_vector<double> z = zeros<double>(n * n);
    const block_view<double> basis{z.data(), n, n};
    merge_workspace workspace;
    workspace.quotients = quotient_form::paired;
    auto [k, rho, values, zv] = tear(scaled.data(), scaled_e.data(), n, basis, workspace);
    chosen_vectors chosen = merge_rank_one_choosing(
        values, std::move(zv), rho, basis, k,
        [&](const aligned_vector<double>& found) { return choice(times_power(found, exponent)); });
    d = times_power(std::move(values), exponent);
    return chosen;
}

aligned_vector<double> vectors_of_tridiagonal(aligned_vector<double>& d,
                                              const aligned_vector<double>& e, std::size_t n,
                                              quotient_form quotients)
{
    aligned_vector<double> z = zeros<double>(n * n);
    merge_workspace workspace;
    workspace.quotients = quotients;
    divide_block(d.data(), e.data(), n, {z.data(), n, n}, workspace);
    return z;
}

} // namespace

void divide_block(double* d, const double* e, std::size_t n, block_view<double> z,
                  merge_workspace& workspace)
{
    int exponent = 0;
    std::frexp(std::max(largest_modulus(d, n), largest_modulus(e, n - 1)), &exponent);
    if (exponent != 0)
        divide_scaled(d, e, n, exponent, z, workspace);
    else if (n < divide_order)
        solve_leaf(d, e, n, z);
    else
        tear_and_merge(d, e, n, z, workspace);
}

template <class T>
aligned_vector<T> tridiagonal_divide_and_conquer(aligned_vector<double>& d,
                                                 const aligned_vector<double>& e,
                                                 const tridiagonal_reduction<T>& reduction,
                                                 std::size_t n, quotient_form quotients)
{
    return all_in_matrix_basis(reduction, vectors_of_tridiagonal(d, e, n, quotients), n);
}

template <class T>
aligned_vector<T> columns_in_matrix_basis(const tridiagonal_reduction<T>& reduction,
                                          aligned_vector<double> given, std::size_t n)
{
    aligned_vector<T> rows;
    if constexpr (std::is_same_v<T, double>)
        rows = std::move(given);
    else
        rows.assign(given.begin(), given.end());
    const std::size_t count = rows.size() / n;
    if (count <= most_rows_one_by_one)
        few_to_matrix_basis(reduction, rows, n);
    else
        to_matrix_basis(reduction, rows, n);
    aligned_vector<T> columns = uninitialized<T>(rows.size());
    transpose_into<T>({columns.data(), n, count}, {rows.data(), count, n});
    return columns;
}

chosen_rows divide_choosing(aligned_vector<double>& d, const aligned_vector<double>& e,
                            std::size_t n, const column_choice& choice)
{
    const auto [range, z] = chosen_of_tridiagonal(d, e, n, choice);
    const std::size_t count = range.count();
    aligned_vector<double> rows = uninitialized<double>(n * count);
    transpose_into<double>({rows.data(), count, n}, {z.data(), n, count});
    return {range, std::move(rows)};
}

template <class T>
chosen_columns<T> divide_and_conquer_choosing(aligned_vector<double>& d, aligned_vector<double>& e,
                                              const tridiagonal_reduction<T>& reduction,
                                              std::size_t n, const column_choice& choice)
{
    if (n < divide_order) {
        aligned_vector<T> basis = tridiagonal_basis(reduction, n);
        tridiagonal_ql(d, e, basis, n, 30 * n);
        return chosen_of_rows(d, basis, n, choice);
    }
    if constexpr (std::is_same_v<T, double>) {
        chosen_vectors chosen = chosen_of_tridiagonal(d, e, n, choice);
        columns_to_matrix_basis(reduction, chosen.columns, n);
        return chosen;
    } else {
        auto [range, rows] = divide_choosing(d, e, n, choice);
        return {range, columns_in_matrix_basis(reduction, std::move(rows), n)};
    }
}

template aligned_vector<double> tridiagonal_divide_and_conquer(aligned_vector<double>&,
                                                               const aligned_vector<double>&,
                                                               const tridiagonal_reduction<double>&,
                                                               std::size_t, quotient_form);
template aligned_vector<complex>
tridiagonal_divide_and_conquer(aligned_vector<double>&, const aligned_vector<double>&,
                               const tridiagonal_reduction<complex>&, std::size_t, quotient_form);
template aligned_vector<double> columns_in_matrix_basis(const tridiagonal_reduction<double>&,
                                                        aligned_vector<double>, std::size_t);
template aligned_vector<complex> columns_in_matrix_basis(const tridiagonal_reduction<complex>&,
                                                         aligned_vector<double>, std::size_t);
template chosen_columns<double> divide_and_conquer_choosing(aligned_vector<double>&,
                                                            aligned_vector<double>&,
                                                            const tridiagonal_reduction<double>&,
                                                            std::size_t, const column_choice&);
template chosen_columns<complex> divide_and_conquer_choosing(aligned_vector<double>&,
                                                             aligned_vector<double>&,
                                                             const tridiagonal_reduction<complex>&,
                                                             std::size_t, const column_choice&);

} // namespace numerical::detail
