#include "numerical/gemm/kernels/block_quotients.hpp"

#include "numerical/gemm/kernels/block_quotients_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx512.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

void avx512_divide_by_block(const block_quotients<double>& block, std::size_t n)
{
    divide_by_block<lanes, real_coefficient<lanes>>(block, n);
}

void avx512_divide_by_complex_block(const block_quotients<std::complex<double>>& block,
                                    std::size_t n)
{
    divide_by_block<lanes, complex_coefficient<lanes>>(block, n);
}

} // namespace numerical::detail
