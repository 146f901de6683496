#include "numerical/svd/bidiagonal_iteration.hpp"

#include "numerical/eigen/plane_rotation.hpp"
#include "numerical/eps.hpp"
#include "numerical/errors.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

// Entries below this are negligible compared to any other.
constexpr double tiny = 0x1p-970;

bool negligible(double x, double sum)
{
    return sum * eps + tiny >= std::abs(x);
}

} // namespace

// Deflates until a chase is due, and begins it. False once all values are final.
bool bidiagonal_iteration::begin_chase()
{
    while (remaining > 0) {
        const std::size_t hi = remaining - 1;
        const std::size_t lo = block_start(hi);
        if (lo == hi) {
            finish(hi);
            --remaining;
            continue;
        }
        const std::size_t k = zero_on_diagonal(lo, hi);
        if (k < hi)
            split_after(k, hi);
        else if (k == hi)
            deflate_at_bottom(lo, hi);
        else {
            start(lo, hi);
            return true;
        }
    }
    return false;
}

inline void bidiagonal_iteration::rotate(chase& at)
{
    const std::size_t j = at.row++;
    const plane_rotation of_columns = rotation_onto_first(at.f, at.g);
    at.f = d[j] * of_columns.c + e[j] * of_columns.s;
    e[j] = e[j] * of_columns.c - d[j] * of_columns.s;
    at.g = d[j + 1] * of_columns.s;
    d[j + 1] *= of_columns.c;
    recorded.add_right({.kind = row_operation_kind::rotation,
                        .first = j,
                        .second = j + 1,
                        .c = of_columns.c,
                        .s = of_columns.s});

    const plane_rotation of_rows = rotation_onto_first(at.f, at.g);
    d[j] = of_rows.length;
    at.f = e[j] * of_rows.c + d[j + 1] * of_rows.s;
    d[j + 1] = d[j + 1] * of_rows.c - e[j] * of_rows.s;
    at.g = e[j + 1] * of_rows.s; // on the last j both are zero: e[hi] is
    e[j + 1] *= of_rows.c;
    recorded.add_left({.kind = row_operation_kind::rotation,
                       .first = j,
                       .second = j + 1,
                       .c = of_rows.c,
                       .s = of_rows.s});

    if (j != at.lo) {
        const double coupling = of_columns.length;
        e[j - 1] = coupling;
        at.deflates |= negligible(coupling, at.d_above + of_rows.length) ||
                       negligible(at.d_above, coupling + at.e_above);
        at.e_above = coupling;
    }
    at.d_above = of_rows.length;
}

// All that is left, with a chase begun.
void bidiagonal_iteration::run_on()
{
    do {
        chase local = current; // in registers
        do
            rotate(local);
        while (local.row < local.hi);
        current = local;
    } while (end_chase());
}

void bidiagonal_iteration::run()
{
    if (begin_chase())
        run_on();
}

void bidiagonal_iteration::run(bidiagonal_iteration& first, bidiagonal_iteration& second)
{
    bool first_goes_on = first.begin_chase();
    bool second_goes_on = second.begin_chase();
    while (first_goes_on && second_goes_on) {
        chase a = first.current;
        chase b = second.current;
        do {
            first.rotate(a);
            second.rotate(b);
        } while (a.row < a.hi && b.row < b.hi);
        first.current = a;
        second.current = b;
        first_goes_on = a.row < a.hi || first.end_chase();
        second_goes_on = b.row < b.hi || second.end_chase();
    }
    if (first_goes_on)
        first.run_on();
    if (second_goes_on)
        second.run_on();
}

// The first entry of the unreduced block that ends with hi; the coupling above it becomes zero.
std::size_t bidiagonal_iteration::block_start(std::size_t hi)
{
    for (std::size_t lo = hi; lo > 0; --lo)
        if (negligible(e[lo - 1], std::abs(d[lo - 1]) + std::abs(d[lo]))) {
            e[lo - 1] = 0;
            return lo;
        }
    return 0;
}

// The last negligible diagonal entry of the block, made an exact zero; n if there is none.
std::size_t bidiagonal_iteration::zero_on_diagonal(std::size_t lo, std::size_t hi)
{
    for (std::size_t end = hi + 1; end > lo; --end) {
        const std::size_t k = end - 1;
        const double above = k == lo ? 0.0 : std::abs(e[k - 1]);
        if (negligible(d[k], std::abs(e[k]) + above)) {
            d[k] = 0;
            return k;
        }
    }
    return n;
}

