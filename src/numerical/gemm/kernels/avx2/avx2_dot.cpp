#include "numerical/gemm/kernels/dot.hpp"

#include "numerical/gemm/kernels/dot_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

double avx2_dot(const double* a, const double* b, std::size_t n)
{
    return dot<lanes>(a, b, n);
}

} // namespace numerical::detail
