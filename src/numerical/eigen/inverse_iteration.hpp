#pragma once

// Eigenvectors of a real symmetric tridiagonal matrix T for some of its eigenvalues by inverse
// iteration (Peters and Wilkinson 1979; Ipsen 1997). It takes time in proportion to n for each
// vector, but has no proof for eigenvalues that lie together (Dhillon 1998). So the vectors are
// made orthogonal to each other at every step, whatever the distance of their values, and then
// tried; where they fail there is divide and conquer.

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <optional>
#include <span>

namespace numerical::detail {

// The most vectors for which it is tried: the work of orthogonalisation grows with the square of
// their number, and small problems have no use for it.
constexpr std::size_t least_iterated_order = 64;

constexpr std::size_t most_iterated_vectors(std::size_t n)
{
    return n < least_iterated_order ? 0 : n / 10;
}

// Vectors that are iterated together: of each step, they are solved for on threads and then made
// orthogonal to those found before and to each other.
constexpr std::size_t vectors_together = 8;

// The unit vectors as rows, in the order of the values, if all residuals |T·z - λ·z| are below
// 4·√n·ε·‖T‖ and all products of two vectors below 4·√n·ε. d has the diagonal and e the
// subdiagonal, n elements each. The same bits at every number of threads.
std::optional<aligned_vector<double>> iterated_vectors(const aligned_vector<double>& d,
                                                       const aligned_vector<double>& e,
                                                       std::span<const double> values);

} // namespace numerical::detail
