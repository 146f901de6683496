#include "numerical/gemm/kernels/largest.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/largest_loops.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

std::size_t avx512_first_largest(const double* x, std::size_t n)
{
    return first_largest<lanes>(x, n);
}

} // namespace numerical::detail
