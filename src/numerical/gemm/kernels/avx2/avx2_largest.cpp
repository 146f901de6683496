#include "numerical/gemm/kernels/largest.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/largest_loops.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

std::size_t avx2_first_largest(const double* x, std::size_t n)
{
    return first_largest<lanes>(x, n);
}

} // namespace numerical::detail
