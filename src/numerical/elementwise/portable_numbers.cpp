#include "numerical/elementwise/number_kernels.hpp"

#include "numerical/elementwise/number_loops.hpp"

namespace numerical::detail {

constexpr number_kernels portable_numbers =
    number_kernels_with<portable_stream, integers_by_rint<portable_stream>>;

} // namespace numerical::detail
