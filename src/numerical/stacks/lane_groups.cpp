#include "numerical/stacks/lane_groups.hpp"

namespace numerical::detail {

const lane_kernels& lane_kernels_for(double)
{
    const int path = gemm_path_current();
    if (path == avx512_path)
        return avx512_real_lanes;
    return path == avx2_path ? avx2_real_lanes : portable_real_lanes;
}

const lane_kernels& lane_kernels_for(std::complex<double>)
{
    const int path = gemm_path_current();
    if (path == avx512_path)
        return avx512_complex_lanes;
    return path == avx2_path ? avx2_complex_lanes : portable_complex_lanes;
}

const jacobi_kernels& jacobi_kernels_for(std::size_t count)
{
    const int path = gemm_path_current();
    if (path == avx512_path && (count > avx2_jacobi.width || !cpu_features().avx2))
        return avx512_jacobi;
    return path == portable_path ? portable_jacobi : avx2_jacobi;
}

} // namespace numerical::detail
