#include "numerical/factor/complex_panel.hpp"

#include "numerical/factor/complex_panel_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"

namespace numerical::detail {

void avx2_reflect_panel(const panel_pass& pass)
{
    reflect_columns<lanes>(pass);
}

} // namespace numerical::detail
