#pragma once

// Products of a matrix and a vector that read the matrix once, where it lies. Declarations only, so
// it may be included from any target.
//
// To every sum the products are added in ascending order of the position, each fused, in one
// accumulator: the bits of a tile. So the vectors run across sums, several at a time, and never
// along one. Complex operands are given by their parts, as doubles, and strides count doubles; a
// sum takes the products with the real parts of the scaling factor first, then those with the
// imaginary ones, as the complex tiles do.

#include <cstddef>

namespace numerical::detail {

// --- sums[r] += sum over p < depth of A[r, p]·x[p], r < rows
// -------------------------------------- The rows of A are lda apart. `sums` is as long as the most
// rows, whatever their number; what is beyond them is left with any value.
constexpr std::size_t most_rows_of_vector_product = 16;
void avx2_add_rows_times_vector(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums);

// The same for complex rows and a complex x. First the products with the real parts of A are added,
// then those with the imaginary parts. Half as many rows; their real parts are at `sums`, the
// imaginary ones behind the last of them.
constexpr std::size_t most_complex_rows_of_vector_product = 8;

struct complex_rows_times_vector
{
    std::size_t rows;
    std::size_t depth;
    const double* a;
    std::size_t lda;
    const double* x;
    double* sums;
    double* aside;        // depth numbers for each of the most rows
    const double* next_a; // what is asked for meanwhile: the operand A of a next call
};

void avx2_add_complex_rows_times_vector(const complex_rows_times_vector& p);

// --- c[j] += sum over p < depth of x[p·step]·B[p, j], j < cols
// ------------------------------------
void avx2_add_scaled_rows(std::size_t cols, std::size_t depth, const double* x, std::size_t step,
                          const double* b, std::size_t ldb, double* c);

// The same with i·B for a complex B, whose cols doubles are real and imaginary parts in turns.
void avx2_add_turned_scaled_rows(std::size_t cols, std::size_t depth, const double* x,
                                 std::size_t step, const double* b, std::size_t ldb, double* c,
                                 const double* next_b);

} // namespace numerical::detail
