#pragma once

// How near shifts are to squared singular values of a bidiagonal matrix, of which the squares qₖ of
// the diagonal and eₖ of the superdiagonal are given. With a shift τ the twisted factorization of
// BᵀB - τ in row k has its pivots from above in the rows before k, from below in those after it
// (Dhillon and Parlett 2004):
//
//     pivot above  qᵢ + sᵢ      sᵢ₊₁ = sᵢ·(eᵢ/(qᵢ + sᵢ)) - τ            from s₀ = -τ
//     pivot below  eᵢ + pᵢ₊₁    pᵢ = pᵢ₊₁·(qᵢ/(eᵢ + pᵢ₊₁)) - τ          up from the last q - τ
//     pivot k      γₖ = sₖ + pₖ + τ
//
// The vector z with zₖ = 1 that the other rows make satisfies (BᵀB - τ)·z = γₖ·(unit vector k). So
// τ + γₖ/‖z‖² is its Rayleigh quotient and |γₖ|/‖z‖ the norm of the residual for τ. The squares of
// its elements have the ratios qᵢ·eᵢ/pivot², whose sums are formed beside the pivots.
// Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t shifts_of_batch = 16;

struct squared_bidiagonal
{
    const double* q;        // rows
    const double* e;        // rows - 1
    const double* products; // q[i]·e[i], rows - 1
    std::size_t rows;
};

// For each shift those of the k of the least |γₖ|.
struct twisted_batch
{
    double shifts[shifts_of_batch];
    double corrections[shifts_of_batch]; // γₖ/‖z‖²
    double residual_squares[shifts_of_batch]; // γₖ²/‖z‖²; infinite or NaN where no γₖ is finite
};

// Both corrections and residuals, with room for 2·shifts_of_batch·rows numbers in `room`. Nothing
// is fused, and the bits are the same on every path.
using twisted_kernel = void (*)(const squared_bidiagonal& of, twisted_batch& batch, double* room);
void portable_twisted(const squared_bidiagonal& of, twisted_batch& batch, double* room);
void avx2_twisted(const squared_bidiagonal& of, twisted_batch& batch, double* room);

} // namespace numerical::detail
