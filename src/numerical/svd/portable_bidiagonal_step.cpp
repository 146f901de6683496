#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/gemm/kernels/lanes/unfused_sse2.hpp"

#include "numerical/svd/bidiagonal_step_loops.hpp"

namespace numerical::detail {

const bidiagonal_step_kernels real_step{update_tile<real_numbers<unfused_lanes>, 1>,
                                        multiply_tile<real_numbers<unfused_lanes>>,
                                        follow_column<real_numbers<unfused_lanes>>};
const bidiagonal_step_kernels complex_step{update_tile<complex_numbers<unfused_lanes>, 1>,
                                           multiply_tile<complex_numbers<unfused_lanes>>,
                                           follow_column<complex_numbers<unfused_lanes>>};

} // namespace numerical::detail
