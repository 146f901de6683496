#pragma once

// Sweeps of the root-free QL iteration that follow one another down the matrix, two rows apart: a
// sweep's step is a chain of two quotients, so that four of them in the lanes of a vector take the
// time of one. What a sweep has made of a row is the next one's input a step later. Each lane does
// the steps of a sweep by itself, nothing is fused, and the bits are the same on every path.
// Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t sweeps_of_wave = 4;
constexpr std::size_t rows_between_sweeps = 2;

// Squares below it count as zero: their roots are below 1e-140, and quotients of them would
// have lost digits.
constexpr double least_square = 1e-280;

// A sweep with a shift, between two rows: gamma is the entry that the next rotation acts on less
// the shift, p is gamma²/c², with c² and s² the squares of the last rotation's cosine and sine.
struct ql_sweep
{
    double shift;
    double gamma;
    double p;
    double cosine;
    double sine;
};

// Takes sweep j, which has passed all rows below, through the rows from + 2j down to `to` + 2j of
// the diagonal d and the squared subdiagonal e, for from >= to. A step of row i gives d[i + 1] and
// e[i + 1]; what stands where the next step of a sweep is to write them, in the rows `to` + 2, + 4
// and + 6, means nothing.
void run_ql_wave(double* d, double* e, std::size_t from, std::size_t to,
                 ql_sweep (&sweeps)[sweeps_of_wave]);
void avx2_unfused_run_ql_wave(double* d, double* e, std::size_t from, std::size_t to,
                              ql_sweep (&sweeps)[sweeps_of_wave]);

} // namespace numerical::detail
