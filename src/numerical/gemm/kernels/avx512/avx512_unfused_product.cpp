#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/unfused_loops.hpp"

// Built for AVX-512F alone. In the tall tile, one vector wide, every element of A has one use, and
// its multiplication takes it from memory: a broadcast by itself would wait for the adders.

namespace numerical::detail {

void avx512_unfused(const unfused_operands<double>& p)
{
    multiply_in_tiles<lanes, avx512_unfused_tile_rows, 1>(p);
}

void avx512_unfused(const unfused_operands<std::complex<double>>& p)
{
    multiply_in_tiles<lanes, avx512_unfused_tile_rows, 1>(p);
}

} // namespace numerical::detail
