#pragma once

// Vectors of eight doubles under the names that the lane kernels use. Unnamed, so that what is
// compiled with them stays in its own object.

#include <immintrin.h>

#include <cstddef>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = __m512d;
    using mask = __mmask8;
    static constexpr std::size_t width = 8;
    static constexpr bool fuses = true;

    static vector load(const double* x) { return _mm512_loadu_pd(x); }

    static void store(double* x, vector v) { _mm512_storeu_pd(x, v); }

    static vector all(double x) { return _mm512_set1_pd(x); }

    static vector plus(vector a, vector b) { return _mm512_add_pd(a, b); }

    static vector minus(vector a, vector b) { return _mm512_sub_pd(a, b); }

    static vector times(vector a, vector b) { return _mm512_mul_pd(a, b); }

    static vector over(vector a, vector b) { return _mm512_div_pd(a, b); }

    static vector root(vector a) { return _mm512_sqrt_pd(a); }

    static vector negated(vector a) { return _mm512_mul_pd(a, all(-1.0)); }

    static vector magnitude(vector a) { return _mm512_abs_pd(a); }

    // sum + a·b and sum - a·b, fused.
    static vector more(vector sum, vector a, vector b) { return _mm512_fmadd_pd(a, b, sum); }

    static vector less(vector sum, vector a, vector b) { return _mm512_fnmadd_pd(a, b, sum); }

    static mask none() { return 0; }

    static mask greater(vector a, vector b) { return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ); }

    static mask at_least(vector a, vector b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }

    static mask equal(vector a, vector b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }

    static mask is_nan(vector a) { return _mm512_cmp_pd_mask(a, a, _CMP_UNORD_Q); }

    static mask either(mask a, mask b) { return static_cast<mask>(a | b); }

    static mask both(mask a, mask b) { return static_cast<mask>(a & b); }

    static mask without(mask a, mask b) { return static_cast<mask>(a & ~b); }

    static mask inverted(mask a) { return static_cast<mask>(~a); }

    static vector chosen(mask where, vector yes, vector no)
    {
        return _mm512_mask_blend_pd(where, no, yes);
    }

    static unsigned bits(mask m) { return m; }

    static mask from_bits(unsigned bits) { return static_cast<mask>(bits); }

    // The first `count` elements, 0 < count <= width, and zeros in the lanes after them.
    static vector load_first(const double* x, std::size_t count)
    {
        return _mm512_maskz_loadu_pd(first(count), x);
    }

    static void store_first(double* x, std::size_t count, vector v)
    {
        _mm512_mask_storeu_pd(x, first(count), v);
    }

    static void transpose(vector (&r)[width])
    {
        vector column[width];
        gather_columns(_mm512_unpacklo_pd(r[0], r[1]), _mm512_unpacklo_pd(r[2], r[3]),
                       _mm512_unpacklo_pd(r[4], r[5]), _mm512_unpacklo_pd(r[6], r[7]), column);
        gather_columns(_mm512_unpackhi_pd(r[0], r[1]), _mm512_unpackhi_pd(r[2], r[3]),
                       _mm512_unpackhi_pd(r[4], r[5]), _mm512_unpackhi_pd(r[6], r[7]), column + 1);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < width; ++i)
            r[i] = column[i];
    }

private:
    // Of every second column, from the pairs of rows 0 and 1, 2 and 3, ... in four vectors.
    static void gather_columns(vector t0, vector t1, vector t2, vector t3, vector* column)
    {
        const vector even0 = _mm512_shuffle_f64x2(t0, t1, 0x88);
        const vector even1 = _mm512_shuffle_f64x2(t2, t3, 0x88);
        const vector odd0 = _mm512_shuffle_f64x2(t0, t1, 0xdd);
        const vector odd1 = _mm512_shuffle_f64x2(t2, t3, 0xdd);
        column[0] = _mm512_shuffle_f64x2(even0, even1, 0x88);
        column[2] = _mm512_shuffle_f64x2(odd0, odd1, 0x88);
        column[4] = _mm512_shuffle_f64x2(even0, even1, 0xdd);
        column[6] = _mm512_shuffle_f64x2(odd0, odd1, 0xdd);
    }

    static mask first(std::size_t count)
    {
        return static_cast<mask>((1U << count) - 1U);
    }
};

} // namespace
} // namespace numerical::detail
