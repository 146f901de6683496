#include "numerical/svd/bidiagonal_divide.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/halves.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/arrow_merge.hpp"
#include "numerical/svd/bidiagonal_leaf.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>
#include <utility>

namespace numerical::detail {
namespace {

// The places of the two halves' vectors in those of the whole. The upper half has the columns from
// 1 on; its null vector, the last one, falls into the lower half's first column, and has to be
// moved to column 0. Whole vectors of the halves have no row in common; where only the two ends are
// wanted the null vector moves before the lower half is solved.
bidiagonal_vectors upper_half(const bidiagonal_vectors& whole, std::size_t k)
{
    if (!whole.complete())
        return {whole.u, whole.v.sub(0, 2, 1, k + 2), wanted_rows::ends};
    return {whole.u.sub(0, k, 1, k + 1), whole.v.sub(0, k + 1, 1, k + 2), wanted_rows::all};
}

bidiagonal_vectors lower_half(const bidiagonal_vectors& whole, std::size_t k)
{
    const std::size_t m = whole.v.cols;
    if (!whole.complete())
        return {whole.u, whole.v.sub(0, 2, k + 1, m), wanted_rows::ends};
    const std::size_t n = whole.u.rows;
    return {whole.u.sub(k + 1, n, k + 1, n), whole.v.sub(k + 1, m, k + 1, m), wanted_rows::all};
}

void move_null_vector(const bidiagonal_vectors& whole, std::size_t k)
{
    const std::size_t rows = whole.complete() ? k + 1 : 2;
    for (std::size_t i = 0; i < rows; ++i)
        whole.v(i, 0) = std::exchange(whole.v(i, k + 1), 0.0);
}

class bidiagonal_division
{
public:
    // Singular values ascending. Vectors descend for square problems only.
    void solve(const bidiagonal_problem& problem, double* values, const bidiagonal_vectors& vectors,
               column_order order = column_order::ascending);

    // The values of a problem that is no leaf, and its vectors with the places `wanted`.
    void solve_choosing(const bidiagonal_problem& problem, double* values,
                        const bidiagonal_vectors& vectors, index_range wanted,
                        const bidiagonal_vectors& chosen);

private:
    void tear(const bidiagonal_problem& problem, double* values, const bidiagonal_vectors& vectors,
              column_order order);
    torn_problem solve_halves(const bidiagonal_problem& problem, aligned_vector<double>& merged,
                              const bidiagonal_vectors& vectors);

    merge_workspace workspace;
};

void bidiagonal_division::solve(const bidiagonal_problem& problem, double* values,
                                const bidiagonal_vectors& vectors, column_order order)
{
    if (problem.n < bidiagonal_leaf_order) {
        bidiagonal_leaf whole(problem);
        whole.iterate();
        whole.place(values, vectors);
        if (order == column_order::descending) {
            reverse_columns(vectors.u);
            reverse_columns(vectors.v);
        }
        return;
    }
    const scaled_problem scaled(problem);
    tear(scaled.problem(), values, vectors, order);
    scaled.scale_back(values);
}

// The halves of a torn problem that are both leaves, iterated side by side.
struct leaf_pair
{
    bidiagonal_leaf upper;
    bidiagonal_leaf lower;

