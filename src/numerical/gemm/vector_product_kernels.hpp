#pragma once

// Products of a matrix and a vector that read the matrix once, where it lies. Declarations only, so
// it may be included from any target.
//
// To every sum the products are added in ascending order of the position, each fused, in one
// accumulator: the bits of a tile. So the vectors run across sums, several at a time, and never
// along one. Complex operands are given by their parts, as doubles, and strides count doubles.

#include <cstddef>

namespace numerical::detail {

// --- sums[r] += sum over p < depth of A[r, p]·x[p], r < rows -------------------------------------
// The rows of A are lda apart. `sums` has room for the most rows, whatever their number; beyond
// them it is left with any values.
constexpr std::size_t most_rows_of_vector_product = 24;
void avx2_add_rows_times_vector(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums);

// --- y[r] += sum over p < depth of A[r, p]·x[p], complex, r < rows -------------------------------
// First the products with the real parts of A are added, then those with the imaginary parts. There
// is a row, and a position.
constexpr std::size_t rows_put_aside = 8;

struct complex_rows_times_vector
{
    std::size_t rows;
    std::size_t depth; // complex positions
    const double* a;
    std::size_t lda;
    const double* x;
    double* y;
    std::size_t step; // from one element of y to the next
    double* aside;    // scratch: depth numbers for each row put aside
};

void avx2_add_complex_rows_times_vector(const complex_rows_times_vector& p);

// --- c[j] += sum over p < depth of x[p·step]·B[p, j], j < cols -----------------------------------
struct scaled_rows
{
    std::size_t cols;
    std::size_t depth;
    const double* x;
    std::size_t step;
    const double* b;
    std::size_t ldb;
    double* c;
    const double* next_b = nullptr; // B of the next call, prefetched by the turned form
};

void avx2_add_scaled_rows(const scaled_rows& s);

// The same with i·B for a complex B, whose columns are real and imaginary parts, alternating.
void avx2_add_turned_scaled_rows(const scaled_rows& s);

} // namespace numerical::detail
