#include "numerical/gemm/kernels/scale.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/scale_loops.hpp"

// Built without -mfma, so that no product and sum can be fused.

namespace numerical::detail {

void avx2_unfused_divide(double* x, double divisor, std::size_t n)
{
    divide<lanes>(x, divisor, n);
}

std::size_t avx2_unfused_divide_complex(double* z, const smith_divisor& by, std::size_t n)
{
    return divide_complex<lanes>(z, by, n);
}

std::size_t avx2_unfused_multiply(double* z, const double* factors, std::size_t step, std::size_t n)
{
    return multiply_complex<lanes>(z, factors, step, n);
}

} // namespace numerical::detail
