#include "numerical/nonsymmetric/hessenberg_step.hpp"

#include "numerical/gemm/kernels/lanes/sse2.hpp"

#include "numerical/nonsymmetric/hessenberg_step_loops.hpp"

namespace numerical::detail {
namespace {

struct unfused_lanes : lanes
{
    static vector more(vector sum, vector a, vector b) { return plus(sum, times(a, b)); }

    static vector less(vector sum, vector a, vector b) { return minus(sum, times(a, b)); }

    static vector alternating(double x) { return _mm_setr_pd(-x, x); }

    static vector swapped(vector z) { return _mm_shuffle_pd(z, z, 1); }

    static double fold(vector v) { return _mm_cvtsd_f64(plus(v, swapped(v))); }

    static double alternating_fold(vector v) { return _mm_cvtsd_f64(minus(v, swapped(v))); }
};

} // namespace

void run_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors)
{
    hessenberg_step<unfused_lanes, 2>(rows, vectors);
}

void run_complex_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors)
{
    complex_hessenberg_step<unfused_lanes, 1>(rows, vectors);
}

} // namespace numerical::detail
