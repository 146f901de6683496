#include "numerical/elementwise/number_kernels.hpp"

#include "numerical/elementwise/avx2_stream.hpp"
#include "numerical/elementwise/number_loops.hpp"

namespace numerical::detail {

constexpr number_kernels avx2_unfused_numbers = number_kernels_with<avx2_stream>;

} // namespace numerical::detail
