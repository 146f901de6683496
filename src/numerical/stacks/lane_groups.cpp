#include "numerical/stacks/lane_groups.hpp"

namespace numerical::detail {

const lane_kernels& lane_kernels_for(double)
{
    return *choose(gemm_path_current(), &portable_real_lanes, &avx2_real_lanes, &avx512_real_lanes);
}

const lane_kernels& lane_kernels_for(std::complex<double>)
{
    return *choose(gemm_path_current(), &portable_complex_lanes, &avx2_complex_lanes,
                   &avx512_complex_lanes);
}

namespace {

// The path whose vectors suit so many matrices, of kernels whose bits are the same on all.
int path_for(std::size_t count)
{
    const int path = gemm_path_current();
    if (path == avx512_path && count <= avx2_jacobi.width && cpu_features().avx2)
        return avx2_path;
    return path;
}

} // namespace

const jacobi_kernels& jacobi_kernels_for(double, std::size_t count)
{
    return *choose(path_for(count), &portable_jacobi, &avx2_jacobi, &avx512_jacobi);
}

const jacobi_kernels& jacobi_kernels_for(std::complex<double>, std::size_t count)
{
    return *choose(path_for(count), &portable_complex_jacobi, &avx2_complex_jacobi,
                   &avx512_complex_jacobi);
}

const reflector_kernels& complex_reflectors_for(std::size_t count)
{
    return *choose(path_for(count), &portable_complex_reflectors, &avx2_complex_reflectors,
                   &avx512_complex_reflectors);
}

} // namespace numerical::detail
