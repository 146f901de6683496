#include "numerical/gemm/kernels/reflect_panel.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/reflect_panel_loops.hpp"

namespace numerical::detail {

void avx512_reflect_panel(const panel_pass& pass)
{
    reflect_columns<lanes>(pass);
}

} // namespace numerical::detail
