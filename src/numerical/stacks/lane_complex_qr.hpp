#pragma once

// Householder QR of complex matrices that are no wider than tall, reflector by reflector. Nothing
// is fused, so that the bits are the same on all paths. For the kernels' own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

using complex_tile = tile<complex_number>;

inline complex_number times_real(complex_number z, vector factor)
{
    return {lanes::times(z.re, factor), lanes::times(z.im, factor)};
}

inline vector square_modulus(complex_number z)
{
    return lanes::plus(lanes::times(z.re, z.re), lanes::times(z.im, z.im));
}

// What maps column j of A, from the diagonal down, to -phase·norm times the first unit vector:
// H = I - scale·v·vᴴ. The elements of v take the place of the column.
struct complex_reflector
{
    std::size_t j;
    std::size_t rows;
    vector scale;
    vector norm;
    complex_number phase; // of the diagonal element; of a zero 1
};

// v = x + phase·norm·e₁, whose square is 2·norm·(norm + |x₁|): no digits cancel. A column without a
// norm in the range where squares are safe is left to the other way.
inline complex_reflector make_complex_reflector(complex_tile a, std::size_t j, std::size_t rows,
                                                suspicion& suspects)
{
    vector square = lanes::all(0);
    for (std::size_t i = j; i < rows; ++i)
        square = lanes::plus(square, square_modulus(a(i, j)));
    const vector least = lanes::all(0x1p-900);
    suspects.add(lanes::inverted(
        lanes::both(lanes::at_least(square, least), lanes::at_least(lanes::all(0x1p900), square))));
    const complex_number first = a(j, j);
    const vector first_square = square_modulus(first);
    const vector zero = lanes::all(0);
    const mask is_zero = lanes::both(lanes::equal(first.re, zero), lanes::equal(first.im, zero));
    suspects.add(lanes::without(lanes::greater(least, first_square), is_zero));

    const vector modulus = lanes::root(first_square);
    const vector divisor = lanes::chosen(is_zero, lanes::all(1), modulus);
    const complex_number quotient{lanes::over(first.re, divisor), lanes::over(first.im, divisor)};
    const complex_number phase = complex_number::chosen(is_zero, complex_number::all(1), quotient);
    const vector norm = lanes::root(square);
    const complex_number reach = times_real(phase, norm);
    a.set(j, j, {lanes::plus(first.re, reach.re), lanes::plus(first.im, reach.im)});
    const vector half_square = lanes::times(norm, lanes::plus(norm, modulus));
    return {.j = j,
            .rows = rows,
            .scale = lanes::over(lanes::all(1), half_square),
            .norm = norm,
            .phase = phase};
}

// Column c of x becomes H times it, with v in its column of a.
inline void reflect_column(const complex_reflector& h, complex_tile a, complex_tile x,
                           std::size_t c)
{
    complex_number sum = complex_number::all(0);
    for (std::size_t i = h.j; i < h.rows; ++i)
        sum = rounded::more(sum, a(i, h.j).conjugated(), x(i, c));
    const complex_number factor = times_real(sum, h.scale);
    for (std::size_t i = h.j; i < h.rows; ++i)
        x.set(i, c, rounded::less(x(i, c), a(i, h.j), factor));
}

// The rows of R turned so that its diagonal, the norms, is real and not negative.
inline void finish_triangle(complex_tile a, const complex_reflector* reflectors)
{
    const complex_number zero = complex_number::all(0);
    for (std::size_t i = 0; i < a.cols; ++i) {
        const complex_number phase = reflectors[i].phase;
        const complex_number turn{lanes::negated(phase.re), phase.im};
        for (std::size_t j = 0; j < i; ++j)
            a.set(i, j, zero);
        a.set(i, i, complex_number::of_real(reflectors[i].norm));
        for (std::size_t j = i + 1; j < a.cols; ++j)
            a.set(i, j, product(a(i, j), turn));
    }
}

// Q = H₀·H₁⋯ times the first columns of the identity, which bear the phases that R lost. From the
// last reflector to the first, as the columns before its own aren't changed by one.
inline void form_complex_basis(complex_tile a, complex_tile q, std::size_t rows,
                               const complex_reflector* reflectors)
{
    const complex_number zero = complex_number::all(0);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < q.cols; ++j) {
            const complex_number phase = reflectors[j].phase;
            q.set(i, j,
                  i == j ? complex_number{lanes::negated(phase.re), lanes::negated(phase.im)}
                         : zero);
        }
    for (std::size_t j = q.cols; j-- > 0;)
        for (std::size_t c = j; c < q.cols; ++c)
            reflect_column(reflectors[j], a, q, c);
}

inline unsigned complex_qr_in_lanes(const lane_operands& operands)
{
    constexpr std::size_t parts = complex_number::doubles;
    suspicion suspects;
    const std::size_t rows = operands.rows;
    const std::size_t cols = operands.cols;
    const complex_tile a{operands.scratch, cols};
    const complex_tile q{a.at(rows, 0), cols};
    interleave(operands.a, parts * rows * cols, a.first);
    suspects.add(not_finite<complex_number>(a.first, rows * cols));

    complex_reflector reflectors[greatest_complex_qr_rows];
    for (std::size_t j = 0; j < cols; ++j) {
        reflectors[j] = make_complex_reflector(a, j, rows, suspects);
        for (std::size_t c = j + 1; c < cols; ++c)
            reflect_column(reflectors[j], a, a, c);
    }
    form_complex_basis(a, q, rows, reflectors);
    separate(q.first, parts * rows * cols, operands.out);
    finish_triangle(a, reflectors);
    separate(a.first, parts * cols * cols, operands.second_out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
