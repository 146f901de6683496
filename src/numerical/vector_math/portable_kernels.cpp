#include "numerical/vector_math/kernels.hpp"

#include "numerical/vector_math/loops.hpp"
#include "numerical/vector_math/portable_lanes.hpp"

namespace numerical::vector_math {

constexpr kernel_set portable_kernels = kernels_over<one>();

} // namespace numerical::vector_math
