#include "numerical/gemm/kernels/reflected_dots.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/reflected_dots_loops.hpp"

namespace numerical::detail {

// Two columns: 8 of the 16 registers hold their sums.
void avx2_reflected_dots(const reflected_dots_pass& pass)
{
    pass_over_columns<lanes, 2>(pass);
}

} // namespace numerical::detail
