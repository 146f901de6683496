#include "numerical/eigen/symmetric_step.hpp"

#include "numerical/gemm/kernels/lanes/sse2.hpp"

#include "numerical/eigen/symmetric_step_loops.hpp"

namespace numerical::detail {
namespace {

struct unfused_lanes : lanes
{
    static vector more(vector sum, vector a, vector b) { return plus(sum, times(a, b)); }

    static vector less(vector sum, vector a, vector b) { return minus(sum, times(a, b)); }

    static vector sums_of(const vector (&rows)[width])
    {
        return plus(_mm_unpacklo_pd(rows[0], rows[1]), _mm_unpackhi_pd(rows[0], rows[1]));
    }
};

} // namespace

void run_symmetric_step(const step_rows& rows, const step_vectors& vectors)
{
    symmetric_step<unfused_lanes, 2>(rows, vectors);
}

} // namespace numerical::detail
