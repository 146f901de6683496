#include "numerical/elementwise/truth_kernels.hpp"

#include "numerical/elementwise/avx2_truth_lanes.hpp"
#include "numerical/elementwise/truth_loops.hpp"

namespace numerical::detail {

constexpr truth_kernels avx2_unfused_truths = truth_kernels_with<avx2_truth_lanes>;

} // namespace numerical::detail
