#include "numerical/eigen/chase_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"

#include "numerical/eigen/chase_loops.hpp"

namespace numerical::detail {

bool avx512_chase_16(const chase_blocks& at, double* reflector)
{
    return chase<16>(at, reflector);
}

bool avx512_chase_32(const chase_blocks& at, double* reflector)
{
    return chase<32>(at, reflector);
}

} // namespace numerical::detail
