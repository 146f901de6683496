#pragma once

// A step of the reduction to Hessenberg form in one pass over the matrix: it is brought up to date
// with the last reflector, A := A - v·zᴴ - 2·y·vᴴ, and multiplied by the next one from both sides,
// A·x and xᴴ·A, while its elements are in registers (Van Zee et al. 2012). Declarations only, so it
// may be included from any target.

#include <cstddef>

namespace numerical::detail {

// Rows [from, to) of a matrix in columns [left, right), which are whole lines. Counts, strides and
// indices are in elements; complex data is interleaved (real, imaginary).
struct hessenberg_rows
{
    double* matrix;
    std::size_t stride;
    std::size_t from;
    std::size_t to;
    std::size_t left;
    std::size_t right;
    std::size_t column; // one of these, whose updated entries are copied
    bool upwards;       // from the last row to the first
};

// Rows go in blocks of at most so many columns, of which L1 holds the vectors and some rows.
constexpr std::size_t hessenberg_columns_at_once = 640;
constexpr std::size_t complex_hessenberg_columns_at_once = 512;

// By the indices of the matrix.
struct hessenberg_vectors
{
    const double* v; // conjugated
    const double* z; // zᴴ
    const double* x; // conjugated
    const double* y;
    double* product; // A·x
    double* u;       // gains what the rows have in xᴴ·A
    double* copied;  // of the column
};

// Products are fused but in the portable form. The sums of u are taken by groups of rows, counted
// from the first one: the bits depend on how the rows are divided among calls.
using hessenberg_kernel = void (*)(const hessenberg_rows& rows, const hessenberg_vectors& vectors);
void run_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors);
void avx2_run_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors);
void avx512_run_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors);
void run_complex_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors);
void avx2_run_complex_hessenberg_step(const hessenberg_rows& rows,
                                      const hessenberg_vectors& vectors);
void avx512_run_complex_hessenberg_step(const hessenberg_rows& rows,
                                        const hessenberg_vectors& vectors);

} // namespace numerical::detail
