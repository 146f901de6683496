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

    static void transpose(vector& r0, vector& r1, vector& r2, vector& r3)
    {
        const vector t0 = _mm256_unpacklo_pd(r0, r1);
        const vector t1 = _mm256_unpackhi_pd(r0, r1);
        const vector t2 = _mm256_unpacklo_pd(r2, r3);
        const vector t3 = _mm256_unpackhi_pd(r2, r3);
        r0 = _mm256_permute2f128_pd(t0, t2, 0x20);
        r1 = _mm256_permute2f128_pd(t1, t3, 0x20);
        r2 = _mm256_permute2f128_pd(t0, t2, 0x31);
        r3 = _mm256_permute2f128_pd(t1, t3, 0x31);
    }

    // Element e of matrix l goes to to[e·width + l].
    static void interleave(const double* const* from, std::size_t count, double* to)
    {
        std::size_t e = 0;
        for (; e + width <= count; e += width) {
            vector r0 = load(from[0] + e);
            vector r1 = load(from[1] + e);
            vector r2 = load(from[2] + e);
            vector r3 = load(from[3] + e);
            transpose(r0, r1, r2, r3);
            store(to + e * width, r0);
            store(to + (e + 1) * width, r1);
            store(to + (e + 2) * width, r2);
            store(to + (e + 3) * width, r3);
        }
        for (; e < count; ++e)
            store(to + e * width, _mm256_setr_pd(from[0][e], from[1][e], from[2][e], from[3][e]));
    }

    static void separate(const double* from, std::size_t count, double* const* to)
    {
        std::size_t e = 0;
        for (; e + width <= count; e += width) {
            vector r0 = load(from + e * width);
            vector r1 = load(from + (e + 1) * width);
            vector r2 = load(from + (e + 2) * width);
            vector r3 = load(from + (e + 3) * width);
            transpose(r0, r1, r2, r3);
            store(to[0] + e, r0);
            store(to[1] + e, r1);
            store(to[2] + e, r2);
            store(to[3] + e, r3);
        }
        for (; e < count; ++e)
            for (std::size_t l = 0; l < width; ++l)
                to[l][e] = from[e * width + l];
    }
};

} // namespace
} // namespace numerical::detail
