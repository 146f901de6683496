#include "numerical/eigen/symmetric_column.hpp"

#include "numerical/gemm/kernels/lanes/sse2.hpp"

#include "numerical/eigen/symmetric_column_loops.hpp"

namespace numerical::detail {
namespace {

// A vector is a complex number, or two real ones. Nothing is fused.
struct unfused_lanes : lanes
{
    static vector more(vector sum, vector a, vector b) { return plus(sum, times(a, b)); }

    static vector less(vector sum, vector a, vector b) { return minus(sum, times(a, b)); }

    static double fold(vector v) { return _mm_cvtsd_f64(_mm_add_sd(v, _mm_unpackhi_pd(v, v))); }

    static vector swapped(vector z) { return _mm_shuffle_pd(z, z, 1); }

    static vector alternating(double x) { return _mm_setr_pd(-x, x); }
};

} // namespace

column_kernels symmetric_column()
{
    return symmetric_column_of<unfused_lanes>();
}

column_kernels hermitian_column()
{
    return hermitian_column_of<unfused_lanes>();
}

} // namespace numerical::detail
