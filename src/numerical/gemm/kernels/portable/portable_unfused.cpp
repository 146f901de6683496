#include "numerical/gemm/kernels/lanes/sse2.hpp"
#include "numerical/gemm/kernels/unfused_loops.hpp"

// Built for the baseline.

namespace numerical::detail {

void portable_unfused(const unfused_operands<double>& p)
{
    multiply_in_tiles<lanes, unfused_tile_rows, 2>(p);
}

void portable_unfused(const unfused_operands<std::complex<double>>& p)
{
    multiply_in_tiles<lanes, unfused_tile_rows, 2>(p);
}

} // namespace numerical::detail
