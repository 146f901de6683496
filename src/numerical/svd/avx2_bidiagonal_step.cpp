#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"

#include "numerical/svd/bidiagonal_step_loops.hpp"

namespace numerical::detail {

const bidiagonal_step_kernels avx2_real_step{update_tile<real_numbers<lanes>, 2>,
                                             multiply_tile<real_numbers<lanes>>,
                                             follow_column<real_numbers<lanes>>};
const bidiagonal_step_kernels avx2_complex_step{update_tile<complex_numbers<lanes>, 1>,
                                                multiply_tile<complex_numbers<lanes>>,
                                                follow_column<complex_numbers<lanes>>};

} // namespace numerical::detail
