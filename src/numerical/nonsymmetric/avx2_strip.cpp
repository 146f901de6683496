#include "numerical/nonsymmetric/strip_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/nonsymmetric/strip_loops.hpp"

namespace numerical::detail {

// As many vectors of each of three rows as 16 registers hold; complex sums need more registers.
void avx2_reflect_strip(double* rows, const double* reflectors, std::size_t count,
                        std::size_t doubles)
{
    constexpr std::size_t vectors = 4;
    static_assert(strip_doubles % (vectors * lanes::width) == 0);
    for (std::size_t j = 0; j < doubles; j += vectors * lanes::width)
        real_columns<lanes, vectors>(rows + j, reflectors, count);
}

void avx2_reflect_complex_strip(double* rows, const double* reflectors, std::size_t count,
                                std::size_t doubles)
{
    constexpr std::size_t vectors = 3;
    static_assert(strip_doubles % (vectors * lanes::width) == 0);
    for (std::size_t j = 0; j < doubles; j += vectors * lanes::width)
        complex_columns<lanes, vectors>(rows + j, reflectors, count);
}

} // namespace numerical::detail
