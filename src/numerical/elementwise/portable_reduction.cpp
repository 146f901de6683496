#include "numerical/elementwise/reduction_kernels.hpp"

#include "numerical/elementwise/reduction_loops.hpp"

#include <emmintrin.h>

namespace numerical::detail {
namespace {

// SSE2, which every x86-64 processor has.
struct two_numbers
{
    using type = __m128d;
    static constexpr std::size_t width = 2;

    static type zero() { return _mm_setzero_pd(); }

    static type load(const double* p) { return _mm_loadu_pd(p); }

    static void store(double* p, type x) { _mm_storeu_pd(p, x); }

    static type least(type x, type best) { return _mm_min_pd(x, best); }

    static type greatest(type x, type best) { return _mm_max_pd(x, best); }

    static type either_nan(type marks, type x, type y)
    {
        return _mm_or_pd(marks, _mm_cmpunord_pd(x, y));
    }

    static bool any(type marks) { return _mm_movemask_pd(marks) != 0; }
};

} // namespace

constexpr reduction_kernels portable_reduction = reduction_by<two_numbers>;

} // namespace numerical::detail
