#include "numerical/elementwise/boolean_kernels.hpp"

#include "numerical/elementwise/avx2_boolean_lanes.hpp"
#include "numerical/elementwise/boolean_loops.hpp"

namespace numerical::detail {

constexpr boolean_kernels avx2_unfused_booleans = boolean_kernels_with<avx2_boolean_lanes>;

} // namespace numerical::detail
