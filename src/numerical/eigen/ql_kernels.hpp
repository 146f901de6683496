#pragma once

// Sweeps of the root-free QL iteration that follow one another down the matrix, three rows apart: a
// sweep's step is a chain of a quotient and few products, so that eight of them in the lanes of
// vectors take little more than the time of one. What a sweep has made of a row is the next one's
// input two steps later, which takes the way from lane to lane out of the chain. Each lane does the
// steps of a sweep by itself, nothing is fused, and the bits are the same on every path.
// Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t sweeps_of_wave = 8;
constexpr std::size_t rows_between_sweeps = 3;

// The rows after the first that a wave has begun in when its last sweep begins: it is for blocks of
// more rows than these and one.
constexpr std::size_t rows_of_wave = (sweeps_of_wave - 1) * rows_between_sweeps;

// Squares p below it count as zero. The largest entry is near 1 and no coupling below ε², so that
// what is neglected, 1e-70, counts nowhere, nor does a square of the loop that underflows.
constexpr double least_square = 1e-140;

// Takes the block of rows [l, m], m > l + rows_of_wave, of the diagonal d and the squared
// subdiagonal e through whole sweeps with these shifts, sweeps_of_wave of them, one after another.
void run_ql_wave(double* d, double* e, std::size_t l, std::size_t m, const double* shifts);
void avx2_unfused_run_ql_wave(double* d, double* e, std::size_t l, std::size_t m,
                              const double* shifts);
void avx512_run_ql_wave(double* d, double* e, std::size_t l, std::size_t m, const double* shifts);

} // namespace numerical::detail
