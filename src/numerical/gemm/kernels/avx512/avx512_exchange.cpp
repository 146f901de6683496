#include "numerical/gemm/kernels/exchange.hpp"

#include "numerical/gemm/kernels/exchange_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx512.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

void avx512_exchange(double* x, double* y, std::size_t n)
{
    exchange<lanes>(x, y, n);
}

} // namespace numerical::detail
