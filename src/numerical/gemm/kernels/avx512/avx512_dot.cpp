#include "numerical/gemm/kernels/dot.hpp"

#include "numerical/gemm/kernels/dot_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx512.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

double avx512_dot(const double* a, const double* b, std::size_t n)
{
    return dot<lanes>(a, b, n);
}

} // namespace numerical::detail
