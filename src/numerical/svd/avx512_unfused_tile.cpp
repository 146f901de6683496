#include "numerical/svd/unfused_tile.hpp"

#include "numerical/gemm/avx512_lanes.hpp"
#include "numerical/svd/unfused_tile_loops.hpp"

// Built for AVX-512F alone. With one vector to a row every element of A has one use, and its
// multiplication takes it from memory: a broadcast by itself would wait for the adders.

namespace numerical::detail {

void avx512_unfused_tile(std::size_t depth, const double* a, const double* b, double* c,
                         std::size_t ldc)
{
    add_to_tile<lanes, real_strip, avx512_unfused_rows>(depth, a, b, c, ldc);
}

void avx512_unfused_complex_tile(std::size_t depth, const double* a, const double* b, double* c,
                                 std::size_t ldc)
{
    add_to_tile<lanes, complex_strip, avx512_unfused_rows>(depth, a, b, c, ldc);
}

} // namespace numerical::detail
