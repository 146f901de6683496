#include "numerical/elementwise/reduction_kernels.hpp"

#include "numerical/elementwise/reduction_loops.hpp"

namespace numerical::detail {

constexpr reduction_kernels portable_reduction = reduction_of_this_target;

} // namespace numerical::detail
