#include "numerical/svd/chase_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"

#include "numerical/svd/chase_loops.hpp"

namespace numerical::detail {

bool avx2_upper_chase_16(double* row, std::size_t stride)
{
    return upper_chase<16>(row, stride);
}

bool avx2_upper_chase_32(double* row, std::size_t stride)
{
    return upper_chase<32>(row, stride);
}

} // namespace numerical::detail
