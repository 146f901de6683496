#include "numerical/vector_math/kernels.hpp"

#include "numerical/vector_math/avx512_lanes.hpp"
#include "numerical/vector_math/loops.hpp"

namespace numerical::vector_math {

constexpr kernel_set avx512_kernels = kernels_over<eight>();

} // namespace numerical::vector_math
