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

// |x|², and the real part of conj(x)·y.
inline vector square(real_number x)
{
    return lanes::times(x.re, x.re);
}

inline vector square(complex_number x)
{
    return lanes::plus(lanes::times(x.re, x.re), lanes::times(x.im, x.im));
}

inline vector inner_product(real_number x, real_number y)
{
    return lanes::times(x.re, y.re);
}

inline vector inner_product(complex_number x, complex_number y)
{
    return lanes::plus(lanes::times(x.re, y.re), lanes::times(x.im, y.im));
}

inline vector magnitudes(real_number x)
{
    return lanes::magnitude(x.re);
}

inline vector magnitudes(complex_number x)
{
    return lanes::plus(lanes::magnitude(x.re), lanes::magnitude(x.im));
}

inline real_number times_real(vector factor, real_number x)
{
    return {lanes::times(factor, x.re)};
}

inline complex_number times_real(vector factor, complex_number x)
{
    return {lanes::times(factor, x.re), lanes::times(factor, x.im)};
}

inline real_number negated(real_number x)
{
    return {lanes::negated(x.re)};
}

inline complex_number negated(complex_number x)
{
    return {lanes::negated(x.re), lanes::negated(x.im)};
}

inline real_number over_real(real_number x, vector divisor)
{
    return {lanes::over(x.re, divisor)};
}

inline complex_number over_real(complex_number x, vector divisor)
{
    return {lanes::over(x.re, divisor), lanes::over(x.im, divisor)};
}

inline real_number positive_zeros(real_number x)
{
    return {lanes::plus(x.re, lanes::all(0))};
}

inline complex_number positive_zeros(complex_number x)
{
    return {lanes::plus(x.re, lanes::all(0)), lanes::plus(x.im, lanes::all(0))};
}

// The cosine, and the sine and tangent with the phase of the element that the rotation annihilates:
// columns p and q become p' = c·p - s·q and q' = conj(s)·p + c·q.
template <class number>
struct lane_rotation
{
    vector c;
    number s;
    number t;

    lane_rotation conjugated() const { return {c, s.conjugated(), t.conjugated()}; }
};

// The rotation by at most 45 degrees that diagonalises the Hermitian [alpha conj(beta); beta alpha
// + difference] (Rutishauser 1966), and the identity where `turns` isn't set.
template <class number>
lane_rotation<number> diagonalising(vector difference, number beta, mask turns)
{
    const vector zero = lanes::all(0);
    const vector one = lanes::all(1);
    const number twice = times_real(lanes::all(2), beta);
    const vector length =
        lanes::root(lanes::plus(lanes::times(difference, difference), square(twice)));
    const number with_sign =
        number::chosen(lanes::greater(zero, difference), negated(twice), twice);
    const number tangent = over_real(with_sign, lanes::plus(lanes::magnitude(difference), length));
    const number t = number::chosen(turns, tangent, number::all(0));
    const vector c = lanes::over(one, lanes::root(lanes::plus(one, square(t))));
    return {c, times_real(c, t), t};
}

template <class number>
number turned_first(const lane_rotation<number>& by, number p, number q)
{
    return rounded::less(times_real(by.c, p), by.s, q);
}

template <class number>
number turned_second(const lane_rotation<number>& by, number p, number q)
{
    return rounded::more(times_real(by.c, q), by.s.conjugated(), p);
}

template <class number>
void rotate(const lane_rotation<number>& by, double* p, double* q)
{
    const number x = number::load(p);
    const number y = number::load(q);
    turned_first(by, x, y).store(p);
    turned_second(by, x, y).store(q);
}

// The same where the place of q holds its conjugate.
template <class number>
void rotate_with_conjugate(const lane_rotation<number>& by, double* p, double* q)
{
    const number x = number::load(p);
    const number y = number::load(q).conjugated();
    turned_first(by, x, y).store(p);
    turned_second(by, x, y).conjugated().store(q);
}

template <class number>
void rotate_rows(const lane_rotation<number>& by, tile<number> a, std::size_t p, std::size_t q)
{
    for (std::size_t i = 0; i < a.cols; ++i)
        rotate(by, a.at(p, i), a.at(q, i));
}

template <class number>
void exchange_rows(mask where, tile<number> a, std::size_t p, std::size_t q)
{
    for (std::size_t i = 0; i < a.cols; ++i) {
        const number x = a(p, i);
        const number y = a(q, i);
        a.set(p, i, number::chosen(where, y, x));
        a.set(q, i, number::chosen(where, x, y));
    }
}

template <class number>
void set_identity(tile<number> a)
{
    for (std::size_t i = 0; i < a.cols; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            a.set(i, j, number::all(i == j ? 1 : 0));
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

// Neither this nor the next two are inlined: g++ 12 would keep a caller's numbers in vector
// registers by instructions that AVX-512F alone doesn't have.
template <class number>
[[gnu::noinline]] void write_rows(tile<number> from, std::size_t rows, double* const* to)
{
    const std::size_t count = rows * from.cols;
    for (std::size_t e = 0; e < count; ++e)
        from.set(0, e, positive_zeros(from(0, e)));
    separate(from.first, count * number::doubles, to);
}

template <class number>
[[gnu::noinline]] void write_conjugated_rows(tile<number> from, std::size_t rows, double* const* to)
{
    const std::size_t count = rows * from.cols;
    for (std::size_t e = 0; e < count; ++e)
        from.set(0, e, positive_zeros(from(0, e).conjugated()));
    separate(from.first, count * number::doubles, to);
}

// The rows of `from` go to the columns of the results, by way of `room`.
template <class number>
[[gnu::noinline]] void write_columns(tile<number> from, std::size_t rows, double* room,
                                     double* const* to)
{
    const tile<number> columns{room, rows};
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < from.cols; ++j)
            columns.set(j, i, positive_zeros(from(i, j)));
    separate(room, rows * from.cols * number::doubles, to);
}

} // namespace
} // namespace numerical::detail
