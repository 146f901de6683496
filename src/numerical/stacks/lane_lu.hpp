#pragma once

// Gaussian elimination by partial pivoting with right-hand sides beside the matrix, from which each
// column of L is eliminated at once: sums have the order of a later substitution. For the kernels'
// own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

// Row numbers are doubles, to be compared and chosen as the elements are.
constexpr double row_numbers[greatest_real_lane_order] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
    16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31};

inline vector row_number(std::size_t i)
{
    return lanes::all(row_numbers[i]);
}

// rows × cols elements by rows, of which some orders leave a gap behind each. Elimination goes down
// columns: at order 32 the elements of one would lie a multiple of 2 KiB apart, in a few sets of
// L1, and it would take twice as long.
template <class number>
struct spaced_tile
{
    double* first;
    std::size_t rows;
    std::size_t cols;
    std::size_t step = cols != 0 && cols % 32 == 0 ? cols + 1 : cols;

    double* at(std::size_t i, std::size_t j) const
    {
        return first + (i * step + j) * number::stride;
    }

    double* end() const { return at(rows, 0); }

    number operator()(std::size_t i, std::size_t j) const { return number::load(at(i, j)); }

    void set(std::size_t i, std::size_t j, number x) const { x.store(at(i, j)); }

    // Calls f(first row, rows): once for all, or with a gap for each.
    template <class F>
    void in_runs(const F& f) const
    {
        if (step == cols)
            return f(0, rows);
        for (std::size_t i = 0; i < rows; ++i)
            f(i, 1);
    }

    std::size_t doubles_of(std::size_t some_rows) const
    {
        return some_rows * cols * number::doubles;
    }
};

// The matrices' doubles from one place on.
template <class pointer>
struct moved_on
{
    pointer at[lanes::width];

    moved_on(const pointer* from, std::size_t doubles)
    {
        for (std::size_t l = 0; l < lanes::width; ++l)
            at[l] = from[l] + doubles;
    }
};

template <class number>
void load_tile(const double* const* from, const spaced_tile<number>& to)
{
    to.in_runs([&](std::size_t row, std::size_t rows) {
        const moved_on<const double*> rest(from, to.doubles_of(row));
        interleave(rest.at, to.doubles_of(rows), to.at(row, 0));
    });
}

template <class number>
void store_tile(const spaced_tile<number>& from, double* const* to)
{
    from.in_runs([&](std::size_t row, std::size_t rows) {
        const moved_on<double*> rest(to, from.doubles_of(row));
        separate(from.at(row, 0), from.doubles_of(rows), rest.at);
    });
}

struct pivot_choice
{
    vector row;
    mask zero; // lanes without a pivot but zero
};

// The first of greatest magnitude in column k, from the diagonal down.
inline pivot_choice find_pivot(spaced_tile<real_number> a, std::size_t rows, std::size_t k)
{
    vector row = row_number(k);
    vector best = lanes::magnitude(a(k, k).re);
    for (std::size_t i = k + 1; i < rows; ++i) {
        const vector size = lanes::magnitude(a(i, k).re);
        const mask better = lanes::greater(size, best);
        row = lanes::chosen(better, row_number(i), row);
        best = lanes::chosen(better, size, best);
    }
    return {row, lanes::equal(best, lanes::all(0))};
}

// Which of the numbers named by the bits of `open` have |x| > |y| by the true modulus. It takes
// numbers from memory, and isn't inlined: g++ 12 would take the lanes out of registers by
// instructions that AVX-512F alone doesn't have.
[[gnu::noinline]] unsigned greater_moduli(unsigned open, const double* x, const double* y)
{
    unsigned greater = 0;
    for (unsigned l = 0; l < lanes::width; ++l)
        if ((open >> l & 1U) != 0 &&
            __builtin_hypot(x[l], x[l + lanes::width]) > __builtin_hypot(y[l], y[l + lanes::width]))
            greater |= 1U << l;
    return greater;
}

