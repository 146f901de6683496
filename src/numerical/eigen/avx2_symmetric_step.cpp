#include "numerical/eigen/symmetric_step.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"

#include "numerical/eigen/hermitian_step_loops.hpp"
#include "numerical/eigen/symmetric_step_loops.hpp"

namespace numerical::detail {

void avx2_run_symmetric_step(const step_rows& rows, const step_vectors& vectors)
{
    symmetric_step<lanes, 2>(rows, vectors);
}

void avx2_run_hermitian_step(const step_rows& rows, const step_vectors& vectors)
{
    hermitian_step<lanes, 1>(rows, vectors);
}

} // namespace numerical::detail
