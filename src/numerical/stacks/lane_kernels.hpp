#pragma once

// Small matrices of a stack, as many side by side as a vector has lanes: element (i, j) of all of
// them in one vector. Declarations only, so it may be included from any target.
//
// In each lane the operations are those of the single call, in its order, so that the bits are the
// same. A kernel returns the set of lanes, one bit each, that it can't vouch for: those where the
// single call fails, and those with a NaN or with magnitudes at which the single call leaves its
// common way. What it wrote for them is of no use, and the caller makes the single call instead.

#include <cstddef>

namespace numerical::detail {

// Orders up to which LU and Cholesky factorizations are done in lanes: those whose single call
// makes no product that lanes can't follow, and whose elements stay in L2.
constexpr std::size_t greatest_real_lane_order = 32;
constexpr std::size_t greatest_complex_lane_order = 16;
constexpr std::size_t most_lanes = 8;

// The operands of `most_lanes` or fewer matrices, complex numbers as pairs of doubles. `scratch`
// has room for `lane_scratch` doubles of each matrix.
struct lane_operands
{
    std::size_t rows;
    std::size_t cols;
    std::size_t depth;
    const double* const* a;
    const double* const* b;
    double* const* out;
    double* const* second_out;
    double* const* third_out;
    double* scratch;
};

// A matrix and what is solved for beside it, with an element behind each row.
constexpr std::size_t lane_scratch = 2 * greatest_real_lane_order * (greatest_real_lane_order + 1);

// Longer columns take dots in several sums.
constexpr std::size_t greatest_qr_rows = 15;

// Single matrices go through the kernel too, and of larger ones one takes longer than by blocks.
constexpr std::size_t greatest_complex_qr_rows = 16;

// One product C = A·B of dense real matrices.
struct small_product
{
    std::size_t rows;
    std::size_t cols;
    std::size_t depth;
    const double* a;
    const double* b;
    double* c;
};

using small_product_kernel = void (*)(const small_product&);

using lane_kernel = unsigned (*)(const lane_operands&);

struct lane_kernels
{
    std::size_t width;

    // out = A⁻¹·b for `rows` × `rows` matrices A and one right-hand side, as lu_decomposition's
    // solve_vector; for `cols` right-hand sides, as its solve_matrix.
    lane_kernel solve_vector;
    lane_kernel solve_matrix;

    // out = A⁻¹.
    lane_kernel inverse;

    // The diagonal of U, and after it, as one double, the sign of the permutation.
    lane_kernel lu_diagonal;

    // The lower factor L of A = L·Lᴴ, with zeros above the diagonal. Beyond the first block of 16
    // the single call's trailing product fuses its sums or not, as its size has it.
    lane_kernel cholesky;
    lane_kernel cholesky_fused_trailing; // real only

    // out = A·B for rows × depth and depth × cols: products and sums rounded, or fused.
    lane_kernel multiply_rounded;
    lane_kernel multiply_fused; // real only

    // The thin factors Q and R, real and on the vector paths only, null elsewhere; rows × cols with
    // cols <= rows <= greatest_qr_rows. The columns decide whether the sums of Q are fused, both
    // whether those of the reflectors' products are.
    lane_kernel narrow_qr;     // neither
    lane_kernel fused_gram_qr; // the reflectors' products
    lane_kernel fused_qr;      // both
};

// Jacobi's methods. They aren't the single call's, and nothing is fused: their
// bits are the same on all paths.
struct jacobi_kernels
{
    std::size_t width;

    // The ascending eigenvalues and, of the first, the eigenvectors in columns, of `rows` × `rows`
    // matrices; the lower triangles are read.
    lane_kernel eigh;
    lane_kernel eigenvalues;

    // The descending singular values and, of the first, U and Vᴴ, of rows × cols matrices.
    lane_kernel svd;
    lane_kernel singular_values;

    // The pseudo-inverses.
    lane_kernel pinv;
};

// The thin factors Q and R of complex matrices, rows × cols with cols <= rows <=
// greatest_complex_qr_rows, by Householder's reflectors. They aren't the single call's, and nothing
// is fused: their bits are the same on all paths.
struct reflector_kernels
{
    std::size_t width;
    lane_kernel qr;
};

// Products one by one: the sum ascends from zero, rounded or fused.
struct small_product_kernels
{
    small_product_kernel by_rows_rounded;
    small_product_kernel by_rows_fused;
    small_product_kernel vector_rounded; // of one column
    small_product_kernel vector_fused;
};

extern const small_product_kernels avx2_small_products;
extern const small_product_kernels avx512_small_products;

extern const reflector_kernels portable_complex_reflectors;
extern const reflector_kernels avx2_complex_reflectors;
extern const reflector_kernels avx512_complex_reflectors;

extern const jacobi_kernels portable_jacobi;
extern const jacobi_kernels portable_complex_jacobi;
extern const jacobi_kernels avx2_jacobi;
extern const jacobi_kernels avx2_complex_jacobi;
extern const jacobi_kernels avx512_jacobi;
extern const jacobi_kernels avx512_complex_jacobi;

extern const lane_kernels portable_real_lanes;
extern const lane_kernels portable_complex_lanes;
extern const lane_kernels avx2_real_lanes;
extern const lane_kernels avx2_complex_lanes;
extern const lane_kernels avx512_real_lanes;
extern const lane_kernels avx512_complex_lanes;

} // namespace numerical::detail
