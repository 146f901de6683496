#include "numerical/gemm/kernels/exchange.hpp"

#include "numerical/gemm/kernels/exchange_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

void avx2_exchange(double* x, double* y, std::size_t n)
{
    exchange<lanes>(x, y, n);
}

} // namespace numerical::detail
