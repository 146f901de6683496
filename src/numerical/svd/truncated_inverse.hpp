#pragma once

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"

#include <cstddef>

namespace numerical::detail {

struct truncated_values
{
    aligned_vector<double> values; // all of them, descending
    std::size_t rank;              // how many count
};

// X := A⁺·X for the row-major n × n matrix A, n > 0, of whose singular values those up to `cutoff`
// times the largest count as zero. X has n rows.
//
// By the bidiagonal form A = U·B·Vᴴ (Golub and Kahan 1965) and the decomposition of B by divide and
// conquer. The reflections of U and V are applied to X: with few columns that takes far less than
// making the singular vectors of A. The reduction has its fixed form by panels and else its
// fastest, which differ in rounding. A's entries must be finite and of the order of 1.
// convergence_error as of divide_bidiagonal.
template <class T>
truncated_values apply_truncated_inverse(aligned_vector<T> a, std::size_t n, double cutoff,
                                         aligned_vector<T>& x, reflector_blocking blocking);

} // namespace numerical::detail
