#include "numerical/svd/twisted_kernels.hpp"

#include "numerical/svd/twisted_loops.hpp"
#include "numerical/vector_math/avx2_lanes.hpp"

namespace numerical::detail {

void avx2_twisted(const squared_bidiagonal& of, twisted_batch& batch, double* room)
{
    run_twisted<vector_math::four>(of, batch, room);
}

} // namespace numerical::detail
