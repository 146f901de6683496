#include "numerical/elementwise/sequence_kernels.hpp"

namespace numerical::detail {

void avx2_fused_sequence(double delta, double first, double start, double* out, std::size_t n)
{
    for (int j = 0; j < static_cast<int>(n); ++j)
        out[j] = __builtin_fma(delta, first + j, start);
}

} // namespace numerical::detail
