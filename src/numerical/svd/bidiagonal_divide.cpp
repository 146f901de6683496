#include "numerical/svd/bidiagonal_divide.hpp"

#include "numerical/eigen/merge_columns.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/bidiagonal_qr.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// n diagonal entries, and couplings up to the column after the last one where `extra` is 1.
struct bidiagonal_problem
{
    const double* d;
    const double* e;
    std::size_t n;
    std::size_t extra;

    std::size_t columns() const { return n + extra; }
};

std::vector<double> identity(std::size_t n)
{
    std::vector<double> a(n * n);
    for (std::size_t i = 0; i < n; ++i)
        a[i * n + i] = 1;
    return a;
}

plane_rotation rotation_onto_first(double x, double y)
{
    return rotation_of(x, y, std::hypot(x, y));
}

// Rotates the coupling to the extra column away; d and e are those of the square problem then. The
// rotations make the right vectors by which this was done of the columns of the identity.
std::vector<column_rotation> absorb_extra_column(std::vector<double>& d, std::vector<double>& e,
                                                 double coupling)
{
    const std::size_t n = d.size();
    std::vector<column_rotation> rotations;
    for (std::size_t i = n; i-- > 0;) {
        const auto [length, c, s] = rotation_onto_first(d[i], coupling);
        d[i] = length;
        rotations.push_back({i, n, c, s});
        if (i == 0)
            break;
        coupling = -s * e[i - 1];
        e[i - 1] *= c;
    }
    return rotations;
}

// The columns of `to` become the rows of `from`, a square matrix's first ones, in reverse order:
// ascending values.
void place_reversed(block_view<double> to, block_view<const double> from)
{
    for (std::size_t j = 0; j < from.rows; ++j)
        for (std::size_t i = 0; i < to.rows; ++i)
            to(i, from.rows - 1 - j) = from(j, i);
}

// Only the rows of v that are asked for are rotated: all, or the first and the last one.
void solve_leaf(const bidiagonal_problem& problem, double* values,
                const bidiagonal_vectors& vectors)
{
    const std::size_t n = problem.n;
    const std::size_t m = problem.columns();
    std::vector<double> d(problem.d, problem.d + n);
    std::vector<double> e(problem.e, problem.e + n - 1);
    e.push_back(0);
    std::vector<column_rotation> absorbing;
    if (problem.extra == 1)
        absorbing = absorb_extra_column(d, e, problem.e[n - 1]);
    const bidiagonal_operations operations = iterate_bidiagonal(d, e, n, 30 * n);
    std::reverse_copy(d.begin(), d.end(), values);
    if (vectors.complete()) {
        std::vector<double> p = identity(n);
        apply_row_operations(p, n, operations.left);
        place_reversed(vectors.u, {p.data(), n, n, n});
    }
    if (vectors.wanted == wanted_rows::none)
        return;

    const block_view<double>& v = vectors.v;
    for (std::size_t i = 0; i < v.rows; ++i) {
        std::fill_n(v.row(i), m, 0.0);
        v(i, vectors.complete() || i == 0 ? i : m - 1) = 1;
    }
    rotate_columns(v, absorbing);
    std::vector<double> columns(n * v.rows);
    const block_view<double> by_rows{columns.data(), n, v.rows, v.rows};
    transpose_into(by_rows, v.sub(0, v.rows, 0, n));
    apply_row_operations(by_rows, operations.right);
    place_reversed(v, by_rows);
}

// The places of the two halves' vectors in those of the whole. The upper half has the columns from
// 1 on; its null vector, the last one, falls into the lower half's first column, and has to be
// moved to column 0 before the lower half is solved.
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
    // Singular values ascending.
    void solve(const bidiagonal_problem& problem, double* values,
               const bidiagonal_vectors& vectors);

private:
    void solve_scaled(const bidiagonal_problem& problem, double* values,
                      const bidiagonal_vectors& vectors);
    void tear(const bidiagonal_problem& problem, double* values, const bidiagonal_vectors& vectors);

    arrow_workspace workspace;
};

// A problem whose largest entry a power of two has brought to [0.5, 1), so that the tolerances of
// the iteration and of the merges are relative to it.
class scaled_problem
{
public:
    explicit scaled_problem(const bidiagonal_problem& of)
        : d(of.d, of.d + of.n), e(of.n), extra(of.extra)
    {
        if (of.n > 0)
            std::copy_n(of.e, of.columns() - 1, e.begin());
        double largest = 0;
        for (std::size_t i = 0; i < of.n; ++i)
            largest = std::max({largest, std::abs(d[i]), std::abs(e[i])});
        std::frexp(largest, &exponent);
        for (std::size_t i = 0; i < of.n && exponent != 0; ++i) {
            d[i] = std::ldexp(d[i], -exponent);
            e[i] = std::ldexp(e[i], -exponent);
        }
    }

    bidiagonal_problem problem() const { return {d.data(), e.data(), d.size(), extra}; }

    void scale_back(double* values) const
    {
        for (std::size_t i = 0; i < d.size() && exponent != 0; ++i)
            values[i] = std::ldexp(values[i], exponent);
    }

    std::vector<double> d;
    std::vector<double> e; // as many, with zeros beyond the last coupling

private:
    std::size_t extra;
    int exponent = 0;
};

