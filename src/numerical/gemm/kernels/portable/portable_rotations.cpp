#include "numerical/gemm/kernels/lanes/sse2.hpp"
#include "numerical/gemm/kernels/rotation_loops.hpp"

// Built for the baseline.

namespace numerical::detail {

void rotate_chain(double* strip, const rotation_wave& wave)
{
    rotate_strip<lanes>(rotate_part_of_chain<lanes>, strip, wave);
}

void rotate_wave(double* strip, const rotation_wave& wave)
{
    rotate_strip<lanes>(rotate_part_of_wave<lanes>, strip, wave);
}

} // namespace numerical::detail
