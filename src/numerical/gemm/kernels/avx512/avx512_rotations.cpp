#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/rotation_loops.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

void avx512_rotate_chain(double* strip, const rotation_wave& wave)
{
    rotate_strip<lanes>(rotate_part_of_chain<lanes>, strip, wave);
}

void avx512_rotate_wave(double* strip, const rotation_wave& wave)
{
    rotate_strip<lanes>(rotate_part_of_wave<lanes>, strip, wave);
}

} // namespace numerical::detail
