#pragma once

// The wave of ql_kernels.hpp for eight lanes of any make. For the kernels' own sources only:
// unnamed, as the lanes are.

#include "numerical/eigen/ql_kernels.hpp"

namespace numerical::detail {
namespace {

template <class Lanes>
class ql_wave
{
public:
    // All lanes begin like the first; each begins anew when its turn comes.
    ql_wave(const double* shifts, double last_entry)
        : shift(Lanes::load(shifts)), gamma(Lanes::minus(Lanes::all(last_entry), shift)),
          p(Lanes::times(gamma, gamma))
    {
    }

    void step(const double* d, const double* e);
    void begin_from(std::size_t lane);
    void end_upto(std::size_t lane, const double* d, const double* e);

    // What the last lane's step has left of the row below.
    void store_last_entry(double* d) const { Lanes::store_last(d, entries); }

    void store_last_square(double* e) const { Lanes::store_last(e, squares); }

private:
    using vector = typename Lanes::vector;

    const vector shift;
    vector gamma;                  // the entry that the next rotation acts on less the shift
    vector p;                      // gamma²/cosine
    vector cosine = Lanes::all(1); // squares, of the last rotation
    vector sine = Lanes::all(0);
    vector given = Lanes::all(0);   // entries that the last step began with
    vector entries = Lanes::all(0); // what it left, and the step before it
    vector squares = Lanes::all(0);
    vector entries_before = Lanes::all(0);
    vector squares_before = Lanes::all(0);

    typename Lanes::mask before(std::size_t lane) const
    {
        return Lanes::less(Lanes::places(), Lanes::all(double(lane)));
    }
};

// A row of each lane, of the first one *d and *e. Both reciprocals are had from p before the step,
// and its square with one product after them. Where p vanishes the rotation is an exchange.
template <class Lanes>
[[gnu::always_inline]] inline void ql_wave<Lanes>::step(const double* d, const double* e)
{
    const vector one = Lanes::all(1);
    given = Lanes::handed_on(entries_before, d);
    const vector square = Lanes::handed_on(squares_before, e);
    entries_before = entries;
    squares_before = squares;
    const vector length = Lanes::plus(p, square);
    const vector reciprocal = Lanes::over(one, length);
    const vector turned =
        Lanes::minus(Lanes::times(p, Lanes::minus(given, shift)), Lanes::times(square, gamma));
    const vector by_p = Lanes::times(Lanes::times(turned, turned), Lanes::over(one, p));
    squares = Lanes::times(sine, length);
    vector next = Lanes::times(turned, reciprocal);
    vector next_p = Lanes::times(by_p, reciprocal);
    vector next_cosine = Lanes::times(p, reciprocal);
    sine = Lanes::times(square, reciprocal);
    const auto vanishes = Lanes::less(p, Lanes::all(least_square));
    if (Lanes::any(vanishes)) [[unlikely]] {
        const vector zero = Lanes::all(0);
        next = Lanes::chosen(vanishes, zero, next);
        next_p = Lanes::chosen(vanishes, Lanes::times(cosine, square), next_p);
        next_cosine = Lanes::chosen(vanishes, zero, next_cosine);
        sine = Lanes::chosen(vanishes, one, sine);
    }
    entries = Lanes::plus(gamma, Lanes::minus(given, next));
    gamma = next;
    p = next_p;
    cosine = next_cosine;
}

// This lane was given the last row of the block. The lanes after it have nothing yet.
template <class Lanes>
void ql_wave<Lanes>::begin_from(std::size_t lane)
{
    const auto earlier = before(lane);
    const vector first = Lanes::minus(given, shift);
    gamma = Lanes::chosen(earlier, gamma, first);
    p = Lanes::chosen(earlier, p, Lanes::times(first, first));
    cosine = Lanes::chosen(earlier, cosine, Lanes::all(1));
    sine = Lanes::chosen(earlier, sine, Lanes::all(0));
}

// This lane has passed all rows and leaves the first of them. The lanes before it have nothing
// more.
template <class Lanes>
[[gnu::always_inline]] inline void ql_wave<Lanes>::end_upto(std::size_t lane, const double* d,
                                                            const double* e)
{
    const vector entry = Lanes::plus(shift, gamma);
    const vector square = Lanes::times(sine, p);
    step(d, e);
    const auto ended = before(lane + 1);
    entries = Lanes::chosen(ended, entry, entries);
    squares = Lanes::chosen(ended, square, squares);
}

// The first lane takes row m - 1 - t in step t; the others follow, until the last takes row l.
template <class Lanes>
void run_ql_wave_in(double* d, double* e, std::size_t l, std::size_t m, const double* shifts)
{
    ql_wave<Lanes> wave(shifts, d[m]);
    std::size_t row = m; // above it
    for (std::size_t lane = 1; lane < sweeps_of_wave; ++lane) {
        for (std::size_t t = 0; t < rows_between_sweeps; ++t) {
            --row;
            wave.step(d + row, e + row);
        }
        wave.begin_from(lane);
    }
    --row;
    wave.step(d + row, e + row);
    wave.store_last_entry(&d[m]);
    while (row-- > l) {
        wave.step(d + row, e + row);
        wave.store_last_entry(&d[row + rows_of_wave + 1]);
        wave.store_last_square(&e[row + rows_of_wave + 1]);
    }
    for (std::size_t past = 0; past <= rows_of_wave; ++past) { // the first lane's end
        if (past % rows_between_sweeps == 0)
            wave.end_upto(past / rows_between_sweeps, d + l, e + l);
        else
            wave.step(d + l, e + l);
        wave.store_last_entry(&d[l + rows_of_wave - past]);
        wave.store_last_square(&e[l + rows_of_wave - past]);
    }
}

} // namespace
} // namespace numerical::detail
