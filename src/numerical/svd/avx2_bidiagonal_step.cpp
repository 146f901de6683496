#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"

#include "numerical/svd/bidiagonal_step_loops.hpp"

namespace numerical::detail {

const bidiagonal_step_kernels avx2_real_step{update_tile<lanes, 1, 2, 2>, multiply_tile<lanes, 1>};
const bidiagonal_step_kernels avx2_complex_step{update_tile<lanes, 2, 2, 1>,
                                                multiply_tile<lanes, 2>};

} // namespace numerical::detail
