#pragma once

// One-sided Jacobi for real matrices (Hestenes 1958), the longer of two columns first (de Rijk
// 1989). A tall matrix lies by columns, each a row of a tile; so does the adjoint of a wide one.
// For the kernels' own sources only.

#include "numerical/stacks/lane_rotations.hpp"

namespace numerical::detail {
namespace {

// The square of the cosine at which two columns pass for orthogonal: max(2, √length) times eps. It
// must exceed what rounding leaves after a rotation.
inline vector negligible_square(std::size_t length)
{
    return lanes::all(static_cast<double>(length < 4 ? 4 : length) * 0x1p-104);
}

// Σ xᵢ·yᵢ, ascending from zero.
inline vector ascending_dot(tile<real_number> a, std::size_t p, std::size_t q)
{
    vector sum = lanes::all(0);
    for (std::size_t i = 0; i < a.cols; ++i)
        sum = lanes::plus(sum, lanes::times(a(p, i).re, a(q, i).re));
    return sum;
}

// Makes rows p and q orthogonal, with the longer one first where it turns them. The lanes that
// changed are the result.
template <class... Tiles>
mask orthogonalise(tile<real_number> a, std::size_t p, std::size_t q, const Tiles&... vectors)
{
    const vector square_p = ascending_dot(a, p, p);
    const vector square_q = ascending_dot(a, q, q);
    const vector inner = ascending_dot(a, p, q);
    const vector bound = lanes::times(lanes::times(square_p, square_q), negligible_square(a.cols));
    const mask turns = lanes::greater(lanes::times(inner, inner), bound);
    if (lanes::bits(turns) == 0)
        return turns;
    const lane_rotation by = diagonalising(lanes::minus(square_q, square_p), inner, turns);
    rotate_rows(by, a, p, q);
    (rotate_rows(by, vectors, p, q), ...);
    const mask longer = lanes::both(turns, lanes::greater(square_q, square_p));
    if (lanes::bits(longer) != 0) {
        exchange_rows(longer, a, p, q);
        (exchange_rows(longer, vectors, p, q), ...);
    }
    return turns;
}

// Rows divided by their lengths, which are the values. Lanes with one so short that its square lost
// digits on the way, or without direction, are the result.
inline mask take_lengths(tile<real_number> a, std::size_t count, tile<real_number> values)
{
    mask short_rows = lanes::none();
    for (std::size_t j = 0; j < count; ++j) {
        const vector length = lanes::root(ascending_dot(a, j, j));
        values.set(j, 0, {length});
        short_rows = lanes::either(short_rows, lanes::greater(lanes::all(0x1p-200), length));
        for (std::size_t i = 0; i < a.cols; ++i)
            a.set(j, i, {lanes::over(a(j, i).re, length)});
    }
    return short_rows;
}

// The columns of the tall matrix, or the rows of the wide one, as rows of `columns`. Lanes with
// entries too large, too small, or not finite become zero.
inline mask load_columns(const lane_operands& operands, tile<real_number> columns, double* room)
{
    const std::size_t m = operands.rows;
    const std::size_t n = operands.cols;
    interleave(operands.a, m * n, room);
    vector sum = lanes::all(0);
    for (std::size_t e = 0; e < m * n; ++e)
        sum = lanes::plus(sum, lanes::magnitude(lanes::load(room + e * lanes::width)));
    const mask fits = lanes::both(lanes::at_least(sum, lanes::all(0x1p-100)),
                                  lanes::at_least(lanes::all(0x1p100), sum));
    const tile<real_number> given{room, n};
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            const real_number x = real_number::chosen(fits, given(i, j), real_number::all(0));
            m >= n ? columns.set(j, i, x) : columns.set(i, j, x);
        }
    return lanes::inverted(fits);
}

template <jacobi_results results>
unsigned svd_in_lanes(const lane_operands& operands)
{
    constexpr bool with_vectors = results == jacobi_results::values_and_vectors;
    suspicion suspects;
    const bool tall = operands.rows >= operands.cols;
    const std::size_t k = tall ? operands.cols : operands.rows;
    const tile<real_number> columns{operands.scratch, tall ? operands.rows : operands.cols};
    const tile<real_number> turned{columns.at(k, 0), k}; // the other vectors, by rows
    const tile<real_number> values{turned.at(k, 0), 1};
    double* const room = values.at(k, 0);
    suspects.add(load_columns(operands, columns, room));
    if constexpr (with_vectors)
        set_identity(turned);

    suspects.add(sweep_until_clean(k, [&](std::size_t p, std::size_t q) {
        if constexpr (with_vectors)
            return orthogonalise(columns, p, q, turned);
        else
            return orthogonalise(columns, p, q);
    }));

    suspects.add(take_lengths(columns, k, values));
    const auto ascends = [](vector x, vector y) { return lanes::greater(y, x); };
    if constexpr (with_vectors) {
        order_rows(values, k, ascends, columns, turned);
        write_columns(tall ? columns : turned, k, room, operands.second_out);
        write_rows(tall ? turned : columns, k, operands.third_out);
    } else {
        order_rows(values, k, ascends);
    }
    write_rows(values, k, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
