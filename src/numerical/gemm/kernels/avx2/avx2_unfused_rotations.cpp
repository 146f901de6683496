#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/rotation_loops.hpp"

// Built for AVX2 without FMA.

namespace numerical::detail {

void avx2_unfused_rotate_chain(double* strip, const rotation_wave& wave)
{
    rotate_strip<lanes>(rotate_part_of_chain<lanes>, strip, wave);
}

void avx2_unfused_rotate_wave(double* strip, const rotation_wave& wave)
{
    rotate_strip<lanes>(rotate_part_of_wave<lanes>, strip, wave);
}

} // namespace numerical::detail
