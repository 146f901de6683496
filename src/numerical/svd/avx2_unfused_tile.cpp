#include "numerical/svd/unfused_tile.hpp"

#include "numerical/gemm/avx2_lanes.hpp"
#include "numerical/svd/unfused_tile_loops.hpp"

// Built for AVX2 without FMA.

namespace numerical::detail {

void avx2_unfused_tile(std::size_t depth, const double* a, const double* b, double* c,
                       std::size_t ldc)
{
    add_to_tile<lanes, real_strip, avx2_unfused_rows>(depth, a, b, c, ldc);
}

void avx2_unfused_complex_tile(std::size_t depth, const double* a, const double* b, double* c,
                               std::size_t ldc)
{
    add_to_tile<lanes, complex_strip, avx2_unfused_rows>(depth, a, b, c, ldc);
}

} // namespace numerical::detail