// d[hi] is zero: the coupling e[hi-1] is rotated up the last column and out at its top.
void bidiagonal_iteration::deflate_at_bottom(std::size_t lo, std::size_t hi)
{
    double f = std::exchange(e[hi - 1], 0.0);
    recorded.make_room(hi - lo);
    for (std::size_t end = hi; end > lo; --end) {
        const std::size_t j = end - 1;
        const auto [length, c, s] = rotation_onto_first(d[j], f);
        d[j] = length;
        if (j != lo) {
            f = -s * e[j - 1];
            e[j - 1] *= c;
        }
        recorded.add_right(
            {.kind = row_operation_kind::rotation, .first = j, .second = hi, .c = c, .s = s});
    }
}

// d[k] is zero inside the block: the coupling e[k] is rotated along row k and out at its end.
void bidiagonal_iteration::split_after(std::size_t k, std::size_t hi)
{
    double f = std::exchange(e[k], 0.0);
    recorded.make_room(hi - k);
    for (std::size_t j = k + 1; j <= hi; ++j) {
        const auto [length, c, s] = rotation_onto_first(d[j], f);
        d[j] = length;
        f = -s * e[j];
        e[j] *= c;
        recorded.add_left(
            {.kind = row_operation_kind::rotation, .first = j, .second = k, .c = c, .s = s});
    }
}

// The first column of BᵀB less the shift, which is the eigenvalue of the trailing 2 × 2 block of
// BᵀB that lies nearer to its last entry; all in units of the largest entry concerned.
std::pair<double, double> bidiagonal_iteration::first_bulge(std::size_t lo, std::size_t hi) const
{
    const double scale = std::max({std::abs(d[hi - 1]), std::abs(d[hi]), std::abs(e[hi - 1]),
                                   std::abs(d[lo]), std::abs(e[lo])});
    const double sp = d[hi] / scale;
    const double sm = d[hi - 1] / scale;
    const double em = e[hi - 1] / scale;
    const double sk = d[lo] / scale;
    const double ek = e[lo] / scale;
    const double b = ((sp + sm) * (sm - sp) + em * em) * 0.5;
    const double c = (em * sp) * (em * sp);
    double shift = 0;
    if (b != 0 || c != 0) {
        const double root = std::sqrt(b * b + c);
        shift = c / (b < 0 ? b - root : b + root);
    }
    const double f = (sk + sp) * (sk - sp) + shift;
    const double g = sk * ek;
    // A block graded upwards has so small a top that the shifted rotation would be the identity,
    // and the chase would change nothing: go without shift, by the entries themselves.
    if (std::abs(g) <= 0x1p-100 * std::abs(f))
        return {sk, ek};
    return {f, g};
}

void bidiagonal_iteration::start(std::size_t lo, std::size_t hi)
{
    if (steps == max_steps)
        throw convergence_error(
            "SVD: the bidiagonal QR iteration did not converge within its steps");
    ++steps;
    const auto [f, g] = first_bulge(lo, hi);
    current = {.lo = lo,
               .hi = hi,
               .row = lo,
               .f = f,
               .g = g,
               .d_above = 0,
               .e_above = 0,
               .deflates = false};
    recorded.make_room(hi - lo);
}

// Without a negligible entry the next chase is that of the same block.
bool bidiagonal_iteration::end_chase()
{
    const auto& [lo, hi, row, f, g, d_above, e_above, deflates] = current;
    e[hi - 1] = f;
    if (deflates || negligible(f, d_above + std::abs(d[hi])) ||
        negligible(d_above, std::abs(f) + e_above) ||
        negligible(d[hi], std::abs(e[hi]) + std::abs(f)))
        return begin_chase();
    start(lo, hi);
    return true;
}

// d[hi] is final: its sign goes to the right basis, and it sinks to its place among the later ones.
// Equal values keep their order.
void bidiagonal_iteration::finish(std::size_t hi)
{
    if (d[hi] < 0) {
        d[hi] = -d[hi];
        recorded.make_room(1);
        recorded.add_right(
            {.kind = row_operation_kind::negation, .first = hi, .second = hi, .c = 0, .s = 0});
    }
    for (std::size_t p = hi + 1; p < n && d[p] > d[p - 1]; ++p) {
        std::swap(d[p - 1], d[p]);
        recorded.make_room(1);
        recorded.add_left(
            {.kind = row_operation_kind::swap, .first = p - 1, .second = p, .c = 0, .s = 0});
        recorded.add_right(
            {.kind = row_operation_kind::swap, .first = p - 1, .second = p, .c = 0, .s = 0});
    }
}

} // namespace numerical::detail
