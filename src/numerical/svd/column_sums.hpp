#pragma once

// Combinations of many rows, sums[j] += Σᵢ coefficients[i]·rows[i·stride + j] with i ascending, for
// narrow tiles whose rows lie far apart: the sums stay in registers while the rows stream by, and
// rows are asked for ahead. Declarations only, so it may be included from any target. Counts and
// strides are in elements, n ≤ column_tile; complex rows are interleaved (real, imaginary) doubles
// and come as real rows of twice the length, each with two coefficients.

#include <complex>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t column_tile = 64; // doubles

void add_column_sums(double* sums, const double* coefficients, const double* rows,
                     std::size_t stride, std::size_t count, std::size_t n);
void avx2_add_column_sums(double* sums, const double* coefficients, const double* rows,
                          std::size_t stride, std::size_t count, std::size_t n);
void avx512_add_column_sums(double* sums, const double* coefficients, const double* rows,
                            std::size_t stride, std::size_t count, std::size_t n);

// sums[j] with coefficients[2i], sums[column_tile + j] with coefficients[2i + 1].
void add_column_sum_pairs(double* sums, const double* coefficients, const double* rows,
                          std::size_t stride, std::size_t count, std::size_t n);
void avx2_add_column_sum_pairs(double* sums, const double* coefficients, const double* rows,
                               std::size_t stride, std::size_t count, std::size_t n);
void avx512_add_column_sum_pairs(double* sums, const double* coefficients, const double* rows,
                                 std::size_t stride, std::size_t count, std::size_t n);

// By path, for both element types; no conjugation. n elements fill at most a tile.
void add_column_sums_on(int path, double* sums, const double* coefficients, const double* rows,
                        std::size_t stride, std::size_t count, std::size_t n);
void add_column_sums_on(int path, std::complex<double>* sums,
                        const std::complex<double>* coefficients, const std::complex<double>* rows,
                        std::size_t stride, std::size_t count, std::size_t n);

} // namespace numerical::detail
