#include "numerical/gemm/kernels/axpy.hpp"

#include "numerical/gemm/kernels/axpy_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

void avx2_scaled_add(double* y, const double* x, double alpha, std::size_t n)
{
    scaled_add<lanes>(y, x, alpha, n);
}

} // namespace numerical::detail
