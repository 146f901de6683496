#pragma once

// The squared singular values of a bidiagonal matrix by the QL iteration on BᵀB, which finds them
// to the accuracy of the largest one: a square with an error of ε·‖B‖² leaves one of ε·‖B‖²/σ in σ.
// The small ones are brought nearer by their Rayleigh quotients, whose error is at most the square
// of the residual over the gap to the next value (Parlett 1998, chapter 11).

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <optional>
#include <span>

namespace numerical::detail {

// A bidiagonal matrix by the squares of its elements, with what has been subtracted from its
// squared singular values before.
struct bidiagonal_squares
{
    std::span<const double> q;
    std::span<const double> e; // q.size() - 1
    double shift;
};

// The squared values less the shift, ascending. Those that are less than `accurate_from` with it
// have errors that leave some ε of the largest value in their roots. Nothing where they lie so near
// to each other or to zero that it isn't sure. convergence_error as root_free_ql, after max_steps.
std::optional<aligned_vector<double>>
squared_values_by_ql(const bidiagonal_squares& of, double accurate_from, std::size_t max_steps);

} // namespace numerical::detail
