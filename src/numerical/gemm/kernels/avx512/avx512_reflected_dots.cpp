#include "numerical/gemm/kernels/reflected_dots.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/reflected_dots_loops.hpp"

namespace numerical::detail {

// Four columns: 16 of the 32 registers hold their sums.
void avx512_reflected_dots(const reflected_dots_pass& pass)
{
    pass_over_columns<lanes, 4>(pass);
}

} // namespace numerical::detail
