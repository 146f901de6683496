#pragma once

// The singular values alone of a real bidiagonal matrix, each to high relative accuracy, by the
// differential quotient-difference algorithm with shifts (Fernando and Parlett 1994; Parlett and
// Marques 2000). The squares qₖ of the diagonal and eₖ of the superdiagonal go through
//
//     q̂ₖ = dₖ + eₖ    êₖ = eₖ·(qₖ₊₁/q̂ₖ)    dₖ₊₁ = dₖ·(qₖ₊₁/q̂ₖ) - τ    from d₁ = q₁ - τ
//
// which subtracts the shift τ from all squared singular values. Nothing else is subtracted, so that
// no digit is lost. A shift above the smallest of them shows by a negative d, and is taken back.
//
// Where no more is wanted than values that are accurate compared to the largest one, the rest is
// left to the QL iteration, which takes several shifts at a time (squared_values.hpp), once the
// smallest values are found and those that are left can be told from zero.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// What the error of a value is compared to. Those of a dense matrix can be had to absolute accuracy
// only.
enum class value_accuracy { relative, absolute };

// d has the diagonal, the first n - 1 elements of e the superdiagonal, n = d.size(); finite, of any
// sign. The singular values, descending. Values below 2^-900 times the largest entry may lose
// digits. convergence_error "SVD: the dqds iteration did not converge within its steps" after
// max_steps transformations in all, or QL sweeps of a block.
aligned_vector<double> dqds_values(const aligned_vector<double>& d, const aligned_vector<double>& e,
                                   std::size_t max_steps,
                                   value_accuracy accuracy = value_accuracy::relative);

} // namespace numerical::detail