inline mask greater_moduli(mask open, complex_number x, complex_number y)
{
    double xs[2 * lanes::width];
    double ys[2 * lanes::width];
    x.store(xs);
    y.store(ys);
    return lanes::from_bits(greater_moduli(lanes::bits(open), xs, ys));
}

// Squares in the safe range that differ by more than eight units of rounding decide which modulus
// is greater, and only where they don't are moduli taken.
inline pivot_choice find_pivot(spaced_tile<complex_number> a, std::size_t rows, std::size_t k)
{
    const auto square_of = [](complex_number z) {
        return lanes::plus(lanes::times(z.re, z.re), lanes::times(z.im, z.im));
    };
    const vector least_safe = lanes::all(0x1p-900);
    const vector greatest_safe = lanes::all(0x1p1000);
    const vector margin = lanes::all(1 + 0x1p-49);
    vector row = row_number(k);
    complex_number best = a(k, k);
    vector best_square = square_of(best);
    for (std::size_t i = k + 1; i < rows; ++i) {
        const complex_number candidate = a(i, k);
        const vector square = square_of(candidate);
        mask better = lanes::greater(square, lanes::times(best_square, margin));
        const mask worse = lanes::greater(best_square, lanes::times(square, margin));
        const vector larger = lanes::chosen(better, square, best_square);
        const mask safe = lanes::both(lanes::either(better, worse),
                                      lanes::both(lanes::at_least(larger, least_safe),
                                                  lanes::at_least(greatest_safe, larger)));
        better = lanes::both(better, safe);
        if (lanes::bits(safe) != (1U << lanes::width) - 1U)
            better = lanes::either(better, greater_moduli(lanes::inverted(safe), candidate, best));
        row = lanes::chosen(better, row_number(i), row);
        best = complex_number::chosen(better, candidate, best);
        best_square = lanes::chosen(better, square, best_square);
    }
    const vector zero = lanes::all(0);
    return {row, lanes::both(lanes::equal(best.re, zero), lanes::equal(best.im, zero))};
}

// Which row each lane exchanges with row k.
struct row_exchange
{
    std::size_t k;
    std::size_t rows;
    vector pivot_row;

    mask from(std::size_t i) const { return lanes::equal(pivot_row, row_number(i)); }

    // The new element of row k in column j.
    template <class number>
    number top(spaced_tile<number> x, std::size_t j) const
    {
        number element = x(k, j);
        for (std::size_t i = k + 1; i < rows; ++i)
            element = number::chosen(from(i), x(i, j), element);
        return element;
    }

    // Column j after the exchange, the elements below row k as replace(i, element) makes them.
    template <class number, class F>
    void apply(spaced_tile<number> x, std::size_t j, number new_top, const F& replace) const
    {
        const number old_top = x(k, j);
        x.set(k, j, new_top);
        for (std::size_t i = k + 1; i < rows; ++i)
            x.set(i, j, replace(i, number::chosen(from(i), old_top, x(i, j))));
    }
};

// A becomes U, with the columns of L below the diagonal as they stood when each was applied, B the
// forward-substituted right-hand sides. Returns the signs of permutations. A column of the matrix
// loses its own element times that of L, a right-hand side the element of L times its own: fused
// complex steps differ in the order of the factors.
template <class rounding, class number>
vector eliminate(spaced_tile<number> a, std::size_t n, spaced_tile<number> b, suspicion& suspects)
{
    vector sign = lanes::all(1);
    for (std::size_t k = 0; k < n; ++k) {
        const pivot_choice pivot = find_pivot(a, n, k);
        suspects.add(pivot.zero);
        const mask stays = lanes::equal(pivot.row, row_number(k));
        sign = lanes::chosen(stays, sign, lanes::negated(sign));
        const row_exchange exchange{k, n, pivot.row};
        const number diagonal = exchange.top(a, k);
        const divisor_of<number> divisor(diagonal);
        if (k + 1 != n)
            suspects.add(divisor.is_unsafe());
        exchange.apply(a, k, diagonal, [&](std::size_t, number element) {
            return divisor.divide(element, suspects);
        });
        for (std::size_t j = k + 1; j < n; ++j) {
            const number top = exchange.top(a, j);
            exchange.apply(a, j, top, [&](std::size_t i, number element) {
                return fused::less(element, top, a(i, k));
            });
        }
        for (std::size_t j = 0; j < b.cols; ++j) {
            const number top = exchange.top(b, j);
            exchange.apply(b, j, top, [&](std::size_t i, number element) {
                return rounding::less(element, a(i, k), top);
            });
        }
    }
    return sign;
}

