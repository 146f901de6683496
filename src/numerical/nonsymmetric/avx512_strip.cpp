#include "numerical/nonsymmetric/strip_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/nonsymmetric/strip_loops.hpp"

namespace numerical::detail {

namespace {

constexpr std::size_t all_vectors = strip_doubles / lanes::width;

// Fewer take no less time, as each reflector waits for the one before.
constexpr std::size_t few_vectors = 4;

} // namespace

void avx512_reflect_strip(double* rows, const double* reflectors, std::size_t count,
                          std::size_t doubles)
{
    if (doubles > few_vectors * lanes::width)
        real_columns<lanes, all_vectors>(rows, reflectors, count);
    else
        real_columns<lanes, few_vectors>(rows, reflectors, count);
}

void avx512_reflect_complex_strip(double* rows, const double* reflectors, std::size_t count,
                                  std::size_t doubles)
{
    if (doubles > few_vectors * lanes::width)
        complex_columns<lanes, all_vectors>(rows, reflectors, count);
    else
        complex_columns<lanes, few_vectors>(rows, reflectors, count);
}

} // namespace numerical::detail
