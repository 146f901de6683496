#include "numerical/elementwise/truth_kernels.hpp"

#include "numerical/elementwise/sse2_truth_lanes.hpp"
#include "numerical/elementwise/truth_loops.hpp"

namespace numerical::detail {

constexpr truth_kernels portable_truths = truth_kernels_with<sse2_truth_lanes>;

} // namespace numerical::detail
