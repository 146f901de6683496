#include "numerical/eigen/symmetric_step.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"

#include "numerical/eigen/hermitian_step_loops.hpp"
#include "numerical/eigen/symmetric_step_loops.hpp"

namespace numerical::detail {

void avx512_run_symmetric_step(const step_rows& rows, const step_vectors& vectors)
{
    symmetric_step<lanes, 4>(rows, vectors);
}

void avx512_run_hermitian_step(const step_rows& rows, const step_vectors& vectors)
{
    hermitian_step<lanes, 2>(rows, vectors);
}

} // namespace numerical::detail
