#pragma once

// Householder QR of real matrices that are no wider than tall, by the steps of householder_qr: the
// reflectors, their compact form I - V·T·Vᵀ, and Q from it. For the vector paths' own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

// Lanes where a number is neither zero nor large enough that no product of four of its kind
// underflows. Without such, zeros are positive wherever they stand in a sum, and may be left out.
inline mask is_small(vector x)
{
    const vector size = lanes::magnitude(x);
    return lanes::both(lanes::greater(lanes::all(0x1p-200), size),
                       lanes::greater(size, lanes::all(0)));
}

// Rows [from, to) of a column.
struct column_run
{
    tile<real_number> a;
    std::size_t column;
    std::size_t from;
    std::size_t to;

    vector operator[](std::size_t i) const { return a(i, column).re; }
};

// The path's dot of fewer than a turn of elements: products and sums are rounded but those after
// the last whole four, which are fused.
inline vector dot(column_run x, column_run y)
{
    vector sum = lanes::all(0);
    std::size_t i = x.from;
    for (const std::size_t end = x.from + (x.to - x.from) / 4 * 4; i < end; ++i)
        sum = lanes::plus(sum, lanes::times(x[i], y[i]));
    for (; i < x.to; ++i)
        sum = lanes::more(sum, x[i], y[i]);
    return sum;
}

// The norm, where the sum of squares is in the range that needs no scaling.
inline vector safe_norm(column_run x, suspicion& suspects)
{
    const vector square = dot(x, x);
    const mask safe = lanes::both(lanes::at_least(square, lanes::all(0x1p-900)),
                                  lanes::at_least(lanes::all(0x1p900), square));
    suspects.add(lanes::inverted(safe));
    return lanes::root(square);
}

// 1 or -1, for a zero of either sign 1.
inline vector sign_of(vector x)
{
    return lanes::chosen(lanes::greater(lanes::all(0), x), lanes::all(-1), lanes::all(1));
}

// Column j of V, the unit reflector that maps column j of A from the diagonal down to a multiple of
// the first unit vector.
inline column_run make_reflector(tile<real_number> a, tile<real_number> v, std::size_t rows,
                                 std::size_t j, suspicion& suspects)
{
    const column_run x{.a = v, .column = j, .from = j, .to = rows};
    for (std::size_t i = j; i < rows; ++i)
        v.set(i, j, a(i, j));
    const vector reach = lanes::times(sign_of(x[j]), safe_norm(x, suspects));
    v.set(j, j, {lanes::plus(x[j], reach)});
    const vector length = safe_norm(x, suspects);
    for (std::size_t i = j; i < rows; ++i) {
        const vector element = lanes::over(x[i], length);
        suspects.add(is_small(element));
        v.set(i, j, {element});
    }
    return x;
}

// A becomes R on and above the diagonal.
inline void reflect(tile<real_number> a, tile<real_number> v, std::size_t rows, suspicion& suspects)
{
    for (std::size_t j = 0; j < a.cols; ++j) {
        const column_run reflector = make_reflector(a, v, rows, j, suspects);
        for (std::size_t c = j; c < a.cols; ++c) {
            const vector d = dot(reflector, {.a = a, .column = c, .from = j, .to = rows});
            const vector factor = lanes::times(lanes::all(-2), d);
            for (std::size_t i = j; i < rows; ++i)
                a.set(i, c, {lanes::more(a(i, c).re, factor, reflector[i])});
        }
    }
}

// T column by column: T[0..i)[i] = -2·T[0..i)[0..i)·G[0..i)[i] with G = VᵀV (Schreiber and Van Loan
// 1989). The sums of G are those of a product, fused or not as its size has it.
template <class rounding>
void fill_factor(tile<real_number> v, std::size_t rows, tile<real_number> t, suspicion& suspects)
{
    for (std::size_t i = 0; i < t.cols; ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            real_number sum = real_number::all(0);
            for (std::size_t r = i; r < rows; ++r)
                sum = rounding::more(sum, v(r, k), v(r, i));
            suspects.add(is_small(sum.re));
            t.set(i, k, sum); // below the diagonal there is room
        }
        for (std::size_t j = 0; j < i; ++j) {
            real_number sum = real_number::all(0);
            for (std::size_t k = j; k < i; ++k)
                sum = rounded::more(sum, t(i, k), t(j, k));
            const vector element = lanes::times(sum.re, lanes::all(-2));
            suspects.add(is_small(element));
            t.set(j, i, {element});
        }
        t.set(i, i, real_number::all(2));
    }
}

// The upper triangle of X = -T·V₀ᵀ in the place of T, V₀ being the first rows of V.
inline void times_top(tile<real_number> t, tile<real_number> v)
{
    for (std::size_t i = 0; i < t.cols; ++i)
        for (std::size_t j = t.cols; j-- > i;) {
            real_number sum = real_number::all(0);
            for (std::size_t k = i; k <= j; ++k)
                sum = fused::less(sum, t(i, k), v(j, k));
            t.set(i, j, sum);
        }
}

// The first columns of I + V·X, times their phases.
template <class rounding>
void form_basis(tile<real_number> v, tile<real_number> x, std::size_t rows, const vector* phases,
                tile<real_number> q)
{
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < q.cols; ++j) {
            real_number sum = real_number::all(i == j ? 1 : 0);
            for (std::size_t k = 0; k <= i && k <= j; ++k)
                sum = rounding::more(sum, v(i, k), x(k, j));
            q.set(i, j, {lanes::times(sum.re, phases[j])});
        }
}

// The rows of R times their phases, so that its diagonal isn't negative.
inline void turn_rows(tile<real_number> r, vector* phases)
{
    for (std::size_t i = 0; i < r.cols; ++i) {
        phases[i] = sign_of(r(i, i).re);
        for (std::size_t j = 0; j < r.cols; ++j)
            r.set(i, j,
                  j < i ? real_number::all(0) : real_number{lanes::times(r(i, j).re, phases[i])});
    }
}

template <class gram_rounding, class basis_rounding>
unsigned qr_in_lanes(const lane_operands& operands)
{
    suspicion suspects;
    const std::size_t rows = operands.rows;
    const std::size_t cols = operands.cols;
    const tile<real_number> a{operands.scratch, cols};
    const tile<real_number> v{a.at(rows, 0), cols};
    const tile<real_number> t{v.at(rows, 0), cols};
    interleave(operands.a, rows * cols, a.first);
    suspects.add(not_finite<real_number>(a.first, rows * cols));
    for (std::size_t e = 0; e < rows * cols; ++e)
        suspects.add(lanes::greater(lanes::magnitude(a(0, e).re), lanes::all(0x1p450)));

    reflect(a, v, rows, suspects);
    fill_factor<gram_rounding>(v, rows, t, suspects);
    times_top(t, v);
    vector phases[greatest_qr_rows] = {};
    turn_rows(a, phases);
    separate(a.first, cols * cols, operands.second_out);
    form_basis<basis_rounding>(v, t, rows, phases, a);
    separate(a.first, rows * cols, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
