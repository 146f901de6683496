#include "numerical/svd/twisted_kernels.hpp"

#include "numerical/svd/twisted_loops.hpp"
#include "numerical/vector_math/portable_lanes.hpp"

namespace numerical::detail {

void portable_twisted(const squared_bidiagonal& of, twisted_batch& batch, double* room)
{
    run_twisted<vector_math::one>(of, batch, room);
}

} // namespace numerical::detail
