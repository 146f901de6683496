#pragma once

// The substitutions of trsv.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/trsv.hpp"

namespace numerical::detail {
namespace {

// Rows of a whole group, as many as the widest vector has lanes.
constexpr std::size_t group_rows = 8;

// The dots of a whole group's rows with x, one accumulator each.
template <class Lanes>
struct group_dots
{
    static constexpr std::size_t width = Lanes::width;
    static constexpr std::size_t vectors = group_rows / width;
    typename Lanes::vector sums[vectors][width];

    group_dots()
    {
#pragma GCC unroll 8
        for (std::size_t r = 0; r < group_rows; ++r)
            sums[r / width][r % width] = Lanes::zero();
    }

    // The products with the columns [from, to) of the rows, of which `row` is the first.
    void add(const double* row, std::size_t stride, const double* x, std::size_t from,
             std::size_t to)
    {
        for (std::size_t j = from; j < to; j += width) {
            const auto with = Lanes::load(x + j);
#pragma GCC unroll 8
            for (std::size_t r = 0; r < group_rows; ++r)
                sums[r / width][r % width] = Lanes::more(sums[r / width][r % width],
                                                         Lanes::load(row + r * stride + j), with);
        }
    }

    void subtract_from(double* x) const
    {
#pragma GCC unroll 2
        for (std::size_t v = 0; v < vectors; ++v) {
            double* const part = x + v * width;
            Lanes::store(part, Lanes::minus(Lanes::load(part), Lanes::sums_of(sums[v])));
        }
    }
};

template <class Lanes>
double dot(const double* row, const double* x, std::size_t from, std::size_t to)
{
    auto sum = Lanes::zero();
    for (std::size_t j = from; j < to; j += Lanes::width)
        sum = Lanes::more(sum, Lanes::load(row + j), Lanes::load(x + j));
    return Lanes::fold(sum);
}

// Whole groups of rows, then one by one.
template <class Lanes>
void subtract_dots(double* y, const double* rows, std::size_t stride, std::size_t count,
                   const double* x, std::size_t n)
{
    std::size_t i = 0;
    for (; i + group_rows <= count; i += group_rows) {
        group_dots<Lanes> dots;
        dots.add(rows + i * stride, stride, x, 0, n);
        dots.subtract_from(y + i);
    }
    for (; i < count; ++i)
        y[i] -= dot<Lanes>(rows + i * stride, x, 0, n);
}

// x[from, to) loses the multiples of `rows` rows by their unknowns.
template <class Lanes, std::size_t rows>
void subtract_rows(double* x, const double* unknowns, const double* row, std::size_t stride,
                   std::size_t from, std::size_t to)
{
    typename Lanes::vector scale[rows];
#pragma GCC unroll 8
    for (std::size_t r = 0; r < rows; ++r)
        scale[r] = Lanes::all(unknowns[r]);
    for (std::size_t j = from; j < to; j += Lanes::width) {
        auto rest = Lanes::load(x + j);
#pragma GCC unroll 8
        for (std::size_t r = 0; r < rows; ++r)
            rest = Lanes::less(rest, scale[r], Lanes::load(row + r * stride + j));
        Lanes::store(x + j, rest);
    }
}

enum class group_order { ascending, descending };
enum class group_form { plain, transposed };

// The `count` unknowns of the triangle at `m`, in that order; each is subtracted from those after
// it.
template <group_order order, group_form form, bool ones>
[[gnu::always_inline]] inline void substitute_in_group(double* x, const double* m,
                                                       std::size_t stride, std::size_t count)
{
#pragma GCC unroll 8
    for (std::size_t k = 0; k < count; ++k) {
        const std::size_t s = order == group_order::ascending ? k : count - 1 - k;
        if constexpr (!ones)
            x[s] /= m[s * stride + s];
#pragma GCC unroll 8
        for (std::size_t l = k + 1; l < count; ++l) {
            const std::size_t r = order == group_order::ascending ? l : count - 1 - l;
            const double coefficient =
                form == group_form::plain ? m[r * stride + s] : m[s * stride + r];
            x[r] = __builtin_fma(-x[s], coefficient, x[r]);
        }
    }
}

// The triangle is cut into groups of eight rows and one of what is left over, at the bottom of a
// lower and at the top of an upper triangle: beside a group each row has whole vectors.
template <class Lanes, bool lower, bool ones>
class vector_substitution
{
public:
    vector_substitution(double* vector, const double* matrix, std::size_t row_stride,
                        std::size_t rows)
        : x(vector), m(matrix), stride(row_stride), n(rows)
    {
    }

