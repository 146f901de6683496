#include "numerical/gemm/kernels/scale.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/scale_loops.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

void avx512_divide(double* x, double divisor, std::size_t n)
{
    divide<lanes>(x, divisor, n);
}

std::size_t avx512_divide_complex(double* z, const smith_divisor& by, std::size_t n)
{
    return divide_complex<lanes>(z, by, n);
}

std::size_t avx512_multiply(double* z, const double* factors, std::size_t step, std::size_t n)
{
    return multiply_complex<lanes>(z, factors, step, n);
}

} // namespace numerical::detail
