#include "numerical/nonsymmetric/hessenberg_step.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"

#include "numerical/nonsymmetric/hessenberg_step_loops.hpp"

namespace numerical::detail {

void avx512_run_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors)
{
    hessenberg_step<lanes, 4>(rows, vectors);
}

void avx512_run_complex_hessenberg_step(const hessenberg_rows& rows,
                                        const hessenberg_vectors& vectors)
{
    complex_hessenberg_step<lanes, 2>(rows, vectors);
}

} // namespace numerical::detail
