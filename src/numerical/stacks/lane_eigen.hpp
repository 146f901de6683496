#pragma once

// Jacobi's method for Hermitian matrices, in the cyclic order (Forsythe and Henrici 1960;
// Rutishauser 1966). For the kernels' own sources only.

#include "numerical/stacks/lane_rotations.hpp"

namespace numerical::detail {
namespace {

// Lanes where off-diagonal element b of diagonal elements x and y counts: where |b| is above half
// an eps of √|x·y|, which keeps the relative accuracy of the small values of a graded definite
// matrix (Demmel and Veselić 1992).
template <class number>
mask is_off_diagonal(number b, vector x, vector y)
{
    const vector bound = lanes::times(lanes::magnitude(lanes::times(x, y)), lanes::all(0x1p-106));
    return lanes::greater(square(b), bound);
}

// A := JᴴAJ by its lower triangle. The lanes that changed are the result.
template <class number>
mask annihilate(tile<number> a, std::size_t p, std::size_t q, lane_rotation<number>& by)
{
    const number b = a(q, p);
    const vector x = a(p, p).re;
    const vector y = a(q, q).re;
    const mask turns = is_off_diagonal(b, x, y);
    if (lanes::bits(turns) == 0)
        return turns;
    by = diagonalising(lanes::minus(y, x), b, turns);
    const vector gain = inner_product(by.t, b);
    a.set(p, p, number::of_real(lanes::minus(x, gain)));
    a.set(q, q, number::of_real(lanes::plus(y, gain)));
    a.set(q, p, number::chosen(turns, number::all(0), b));
    for (std::size_t k = 0; k < p; ++k)
        rotate(by.conjugated(), a.at(p, k), a.at(q, k));
    for (std::size_t k = p + 1; k < q; ++k)
        rotate_with_conjugate(by, a.at(k, p), a.at(q, k));
    for (std::size_t k = q + 1; k < a.cols; ++k)
        rotate(by, a.at(k, p), a.at(k, q));
    return turns;
}

// Drops imaginary parts on the diagonal. Lanes whose lower triangle is too large, too small, or not
// finite become zero.
template <class number>
mask set_aside_extremes(tile<number> a)
{
    vector sum = lanes::all(0);
    for (std::size_t i = 0; i < a.cols; ++i) {
        for (std::size_t j = 0; j <= i; ++j)
            sum = lanes::plus(sum, magnitudes(a(i, j)));
        a.set(i, i, number::of_real(a(i, i).re));
    }
    const mask fits = lanes::both(lanes::at_least(sum, lanes::all(0x1p-200)),
                                  lanes::at_least(lanes::all(0x1p200), sum));
    const mask extreme = lanes::inverted(lanes::either(fits, lanes::equal(sum, lanes::all(0))));
    if (lanes::bits(extreme) != 0)
        for (std::size_t i = 0; i < a.cols; ++i)
            for (std::size_t j = 0; j <= i; ++j)
                a.set(i, j, number::chosen(extreme, number::all(0), a(i, j)));
    return extreme;
}

template <class number, jacobi_results results>
unsigned eigen_in_lanes(const lane_operands& operands)
{
    constexpr bool with_vectors = results == jacobi_results::values_and_vectors;
    suspicion suspects;
    const std::size_t n = operands.rows;
    const tile<number> a{operands.scratch, n};
    const tile<number> vectors{a.at(n, 0), n}; // by rows
    const tile<real_number> values{vectors.at(n, 0), 1};
    interleave(operands.a, n * n * number::doubles, a.first);
    suspects.add(set_aside_extremes(a));
    if constexpr (with_vectors)
        set_identity(vectors);

    suspects.add(sweep_until_clean(n, [&](std::size_t p, std::size_t q) {
        lane_rotation<number> by;
        const mask turned = annihilate(a, p, q, by);
        if constexpr (with_vectors)
            if (lanes::bits(turned) != 0)
                rotate_rows(by, vectors, p, q);
        return turned;
    }));

    for (std::size_t i = 0; i < n; ++i)
        values.set(i, 0, {a(i, i).re});
    const auto descends = [](vector x, vector y) { return lanes::greater(x, y); };
    if constexpr (with_vectors) {
        order_rows(values, n, descends, vectors);
        write_columns(vectors, n, a.first, operands.second_out);
    } else {
        order_rows(values, n, descends);
    }
    write_rows(values, n, operands.out);
    return suspects.bits();
}

} // namespace
} // namespace numerical::detail
