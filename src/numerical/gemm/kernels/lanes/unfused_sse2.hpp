#pragma once

// Vectors of two doubles whose products are rounded before they are added, for the portable forms
// of loops that other paths fuse. Unnamed, as those of the other widths are.

#include "numerical/gemm/kernels/lanes/sse2.hpp"

namespace numerical::detail {
namespace {

struct unfused_lanes : lanes
{
    static vector more(vector sum, vector a, vector b) { return plus(sum, times(a, b)); }

    static vector less(vector sum, vector a, vector b) { return minus(sum, times(a, b)); }

    static vector sums_of(const vector (&rows)[width])
    {
        return plus(_mm_unpacklo_pd(rows[0], rows[1]), _mm_unpackhi_pd(rows[0], rows[1]));
    }
};

} // namespace
} // namespace numerical::detail
