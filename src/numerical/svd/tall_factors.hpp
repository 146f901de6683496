#pragma once

// The Householder factors that a least-squares problem begins with: those of the matrix or, where
// it is wide, of its adjoint, taken times a power of two that brings its largest part near 1.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/tall_qr.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>
#include <optional>

namespace numerical::detail {

template <class T>
struct tall_factors
{
    std::size_t rows;               // the greater extent of the matrix
    std::size_t order;              // the smaller one, of R
    int exponent;                   // of the power of two
    qr_reflections<T> qr;           // A·2^exponent = Q·R, or its adjoint
    std::optional<tall_qr<T>> tall; // Q in place of the blocks, where this is faster
    bool is_estimated;              // whether an estimate may show that R is clearly regular

    // Of a matrix whose rows lie without gaps. `largest` is its largest real or imaginary part,
    // which is above zero. The fastest blocking is by rows where the matrix is tall.
    tall_factors(block_view<const T> a, double largest,
                 reflector_blocking blocking = reflector_blocking::fastest);

    // ‖R‖·‖R⁻¹‖ by Frobenius norms; infinite or NaN if there is a zero on R's diagonal. A lower
    // bound where that is enough to see that R isn't clearly regular.
    double condition() const;

    // Whether R is clearly regular, with a condition below 1/cutoff. R⁻¹ isn't formed where an
    // estimate of its norm is enough to say so.
    bool has_condition_below(double cutoff) const;

    // R⁻¹, or nothing unless this condition says that R is clearly regular.
    std::optional<aligned_vector<T>> regular_inverse() const;

    // B := QᴴB, whose first `order` rows are R's, and B := Q·B for a B of `rows` rows.
    void apply_adjoint(aligned_vector<T>& b, std::size_t cols) const;
    void apply(aligned_vector<T>& b, std::size_t cols) const;

    // The first `order` rows of B := R⁻¹·B, and R⁻ᴴ·B. By substitution: a product with the inverse
    // would leave residuals that grow with the condition of R (Higham 2002, section 14.1).
    void solve(aligned_vector<T>& b, std::size_t cols) const;
    void solve_adjoint(aligned_vector<T>& b, std::size_t cols) const;
};

// Orders from which the estimate of a norm takes less time than the inverse.
constexpr std::size_t least_estimated_order = 128;

// Whether a condition is well below those that rounding with this many rows can't distinguish from
// infinity.
bool is_clearly_regular(double condition, std::size_t rows);

} // namespace numerical::detail
