#include "numerical/elementwise/arithmetic_kernels.hpp"

#include "numerical/elementwise/arithmetic_loops.hpp"

namespace numerical::detail {

constexpr arithmetic_kernels avx2_arithmetic = arithmetic_of_this_target;

} // namespace numerical::detail
