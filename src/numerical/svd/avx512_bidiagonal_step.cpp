#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"

#include "numerical/svd/bidiagonal_step_loops.hpp"

namespace numerical::detail {

const bidiagonal_step_kernels avx512_real_step{update_tile<real_numbers<lanes>, 8>,
                                               multiply_tile<real_numbers<lanes>>,
                                               follow_column<real_numbers<lanes>>};
const bidiagonal_step_kernels avx512_complex_step{update_tile<complex_numbers<lanes>, 4>,
                                                  multiply_tile<complex_numbers<lanes>>,
                                                  follow_column<complex_numbers<lanes>>};

} // namespace numerical::detail
