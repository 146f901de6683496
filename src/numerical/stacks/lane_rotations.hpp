#pragma once

// Plane rotations of Jacobi's methods, one for each lane. Nothing is fused, so the bits are the
// same on every path. A lane with nothing to rotate takes the identity, which changes no number but
// the sign of a zero; as zeros are made positive on the way out, a matrix has the same bits beside
// any neighbours. For the kernels' own sources only.

#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/lane_numbers.hpp"
#include "numerical/stacks/lane_transpose.hpp"

namespace numerical::detail {
namespace {

// Six or so do in general; each of them several times the digits of the one before.
constexpr std::size_t jacobi_sweep_limit = 30;

enum class jacobi_results { values, values_and_vectors };

// Cosine, sine and tangent of the angle by which rows p and q are turned: p' = c·p - s·q,
// q' = s·p + c·q.
struct lane_rotation
{
    vector c;
    vector s;
    vector t;
};

// The rotation by at most 45 degrees that diagonalises [alpha beta; beta alpha + difference]
// (Rutishauser 1966), and the identity where `turns` isn't set.
inline lane_rotation diagonalising(vector difference, vector beta, mask turns)
{
    const vector zero = lanes::all(0);
    const vector one = lanes::all(1);
    const vector twice = lanes::plus(beta, beta);
    const vector length =
        lanes::root(lanes::plus(lanes::times(difference, difference), lanes::times(twice, twice)));
    const vector tangent =
        lanes::over(lanes::chosen(lanes::greater(zero, difference), lanes::negated(twice), twice),
                    lanes::plus(lanes::magnitude(difference), length));
    const vector t = lanes::chosen(turns, tangent, zero);
    const vector c = lanes::over(one, lanes::root(lanes::plus(one, lanes::times(t, t))));
    return {c, lanes::times(t, c), t};
}

inline void rotate(const lane_rotation& by, double* p, double* q)
{
    const vector x = lanes::load(p);
    const vector y = lanes::load(q);
    lanes::store(p, lanes::minus(lanes::times(by.c, x), lanes::times(by.s, y)));
    lanes::store(q, lanes::plus(lanes::times(by.s, x), lanes::times(by.c, y)));
}

inline void rotate_rows(const lane_rotation& by, tile<real_number> a, std::size_t p, std::size_t q)
{
    for (std::size_t i = 0; i < a.cols; ++i)
        rotate(by, a.at(p, i), a.at(q, i));
}

inline void exchange_rows(mask where, tile<real_number> a, std::size_t p, std::size_t q)
{
    for (std::size_t i = 0; i < a.cols; ++i) {
        const real_number x = a(p, i);
        const real_number y = a(q, i);
        a.set(p, i, real_number::chosen(where, y, x));
        a.set(q, i, real_number::chosen(where, x, y));
    }
}

inline void set_identity(tile<real_number> a)
{
    for (std::size_t i = 0; i < a.cols; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            a.set(i, j, real_number::all(i == j ? 1 : 0));
}

// Sweeps over all pairs in row order until one changes nothing in any lane. turn(p, q) gives the
// lanes that it changed. The lanes that the limit stopped are the result.
template <class Turn>
mask sweep_until_clean(std::size_t n, const Turn& turn)
{
    mask changed = lanes::none();
    for (std::size_t sweep = 0; sweep < jacobi_sweep_limit; ++sweep) {
        changed = lanes::none();
        for (std::size_t p = 0; p + 1 < n; ++p)
            for (std::size_t q = p + 1; q < n; ++q)
                changed = lanes::either(changed, turn(p, q));
        if (lanes::bits(changed) == 0)
            break;
    }
    return changed;
}

// Brings `count` values into order, and with value i the rows i of the tiles. swapped(x, y) tells
// the lanes in which x may not come before y. By exchanges of neighbours, so equal ones stay.
template <class Swapped, class... Tiles>
void order_rows(tile<real_number> values, std::size_t count, const Swapped& swapped,
                const Tiles&... rows)
{
    for (std::size_t last = count; last > 1; --last)
        for (std::size_t i = 0; i + 1 < last; ++i) {
            const mask where = swapped(values(i, 0).re, values(i + 1, 0).re);
            if (lanes::bits(where) == 0)
                continue;
            exchange_rows(where, values, i, i + 1);
            (exchange_rows(where, rows, i, i + 1), ...);
        }
}

inline vector positive_zeros(vector x)
{
    return lanes::plus(x, lanes::all(0));
}

// Neither this nor the next is inlined: g++ 12 would keep a caller's numbers in vector registers by
// instructions that AVX-512F alone doesn't have.
[[gnu::noinline]] void write_rows(tile<real_number> from, std::size_t rows, double* const* to)
{
    for (std::size_t e = 0; e < rows * from.cols; ++e)
        from.set(0, e, {positive_zeros(from(0, e).re)});
    separate(from.first, rows * from.cols, to);
}

// The rows of `from` go to the columns of the results, by way of `room`.
[[gnu::noinline]] void write_columns(tile<real_number> from, std::size_t rows, double* room,
                                     double* const* to)
{
    const tile<real_number> columns{room, rows};
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < from.cols; ++j)
            columns.set(j, i, {positive_zeros(from(i, j).re)});
    separate(room, rows * from.cols, to);
}

} // namespace
} // namespace numerical::detail
