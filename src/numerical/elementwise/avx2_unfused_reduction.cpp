#include "numerical/elementwise/reduction_kernels.hpp"

#include "numerical/elementwise/reduction_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

struct four_numbers
{
    using type = __m256d;
    static constexpr std::size_t width = 4;

    static type zero() { return _mm256_setzero_pd(); }

    static type load(const double* p) { return _mm256_loadu_pd(p); }

    static void store(double* p, type x) { _mm256_storeu_pd(p, x); }

    static type least(type x, type best) { return _mm256_min_pd(x, best); }

    static type greatest(type x, type best) { return _mm256_max_pd(x, best); }

    static type either_nan(type marks, type x, type y)
    {
        return _mm256_or_pd(marks, _mm256_cmp_pd(x, y, _CMP_UNORD_Q));
    }

    static bool any(type marks) { return _mm256_movemask_pd(marks) != 0; }
};

} // namespace

constexpr reduction_kernels avx2_unfused_reduction = reduction_by<four_numbers>;

} // namespace numerical::detail
