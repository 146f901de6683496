#include "numerical/vector_math/kernels.hpp"

#include "numerical/vector_math/avx2_lanes.hpp"
#include "numerical/vector_math/loops.hpp"

namespace numerical::vector_math {

constexpr kernel_set avx2_kernels = kernels_over<four>();

} // namespace numerical::vector_math
