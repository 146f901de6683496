#include "numerical/svd/bidiagonal_leaf.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

aligned_vector<double> identity(std::size_t n)
{
    aligned_vector<double> a(n * n);
    for (std::size_t i = 0; i < n; ++i)
        a[i * n + i] = 1;
    return a;
}

// Rotates the coupling to the extra column away; d and e are those of the square problem then.
// Applied to the identity, the rotations give the right basis of this step.
std::vector<column_rotation> absorb_extra_column(aligned_vector<double>& d,
                                                 aligned_vector<double>& e, double coupling)
{
    const std::size_t n = d.size();
    std::vector<column_rotation> rotations;
    for (std::size_t i = n; i-- > 0;) {
        const auto [length, c, s] = rotation_by_hypot(d[i], coupling);
        d[i] = length;
        rotations.push_back({.first = i, .second = n, .c = c, .s = s});
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

} // namespace

scaled_problem::scaled_problem(const bidiagonal_problem& of)
    : entries{{of.d, of.d + of.n}, aligned_vector<double>(of.n)}, extra(of.extra)
{
    auto& [d, e] = entries;
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

void scaled_problem::scale_back(double* values) const
{
    for (std::size_t i = 0; i < entries.d.size() && exponent != 0; ++i)
        values[i] = std::ldexp(values[i], exponent);
}

bidiagonal_leaf::bidiagonal_leaf(const bidiagonal_problem& problem) : scaled(problem)
{
    if (problem.extra == 1) {
        auto& [d, e] = scaled.entries;
        absorbing = absorb_extra_column(d, e, std::exchange(e.back(), 0.0));
    }
}

void bidiagonal_leaf::iterate()
{
    auto& [d, e] = scaled.entries;
    operations = iterate_bidiagonal(d, e, d.size(), leaf_steps * d.size());
}

void bidiagonal_leaf::iterate(bidiagonal_leaf& a, bidiagonal_leaf& b)
{
    auto [of_a, of_b] = iterate_bidiagonal_pair(a.scaled.entries, b.scaled.entries, leaf_steps);
    a.operations = std::move(of_a);
    b.operations = std::move(of_b);
}

void bidiagonal_leaf::place(double* values, const bidiagonal_vectors& vectors) const
{
    const aligned_vector<double>& d = scaled.entries.d;
    std::reverse_copy(d.begin(), d.end(), values);
    scaled.scale_back(values);
    if (vectors.complete()) {
        const std::size_t n = d.size();
        aligned_vector<double> p = identity(n);
        apply_row_operations(p, n, operations.left_operations());
        place_reversed(vectors.u, {p.data(), n, n});
    }
    if (vectors.wanted != wanted_rows::none)
        place_right(vectors.v, vectors.complete());
}

void bidiagonal_leaf::place_right(const block_view<double>& v, bool complete) const
{
    const std::size_t n = scaled.entries.d.size();
    for (std::size_t i = 0; i < v.rows; ++i) {
        std::fill_n(v.row(i), v.cols, 0.0);
        v(i, complete || i == 0 ? i : v.cols - 1) = 1;
    }
    rotate_columns(v, absorbing);
    aligned_vector<double> columns(n * v.rows);
    const block_view<double> by_rows{columns.data(), n, v.rows};
    transpose_into(by_rows, v.sub(0, v.rows, 0, n));
    apply_row_operations(by_rows, operations.right_operations());
    place_reversed(v, by_rows);
}

} // namespace numerical::detail