    void solve() const
    {
        for (std::size_t g = 0; g < n / group_rows; ++g)
            solve_whole_group(lower ? g * group_rows : n - (g + 1) * group_rows);
        solve_rest();
    }

    void solve_transposed() const
    {
        solve_transposed_rest();
        for (std::size_t g = n / group_rows; g-- > 0;)
            solve_transposed_group(lower ? g * group_rows : n - (g + 1) * group_rows);
    }

private:
    double* x;
    const double* m;
    std::size_t stride;
    std::size_t n;

    static constexpr group_order order = lower ? group_order::ascending : group_order::descending;
    static constexpr group_order transposed_order =
        lower ? group_order::descending : group_order::ascending;

    const double* row(std::size_t i) const { return m + i * stride; }

    // The first row of the group that isn't whole.
    std::size_t rest_first() const { return lower ? n - n % group_rows : 0; }

    // The unknowns that came last, next to the group, are used last.
    void solve_whole_group(std::size_t i) const
    {
        group_dots<Lanes> dots;
        if constexpr (lower) {
            dots.add(row(i), stride, x, 0, i);
        } else {
            const std::size_t last = i + group_rows;
            const std::size_t older = last == n ? n : last + group_rows;
            dots.add(row(i), stride, x, older, n);
            dots.add(row(i), stride, x, last, older);
        }
        dots.subtract_from(x + i);
        substitute_whole_group<order, group_form::plain>(i);
    }

    void solve_rest() const
    {
        const std::size_t first = rest_first();
        const std::size_t count = n % group_rows;
        for (std::size_t i = first; i < first + count; ++i)
            x[i] -= lower ? dot<Lanes>(row(i), x, 0, first) : dot<Lanes>(row(i), x, count, n);
        substitute_in_group<order, group_form::plain, ones>(x + first, row(first) + first, stride,
                                                            count);
    }

    void solve_transposed_group(std::size_t i) const
    {
        substitute_whole_group<transposed_order, group_form::transposed>(i);
        if constexpr (lower)
            subtract_rows<Lanes, group_rows>(x, x + i, row(i), stride, 0, i);
        else
            subtract_rows<Lanes, group_rows>(x, x + i, row(i), stride, i + group_rows, n);
    }

    void solve_transposed_rest() const
    {
        const std::size_t first = rest_first();
        const std::size_t count = n % group_rows;
        substitute_in_group<transposed_order, group_form::transposed, ones>(
            x + first, row(first) + first, stride, count);
        for (std::size_t i = first; i < first + count; ++i)
            if constexpr (lower)
                subtract_rows<Lanes, 1>(x, x + i, row(i), stride, 0, first);
            else
                subtract_rows<Lanes, 1>(x, x + i, row(i), stride, count, n);
    }

    // On a copy, which stays in registers.
    template <group_order in, group_form form>
    void substitute_whole_group(std::size_t i) const
    {
        double unknowns[group_rows];
#pragma GCC unroll 8
        for (std::size_t r = 0; r < group_rows; ++r)
            unknowns[r] = x[i + r];
        substitute_in_group<in, form, ones>(unknowns, row(i) + i, stride, group_rows);
#pragma GCC unroll 8
        for (std::size_t r = 0; r < group_rows; ++r)
            x[i + r] = unknowns[r];
    }
};

template <class Lanes, bool transposed>
void substitute(vector_triangle of, double* x, const double* m, std::size_t stride, std::size_t n)
{
    const auto run = [](const auto& substitution) {
        transposed ? substitution.solve_transposed() : substitution.solve();
    };
    switch (of) {
    case vector_triangle::lower:
        return run(vector_substitution<Lanes, true, false>(x, m, stride, n));
    case vector_triangle::unit_lower:
        return run(vector_substitution<Lanes, true, true>(x, m, stride, n));
    case vector_triangle::upper:
        return run(vector_substitution<Lanes, false, false>(x, m, stride, n));
    case vector_triangle::unit_upper:
        return run(vector_substitution<Lanes, false, true>(x, m, stride, n));
    }
}

} // namespace
} // namespace numerical::detail
