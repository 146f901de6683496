#pragma once

// One-sided Jacobi (Hestenes 1958), the longer of two columns first (de Rijk 1989). A tall matrix
// lies by columns, each a row of a tile; so does the adjoint of a wide one. For the kernels' own
// sources only.

#include "numerical/stacks/lane_rotations.hpp"

namespace numerical::detail {
namespace {

// The square of the cosine at which two columns pass for orthogonal: max(2, √length) times eps. It
// must exceed what rounding leaves after a rotation.
inline vector negligible_square(std::size_t length)
{
    return lanes::all(static_cast<double>(length < 4 ? 4 : length) * 0x1p-104);
}

// Σ |xᵢ|², ascending from zero.
template <class number>
vector ascending_square(tile<number> a, std::size_t p)
{
    vector sum = lanes::all(0);
    for (std::size_t i = 0; i < a.cols; ++i)
        sum = lanes::plus(sum, square(a(p, i)));
    return sum;
}

// Σ xᵢ·conj(yᵢ), ascending from zero.
template <class number>
number ascending_dot(tile<number> a, std::size_t p, std::size_t q)
{
    number sum = number::all(0);
    for (std::size_t i = 0; i < a.cols; ++i)
        sum = rounded::more(sum, a(p, i), a(q, i).conjugated());
    return sum;
}

// Makes rows p and q orthogonal, with the longer one first where it turns them. The lanes that
// changed are the result.
template <class number, class... Tiles>
mask orthogonalise(tile<number> a, std::size_t p, std::size_t q, const Tiles&... vectors)
{
    const vector square_p = ascending_square(a, p);
    const vector square_q = ascending_square(a, q);
    const number inner = ascending_dot(a, p, q);
    const vector bound = lanes::times(lanes::times(square_p, square_q), negligible_square(a.cols));
    const mask turns = lanes::greater(square(inner), bound);
    if (lanes::bits(turns) == 0)
        return turns;
    const lane_rotation<number> by = diagonalising(lanes::minus(square_q, square_p), inner, turns);
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
template <class number>
mask take_lengths(tile<number> a, std::size_t count, tile<real_number> values)
{
    mask short_rows = lanes::none();
    for (std::size_t j = 0; j < count; ++j) {
        const vector length = lanes::root(ascending_square(a, j));
        values.set(j, 0, {length});
        short_rows = lanes::either(short_rows, lanes::greater(lanes::all(0x1p-200), length));
        for (std::size_t i = 0; i < a.cols; ++i)
            a.set(j, i, over_real(a(j, i), length));
    }
    return short_rows;
}

// The columns of the tall matrix, or the conjugated rows of the wide one, as rows of `columns`.
// Lanes with entries too large, too small, or not finite become zero.
template <class number>
mask load_columns(const lane_operands& operands, tile<number> columns, double* room)
{
    const std::size_t m = operands.rows;
    const std::size_t n = operands.cols;
    interleave(operands.a, m * n * number::doubles, room);
    const tile<number> given{room, n};
    vector sum = lanes::all(0);
    for (std::size_t e = 0; e < m * n; ++e)
        sum = lanes::plus(sum, magnitudes(given(0, e)));
    const mask fits = lanes::both(lanes::at_least(sum, lanes::all(0x1p-100)),
                                  lanes::at_least(lanes::all(0x1p100), sum));
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            const number x = number::chosen(fits, given(i, j), number::all(0));
            m >= n ? columns.set(j, i, x) : columns.set(i, j, x.conjugated());
        }
    return lanes::inverted(fits);
}

// A matrix and its decomposition: Σ valueⱼ·columnⱼ·turnedⱼᴴ is the tall matrix or the adjoint of
// the wide one.
template <class number>
struct lane_triplets
{
    bool tall;
    std::size_t count;
    tile<number> columns;
    tile<number> turned;
    tile<real_number> values;
    double* room;          // behind them, for as many elements as the matrix has
    unsigned suspects = 0; // lanes that can't be trusted

