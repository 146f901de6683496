#include "numerical/elementwise/boolean_kernels.hpp"

#include "numerical/elementwise/boolean_loops.hpp"
#include "numerical/elementwise/sse2_boolean_lanes.hpp"

namespace numerical::detail {

constexpr boolean_kernels portable_booleans = boolean_kernels_with<sse2_boolean_lanes>;

} // namespace numerical::detail
