#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/gemm/kernels/lanes/unfused_sse2.hpp"

#include "numerical/svd/bidiagonal_step_loops.hpp"

namespace numerical::detail {

const bidiagonal_step_kernels real_step{update_tile<unfused_lanes, 1, 2, 2>,
                                        multiply_tile<unfused_lanes, 1>};
const bidiagonal_step_kernels complex_step{update_tile<unfused_lanes, 2, 1, 1>,
                                           multiply_tile<unfused_lanes, 2>};

} // namespace numerical::detail
