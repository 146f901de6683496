#pragma once

// The part of a rank-one problem D + rho2·z·zᵀ that needs no solving. A pole whose element of z is
// negligible is an eigenvalue already; of two poles that lie too near to each other a rotation
// of their columns makes one negligible (Bunch, Nielsen and Sorensen 1978; the tests and the
// tolerance are those of Dongarra and Sorensen 1987, with 8·eps). What is left has well separated
// poles and no small z, so the secular equation has a root strictly between neighbours.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

constexpr double deflation_tolerance = 0x1p-49; // 8·eps, relative to the largest of d and z

struct deflation
{
    merge_partition partition;              // `active` ascends by d
    std::vector<column_rotation> rotations; // to be applied to the basis first, in this order
};

// Updates d, z and the column types by the rotations; d need not be sorted.
deflation deflate(aligned_vector<double>& d, aligned_vector<double>& z, double rho2,
                  std::vector<unsigned int>& types);

} // namespace numerical::detail