    explicit lane_triplets(const lane_operands& operands)
        : tall(operands.rows >= operands.cols),
          count(tall ? operands.cols : operands.rows), columns{operands.scratch,
                                                               tall ? operands.rows
                                                                    : operands.cols},
          turned{columns.at(count, 0), count}, values{turned.at(count, 0), 1},
          room(values.at(count, 0))
    {
    }

    // By rows: the left vectors of the matrix as it was given, and the right ones.
    tile<number> left() const { return tall ? columns : turned; }

    tile<number> right() const { return tall ? turned : columns; }
};

// Neither this nor what writes is inlined, and the suspects stay in memory: g++ 12 would keep them
// in a vector register by instructions that AVX-512F alone doesn't have.
template <jacobi_results results, class number>
[[gnu::noinline]] void find_triplets(const lane_operands& operands, lane_triplets<number>& all)
{
    suspicion suspects;
    suspects.add(load_columns(operands, all.columns, all.room));
    const auto ascends = [](vector x, vector y) { return lanes::greater(y, x); };
    if constexpr (results == jacobi_results::values_and_vectors) {
        set_identity(all.turned);
        suspects.add(sweep_until_clean(all.count, [&](std::size_t p, std::size_t q) {
            return orthogonalise(all.columns, p, q, all.turned);
        }));
        suspects.add(take_lengths(all.columns, all.count, all.values));
        order_rows(all.values, all.count, ascends, all.columns, all.turned);
    } else {
        suspects.add(sweep_until_clean(all.count, [&](std::size_t p, std::size_t q) {
            return orthogonalise(all.columns, p, q);
        }));
        suspects.add(take_lengths(all.columns, all.count, all.values));
        order_rows(all.values, all.count, ascends);
    }
    all.suspects = suspects.bits();
}

template <class number>
unsigned svd_in_lanes(const lane_operands& operands)
{
    lane_triplets<number> all(operands);
    find_triplets<jacobi_results::values_and_vectors>(operands, all);
    write_columns(all.left(), all.count, all.room, operands.second_out);
    write_conjugated_rows(all.right(), all.count, operands.third_out);
    write_rows(all.values, all.count, operands.out);
    return all.suspects;
}

template <class number>
unsigned singular_values_in_lanes(const lane_operands& operands)
{
    lane_triplets<number> all(operands);
    find_triplets<jacobi_results::values>(operands, all);
    write_rows(all.values, all.count, operands.out);
    return all.suspects;
}

// V·S⁻¹·Uᴴ of the values above max(rows, cols)·2^-52 times the largest, the sum in their order. Not
// inlined, for the reason given at find_triplets.
template <class number>
[[gnu::noinline]] void write_inverse(const lane_operands& operands,
                                     const lane_triplets<number>& all)
{
    const auto longest = static_cast<double>(all.columns.cols);
    const vector threshold = lanes::times(all.values(0, 0).re, lanes::all(longest * 0x1p-52));
    for (std::size_t j = 0; j < all.count; ++j) {
        const vector value = all.values(j, 0).re;
        const vector factor = lanes::chosen(lanes::greater(value, threshold),
                                            lanes::over(lanes::all(1), value), lanes::all(0));
        for (std::size_t i = 0; i < all.turned.cols; ++i)
            all.turned.set(j, i, times_real(factor, all.turned(j, i)));
    }
    const tile<number> inverse{all.room, operands.rows};
    for (std::size_t i = 0; i < operands.cols; ++i)
        for (std::size_t l = 0; l < operands.rows; ++l) {
            number sum = number::all(0);
            for (std::size_t j = 0; j < all.count; ++j)
                sum = rounded::more(sum, all.right()(j, i), all.left()(j, l).conjugated());
            inverse.set(i, l, sum);
        }
    write_rows(inverse, operands.cols, operands.out);
}

template <class number>
unsigned pinv_in_lanes(const lane_operands& operands)
{
    lane_triplets<number> all(operands);
    find_triplets<jacobi_results::values_and_vectors>(operands, all);
    write_inverse(operands, all);
    return all.suspects;
}

} // namespace
} // namespace numerical::detail
