#include "numerical/nonsymmetric/reflector_lanes.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/nonsymmetric/reflector_lanes_loops.hpp"

namespace numerical::detail {

bool avx512_reflectors_of_three(const double* x, double* made)
{
    return real_reflectors<lanes>(x, made);
}

bool avx512_complex_reflectors_of_three(const double* x, double* made)
{
    return complex_reflectors<lanes>(x, made);
}

} // namespace numerical::detail
