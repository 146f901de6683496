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

namespace {

// The path whose vectors suit so many matrices.
int jacobi_path(std::size_t count)
{
    const int path = gemm_path_current();
    if (path == avx512_path && count <= avx2_jacobi.width && cpu_features().avx2)
        return avx2_path;
    return path;
}

} // namespace

const jacobi_kernels& jacobi_kernels_for(double, std::size_t count)
{
    const int path = jacobi_path(count);
    if (path == avx512_path)
        return avx512_jacobi;
    return path == avx2_path ? avx2_jacobi : portable_jacobi;
}

const jacobi_kernels& jacobi_kernels_for(std::complex<double>, std::size_t count)
{
    const int path = jacobi_path(count);
    if (path == avx512_path)
        return avx512_complex_jacobi;
    return path == avx2_path ? avx2_complex_jacobi : portable_complex_jacobi;
}

} // namespace numerical::detail