// Row i of U⁻¹·B in `count` columns from j on, those below it known. The sums run side by side, as
// the steps of one wait for each other.
template <class rounding, std::size_t count, class number>
void substitute_row(spaced_tile<number> u, std::size_t i, const divisor_of<number>& divisor,
                    spaced_tile<number> b, std::size_t j, suspicion& suspects)
{
    number sum[count];
#pragma GCC unroll 4
    for (std::size_t c = 0; c < count; ++c)
        sum[c] = b(i, j + c);
    for (std::size_t k = i + 1; k < u.rows; ++k) {
        const number factor = u(i, k);
#pragma GCC unroll 4
        for (std::size_t c = 0; c < count; ++c)
            sum[c] = rounding::less(sum[c], factor, b(k, j + c));
    }
#pragma GCC unroll 4
    for (std::size_t c = 0; c < count; ++c) {
        const number x = divisor.divide(sum[c], suspects);
        suspects.add(x.has_nan());
        b.set(i, j + c, x);
    }
}

// B := U⁻¹·B.
template <class rounding, class number>
void substitute_back(spaced_tile<number> u, spaced_tile<number> b, suspicion& suspects)
{
    for (std::size_t i = u.rows; i-- > 0;) {
        const divisor_of<number> divisor(u(i, i));
        suspects.add(divisor.is_unsafe());
        std::size_t j = 0;
        for (; j + 4 <= b.cols; j += 4)
            substitute_row<rounding, 4>(u, i, divisor, b, j, suspects);
        for (; j < b.cols; ++j)
            substitute_row<rounding, 1>(u, i, divisor, b, j, suspects);
    }
}

template <class number>
spaced_tile<number> load_square(const lane_operands& operands, suspicion& suspects)
{
    const std::size_t n = operands.rows;
    const spaced_tile<number> a{operands.scratch, n, n};
    load_tile(operands.a, a);
    a.in_runs([&](std::size_t row, std::size_t rows) {
        suspects.add(not_finite<number>(a.at(row, 0), rows * n));
    });
    return a;
}

template <class rounding, class number>
unsigned solve_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t n = operands.rows;
    const spaced_tile<number> a = load_square<number>(operands, suspects);
    const spaced_tile<number> b{a.end(), n, operands.cols};
    load_tile(operands.b, b);
    eliminate<rounding>(a, n, b, suspects);
    substitute_back<rounding>(a, b, suspects);
    store_tile(b, operands.out);
    return suspects.bits();
}

template <class number>
unsigned invert_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t n = operands.rows;
    const spaced_tile<number> a = load_square<number>(operands, suspects);
    const spaced_tile<number> b{a.end(), n, n};
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            b.set(i, j, number::all(i == j ? 1 : 0));
    eliminate<fused>(a, n, b, suspects);
    substitute_back<fused>(a, b, suspects);
    store_tile(b, operands.out);
    return suspects.bits();
}

template <class number>
unsigned lu_diagonal_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t n = operands.rows;
    const spaced_tile<number> a = load_square<number>(operands, suspects);
    const tile<number> diagonal{a.end(), n};
    const vector sign = eliminate<fused>(a, n, {a.first, n, 0}, suspects);
    for (std::size_t i = 0; i < n; ++i) {
        const number element = a(i, i);
        suspects.add(element.has_nan());
        diagonal.set(0, i, element);
    }
    lanes::store(diagonal.at(1, 0), sign);
    separate(diagonal.first, n * number::doubles + 1, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