void bidiagonal_division::solve(const bidiagonal_problem& problem, double* values,
                                const bidiagonal_vectors& vectors)
{
    const scaled_problem scaled(problem);
    solve_scaled(scaled.problem(), values, vectors);
    scaled.scale_back(values);
}

void bidiagonal_division::solve_scaled(const bidiagonal_problem& problem, double* values,
                                       const bidiagonal_vectors& vectors)
{
    if (problem.n < bidiagonal_leaf_order)
        solve_leaf(problem, values, vectors);
    else
        tear(problem, values, vectors);
}

//     [ upper   alpha·...              ]
//     [         alpha      beta        ]  the torn row k, coupled to the upper half's last column
//     [                    lower       ]  and the lower half's first
void bidiagonal_division::tear(const bidiagonal_problem& problem, double* values,
                               const bidiagonal_vectors& vectors)
{
    const auto [d, e, n, extra] = problem;
    const std::size_t k = n / 2;
    const std::size_t below = n - 1 - k;
    torn_problem torn{k, d[k], e[k], std::vector<double>(n)};
    std::vector<double> merged(n);

    const bidiagonal_vectors upper = upper_half(vectors, k);
    solve({d, e, k, 1}, merged.data() + 1, upper);
    move_null_vector(vectors, k);
    for (std::size_t i = 0; i <= k; ++i)
        torn.z[i] = torn.alpha * vectors.v(upper.v.rows - 1, i);

    const bidiagonal_vectors lower = lower_half(vectors, k);
    if (!vectors.complete())
        std::fill_n(vectors.v.row(1), k + 1, 0.0);
    solve({d + k + 1, e + k + 1, below, extra}, merged.data() + k + 1, lower);
    for (std::size_t i = 0; i < below; ++i)
        torn.z[k + 1 + i] = torn.beta * lower.v(0, i);
    const double beyond = extra == 1 ? torn.beta * lower.v(0, below) : 0.0;
    if (!vectors.complete())
        std::fill_n(lower.v.row(0), lower.v.cols, 0.0);
    else
        vectors.u(k, 0) = 1;

    if (extra == 1) {
        const auto [length, c, s] = rotation_onto_first(torn.z[0], beyond);
        rotate_columns(vectors.v, {{0, n, c, s}});
        torn.z[0] = length;
    }
    merge_arrow(merged, std::move(torn), vectors, workspace);
    std::copy(merged.begin(), merged.end(), values);
}

// The columns of each row in reverse order.
void reverse_columns(std::vector<double>& a, std::size_t n)
{
    for (auto row = a.begin(); row != a.end(); row += static_cast<std::ptrdiff_t>(n))
        std::reverse(row, row + static_cast<std::ptrdiff_t>(n));
}

} // namespace

template <class T>
void multiply_real_left(const std::vector<double>& a, std::vector<T>& b, std::size_t n)
{
    // The parts of a complex row are twice as many real columns.
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    std::vector<T> product = zeros<T>(n * n);
    gemm(n, parts * n, n, a.data(), n, reinterpret_cast<const double*>(b.data()), parts * n,
         reinterpret_cast<double*>(product.data()), parts * n);
    b = std::move(product);
}

bidiagonal_svd divide_bidiagonal(const std::vector<double>& d, const std::vector<double>& e,
                                 std::size_t n)
{
    bidiagonal_svd out{std::vector<double>(n), zeros<double>(n * n), zeros<double>(n * n)};
    if (n == 0)
        return out;
    bidiagonal_division().solve(
        {d.data(), e.data(), n, 0}, out.values.data(),
        {{out.u.data(), n, n, n}, {out.v.data(), n, n, n}, wanted_rows::all});
    std::reverse(out.values.begin(), out.values.end());
    reverse_columns(out.u, n);
    reverse_columns(out.v, n);
    return out;
}

template <class T>
void bidiagonal_divide_and_conquer(std::vector<double>& d, const std::vector<double>& e,
                                   std::vector<T>& left, std::vector<T>& right, std::size_t n)
{
    if (n < bidiagonal_leaf_order) { // a leaf by itself: it may work on the bases at once
        scaled_problem scaled({d.data(), e.data(), n, 0});
        bidiagonal_qr(scaled.d, scaled.e, left, right, n, 30 * n);
        d = scaled.d;
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

std::vector<double> bidiagonal_values(const std::vector<double>& d, const std::vector<double>& e,
                                      std::size_t n)
{
    std::vector<double> values(n);
    if (n == 0)
        return values;
    std::vector<double> ends(2 * n);
    bidiagonal_division().solve({d.data(), e.data(), n, 0}, values.data(),
                                {{nullptr, 0, 0, 0}, {ends.data(), 2, n, n}, wanted_rows::none});
    std::reverse(values.begin(), values.end());
    return values;
}

template void bidiagonal_divide_and_conquer(std::vector<double>&, const std::vector<double>&,
                                            std::vector<double>&, std::vector<double>&,
                                            std::size_t);
template void bidiagonal_divide_and_conquer(std::vector<double>&, const std::vector<double>&,
                                            std::vector<std::complex<double>>&,
                                            std::vector<std::complex<double>>&, std::size_t);
template void multiply_real_left(const std::vector<double>&, std::vector<double>&, std::size_t);
template void multiply_real_left(const std::vector<double>&, std::vector<std::complex<double>>&,
                                 std::size_t);

} // namespace numerical::detail
