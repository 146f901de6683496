#include "numerical/eigen/ql_wave_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// Two vectors of four lanes.
struct lanes
{
    struct vector
    {
        __m256d low;
        __m256d high;
    };

    using mask = vector;

    static vector load(const double* x) { return {_mm256_loadu_pd(x), _mm256_loadu_pd(x + 4)}; }

    static vector all(double x) { return {_mm256_set1_pd(x), _mm256_set1_pd(x)}; }

    static vector places() { return {_mm256_setr_pd(0, 1, 2, 3), _mm256_setr_pd(4, 5, 6, 7)}; }

    static vector plus(vector a, vector b)
    {
        return {_mm256_add_pd(a.low, b.low), _mm256_add_pd(a.high, b.high)};
    }

    static vector minus(vector a, vector b)
    {
        return {_mm256_sub_pd(a.low, b.low), _mm256_sub_pd(a.high, b.high)};
    }

    static vector times(vector a, vector b)
    {
        return {_mm256_mul_pd(a.low, b.low), _mm256_mul_pd(a.high, b.high)};
    }

    static vector over(vector a, vector b)
    {
        return {_mm256_div_pd(a.low, b.low), _mm256_div_pd(a.high, b.high)};
    }

    static mask less(vector a, vector b)
    {
        return {_mm256_cmp_pd(a.low, b.low, _CMP_LT_OQ), _mm256_cmp_pd(a.high, b.high, _CMP_LT_OQ)};
    }

    static bool any(mask those)
    {
        return _mm256_movemask_pd(_mm256_or_pd(those.low, those.high)) != 0;
    }

    static vector chosen(mask those, vector a, vector b)
    {
        return {_mm256_blendv_pd(b.low, a.low, those.low),
                _mm256_blendv_pd(b.high, a.high, those.high)};
    }

    // Each lane's number in the next lane, and *first in the first one.
    static vector handed_on(vector v, const double* first)
    {
        const __m256d low = _mm256_permute4x64_pd(v.low, _MM_SHUFFLE(2, 1, 0, 3));
        const __m256d high = _mm256_permute4x64_pd(v.high, _MM_SHUFFLE(2, 1, 0, 3));
        return {_mm256_blend_pd(low, _mm256_broadcast_sd(first), 1), _mm256_blend_pd(high, low, 1)};
    }

    static void store_last(double* x, vector v)
    {
        _mm_storeh_pd(x, _mm256_extractf128_pd(v.high, 1));
    }
};

} // namespace

void avx2_unfused_run_ql_wave(double* d, double* e, std::size_t l, std::size_t m,
                              const double* shifts)
{
    run_ql_wave_in<lanes>(d, e, l, m, shifts);
}

} // namespace numerical::detail
