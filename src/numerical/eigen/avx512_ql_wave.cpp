#include "numerical/eigen/ql_wave_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = __m512d;
    using mask = __mmask8;

    static vector load(const double* x) { return _mm512_loadu_pd(x); }

    static vector all(double x) { return _mm512_set1_pd(x); }

    static vector places() { return _mm512_setr_pd(0, 1, 2, 3, 4, 5, 6, 7); }

    static vector plus(vector a, vector b) { return _mm512_add_pd(a, b); }

    static vector minus(vector a, vector b) { return _mm512_sub_pd(a, b); }

    static vector times(vector a, vector b) { return _mm512_mul_pd(a, b); }

    static vector over(vector a, vector b) { return _mm512_div_pd(a, b); }

    static mask less(vector a, vector b) { return _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ); }

    static bool any(mask those) { return those != 0; }

    static vector chosen(mask those, vector a, vector b)
    {
        return _mm512_mask_blend_pd(those, b, a);
    }

    // Each lane's number in the next lane, and *first in the first one.
    static vector handed_on(vector v, const double* first)
    {
        return _mm512_permutex2var_pd(v, _mm512_setr_epi64(8, 0, 1, 2, 3, 4, 5, 6),
                                      _mm512_set1_pd(*first));
    }

    static void store_last(double* x, vector v)
    {
        _mm512_mask_storeu_pd(x, 1, _mm512_permutex2var_pd(v, _mm512_set1_epi64(7), v));
    }
};

} // namespace

void avx512_run_ql_wave(double* d, double* e, std::size_t l, std::size_t m, const double* shifts)
{
    run_ql_wave_in<lanes>(d, e, l, m, shifts);
}

} // namespace numerical::detail
