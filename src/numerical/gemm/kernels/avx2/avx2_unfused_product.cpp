#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/unfused_loops.hpp"

// Built for AVX2 without FMA.

namespace numerical::detail {

void avx2_unfused(const unfused_operands<double>& p)
{
    multiply_in_tiles<lanes, unfused_tile_rows, 2>(p);
}

void avx2_unfused(const unfused_operands<std::complex<double>>& p)
{
    multiply_in_tiles<lanes, unfused_tile_rows, 2>(p);
}

} // namespace numerical::detail