    leaf_pair(const bidiagonal_problem& of_upper, const bidiagonal_problem& of_lower)
        : upper(of_upper), lower(of_lower)
    {
        bidiagonal_leaf::iterate(upper, lower);
    }
};

//     [ upper   alpha·...              ]
//     [         alpha      beta        ]  the torn row k, coupled to the upper half's last column
//     [                    lower       ]  and the lower half's first
torn_problem bidiagonal_division::solve_halves(const bidiagonal_problem& problem,
                                               aligned_vector<double>& merged,
                                               const bidiagonal_vectors& vectors)
{
    const auto [d, e, n, extra] = problem;
    const std::size_t k = n / 2;
    const std::size_t below = n - 1 - k;
    const bidiagonal_problem upper_problem{.d = d, .e = e, .n = k, .extra = 1};
    const bidiagonal_problem lower_problem{
        .d = d + k + 1, .e = e + k + 1, .n = below, .extra = extra};
    std::optional<leaf_pair> leaves;
    if (k < bidiagonal_leaf_order)
        leaves.emplace(upper_problem, lower_problem);
    torn_problem torn{.k = k, .alpha = d[k], .beta = e[k], .z = aligned_vector<double>(n)};

    const bidiagonal_vectors upper = upper_half(vectors, k);
    const bidiagonal_vectors lower = lower_half(vectors, k);
    const auto solve_upper = [&](bidiagonal_division& own) {
        if (leaves)
            leaves->upper.place(merged.data() + 1, upper);
        else
            own.solve(upper_problem, merged.data() + 1, upper);
    };
    const auto solve_lower = [&](bidiagonal_division& own) {
        if (leaves)
            leaves->lower.place(merged.data() + k + 1, lower);
        else
            own.solve(lower_problem, merged.data() + k + 1, lower);
    };
    if (vectors.complete())
        solve_both_halves(n, *this, solve_upper, solve_lower);
    else
        solve_upper(*this);
    move_null_vector(vectors, k);
    for (std::size_t i = 0; i <= k; ++i)
        torn.z[i] = torn.alpha * vectors.v(upper.v.rows - 1, i);
    if (!vectors.complete()) {
        std::fill_n(vectors.v.row(1), k + 1, 0.0);
        solve_lower(*this);
    }
    for (std::size_t i = 0; i < below; ++i)
        torn.z[k + 1 + i] = torn.beta * lower.v(0, i);
    const double beyond = extra == 1 ? torn.beta * lower.v(0, below) : 0.0;
    if (!vectors.complete())
        std::fill_n(lower.v.row(0), lower.v.cols, 0.0);
    else
        vectors.u(k, 0) = 1;

    if (extra == 1) {
        const auto [length, c, s] = rotation_by_hypot(torn.z[0], beyond);
        rotate_columns(vectors.v, {{.first = 0, .second = n, .c = c, .s = s}});
        torn.z[0] = length;
    }
    return torn;
}

void bidiagonal_division::tear(const bidiagonal_problem& problem, double* values,
                               const bidiagonal_vectors& vectors, column_order order)
{
    aligned_vector<double> merged(problem.n);
    torn_problem torn = solve_halves(problem, merged, vectors);
    merge_arrow(merged, std::move(torn), vectors, order, workspace);
    std::copy(merged.begin(), merged.end(), values);
}

void bidiagonal_division::solve_choosing(const bidiagonal_problem& problem, double* values,
                                         const bidiagonal_vectors& vectors, index_range wanted,
                                         const bidiagonal_vectors& chosen)
{
    const scaled_problem scaled(problem);
    aligned_vector<double> merged(problem.n);
    torn_problem torn = solve_halves(scaled.problem(), merged, vectors);
    merge_arrow_choosing(merged, std::move(torn), vectors, wanted, chosen.u, chosen.v);
    std::copy(merged.begin(), merged.end(), values);
    scaled.scale_back(values);
}

} // namespace

template <class T>
void multiply_real_left(const aligned_vector<double>& a, aligned_vector<T>& b, std::size_t n)
{
    // The parts of a complex row are twice as many real columns.
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    aligned_vector<T> product = zeros<T>(n * n);
    gemm(n, parts * n, n, a.data(), n, as_doubles(b.data()), parts * n, as_doubles(product.data()),
         parts * n);
    b = std::move(product);
}

bidiagonal_svd divide_bidiagonal(const aligned_vector<double>& d, const aligned_vector<double>& e,
                                 std::size_t n)
{
    bidiagonal_svd out{aligned_vector<double>(n), zeros<double>(n * n), zeros<double>(n * n)};
    if (n == 0)
        return out;
    bidiagonal_division().solve(
        {.d = d.data(), .e = e.data(), .n = n, .extra = 0}, out.values.data(),
        {{out.u.data(), n, n}, {out.v.data(), n, n}, wanted_rows::all}, column_order::descending);
    std::reverse(out.values.begin(), out.values.end());
    return out;
}

bidiagonal_svd divide_bidiagonal_leading(const aligned_vector<double>& d,
                                         const aligned_vector<double>& e, std::size_t n,
                                         std::size_t count)
{
    aligned_vector<double> u = zeros<double>(n * n);
    aligned_vector<double> v = zeros<double>(n * n);
    bidiagonal_svd out{aligned_vector<double>(n), zeros<double>(n * count),
                       zeros<double>(n * count)};
    bidiagonal_division().solve_choosing(
        {.d = d.data(), .e = e.data(), .n = n, .extra = 0}, out.values.data(),
        {{u.data(), n, n}, {v.data(), n, n}, wanted_rows::all}, {n - count, n},
        {{out.u.data(), n, count}, {out.v.data(), n, count}, wanted_rows::all});
    std::reverse(out.values.begin(), out.values.end());
    reverse_columns({out.u.data(), n, count});
    reverse_columns({out.v.data(), n, count});
    return out;
}

template <class T>
void bidiagonal_divide_and_conquer(aligned_vector<double>& d, const aligned_vector<double>& e,
                                   aligned_vector<T>& left, aligned_vector<T>& right, std::size_t n)
{
    if (n < bidiagonal_leaf_order) { // a single leaf, which may work on the bases directly
        scaled_problem scaled({.d = d.data(), .e = e.data(), .n = n, .extra = 0});
        bidiagonal_qr(scaled.entries.d, scaled.entries.e, left, right, n, leaf_steps * n);
        d = scaled.entries.d;
        scaled.scale_back(d.data());
        return;
    }
    bidiagonal_svd svd = divide_bidiagonal(d, e, n);
    d = std::move(svd.values);
    transpose_in_place(svd.u, n);
    transpose_in_place(svd.v, n);
    multiply_real_left(svd.u, left, n);
    multiply_real_left(svd.v, right, n);
}

aligned_vector<double> bidiagonal_values(const aligned_vector<double>& d,
                                         const aligned_vector<double>& e, std::size_t n)
{
    aligned_vector<double> values(n);
    if (n == 0)
        return values;
    aligned_vector<double> ends(2 * n);
    bidiagonal_division().solve({.d = d.data(), .e = e.data(), .n = n, .extra = 0}, values.data(),
                                {{nullptr, 0, 0}, {ends.data(), 2, n}, wanted_rows::none});
    std::reverse(values.begin(), values.end());
    return values;
}

template void bidiagonal_divide_and_conquer(aligned_vector<double>&, const aligned_vector<double>&,
                                            aligned_vector<double>&, aligned_vector<double>&,
                                            std::size_t);
template void bidiagonal_divide_and_conquer(aligned_vector<double>&, const aligned_vector<double>&,
                                            aligned_vector<std::complex<double>>&,
                                            aligned_vector<std::complex<double>>&, std::size_t);
template void multiply_real_left(const aligned_vector<double>&, aligned_vector<double>&,
                                 std::size_t);
template void multiply_real_left(const aligned_vector<double>&,
                                 aligned_vector<std::complex<double>>&, std::size_t);

} // namespace numerical::detail
