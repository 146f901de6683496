#include "numerical/eigen/chase_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"

#include "numerical/eigen/chase_loops.hpp"

namespace numerical::detail {

bool avx2_chase_16(const chase_blocks& at, double* reflector)
{
    return chase<16>(at, reflector);
}

bool avx2_chase_32(const chase_blocks& at, double* reflector)
{
    return chase<32>(at, reflector);
}

} // namespace numerical::detail
