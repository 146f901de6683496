#include "numerical/gemm/kernels/axpy.hpp"

#include "numerical/gemm/kernels/axpy_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx512.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

void avx512_scaled_add(double* y, const double* x, double alpha, std::size_t n)
{
    scaled_add<lanes>(y, x, alpha, n);
}

} // namespace numerical::detail
