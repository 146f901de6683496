#include "numerical/nonsymmetric/strip_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/nonsymmetric/strip_loops.hpp"

namespace numerical::detail {

void avx2_reflect_strip(double* rows, const double* reflectors, std::size_t count)
{
    reflect_real_strip<lanes>(rows, reflectors, count);
}

void avx2_reflect_complex_strip(double* rows, const double* reflectors, std::size_t count)
{
    reflect_complex_strip<lanes>(rows, reflectors, count);
}

} // namespace numerical::detail
