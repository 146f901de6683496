#pragma once

// Vectors of four doubles under the names that the lane kernels use. Unnamed, so that what is
// compiled with them stays in its own object.

#include <immintrin.h>

#include <cstddef>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = __m256d;
    using mask = __m256d;
    static constexpr std::size_t width = 4;
    static constexpr bool fuses = true;

    static vector load(const double* x) { return _mm256_loadu_pd(x); }

    static void store(double* x, vector v) { _mm256_storeu_pd(x, v); }

    static vector all(double x) { return _mm256_set1_pd(x); }

    static vector plus(vector a, vector b) { return _mm256_add_pd(a, b); }

    static vector minus(vector a, vector b) { return _mm256_sub_pd(a, b); }

    static vector times(vector a, vector b) { return _mm256_mul_pd(a, b); }

    static vector over(vector a, vector b) { return _mm256_div_pd(a, b); }

    static vector root(vector a) { return _mm256_sqrt_pd(a); }

    static vector negated(vector a) { return _mm256_xor_pd(a, all(-0.0)); }

    static vector magnitude(vector a) { return _mm256_andnot_pd(all(-0.0), a); }

    // sum + a·b and sum - a·b, fused.
    static vector more(vector sum, vector a, vector b) { return _mm256_fmadd_pd(a, b, sum); }

    static vector less(vector sum, vector a, vector b) { return _mm256_fnmadd_pd(a, b, sum); }

    static mask none() { return _mm256_setzero_pd(); }

    static mask greater(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_GT_OQ); }

    static mask at_least(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_GE_OQ); }

    static mask equal(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }

    static mask is_nan(vector a) { return _mm256_cmp_pd(a, a, _CMP_UNORD_Q); }

    static mask either(mask a, mask b) { return _mm256_or_pd(a, b); }

    static mask both(mask a, mask b) { return _mm256_and_pd(a, b); }

    static mask without(mask a, mask b) { return _mm256_andnot_pd(b, a); }

    static mask inverted(mask a) { return _mm256_xor_pd(a, equal(none(), none())); }

    static vector chosen(mask where, vector yes, vector no)
    {
        return _mm256_blendv_pd(no, yes, where);
    }

    static unsigned bits(mask m) { return static_cast<unsigned>(_mm256_movemask_pd(m)); }

    static mask from_bits(unsigned bits)
    {
        const auto lane = [=](unsigned l) { return -static_cast<long long>(bits >> l & 1U); };
        return _mm256_castsi256_pd(_mm256_setr_epi64x(lane(0), lane(1), lane(2), lane(3)));
    }

    // The first `count` elements, 0 < count <= width, and anything in the lanes after them.
    static vector load_first(const double* x, std::size_t count)
    {
        const auto lane = [=](std::size_t l) { return l < count ? -1LL : 0LL; };
        return _mm256_maskload_pd(x, _mm256_setr_epi64x(-1LL, lane(1), lane(2), lane(3)));
    }

    // A masked store takes many times as long.
    static void store_first(double* x, std::size_t count, vector v)
    {
        if (count == width)
            return store(x, v);
        const __m128d low = _mm256_castpd256_pd128(v);
        if (count == 1)
            return _mm_store_sd(x, low);
        _mm_storeu_pd(x, low);
        if (count == 3)
            _mm_store_sd(x + 2, _mm256_extractf128_pd(v, 1));
    }

    static void transpose(vector (&r)[width])
    {
        const vector t0 = _mm256_unpacklo_pd(r[0], r[1]);
        const vector t1 = _mm256_unpackhi_pd(r[0], r[1]);
        const vector t2 = _mm256_unpacklo_pd(r[2], r[3]);
        const vector t3 = _mm256_unpackhi_pd(r[2], r[3]);
        r[0] = _mm256_permute2f128_pd(t0, t2, 0x20);
        r[1] = _mm256_permute2f128_pd(t1, t3, 0x20);
        r[2] = _mm256_permute2f128_pd(t0, t2, 0x31);
        r[3] = _mm256_permute2f128_pd(t1, t3, 0x31);
    }
};

} // namespace
} // namespace numerical::detail
