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

    // Two rows become pairs of a column each; four such vectors, the pairs of eight rows, become
    // the columns `first`, `first` + 2, ... of which they hold the pairs.
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

    // Element e of matrix l goes to to[e·width + l].
    static void interleave(const double* const* from, std::size_t count, double* to)
    {
        vector r[width];
        std::size_t e = 0;
        for (; e + width <= count; e += width) {
#pragma GCC unroll 8
            for (std::size_t l = 0; l < width; ++l)
                r[l] = load(from[l] + e);
            transpose(r);
#pragma GCC unroll 8
            for (std::size_t l = 0; l < width; ++l)
                store(to + (e + l) * width, r[l]);
        }
        if (e == count)
            return;
        const mask rest = static_cast<mask>((1U << (count - e)) - 1U);
#pragma GCC unroll 8
        for (std::size_t l = 0; l < width; ++l)
            r[l] = _mm512_maskz_loadu_pd(rest, from[l] + e);
        transpose(r);
#pragma GCC unroll 8
        for (std::size_t l = 0; l < width; ++l)
            if (e + l < count)
                store(to + (e + l) * width, r[l]);
    }

    static void separate(const double* from, std::size_t count, double* const* to)
    {
        vector r[width];
        for (std::size_t e = 0; e < count; e += width) {
            const std::size_t live = count - e < width ? count - e : width;
#pragma GCC unroll 8
            for (std::size_t l = 0; l < width; ++l)
                r[l] = load(from + (l < live ? e + l : e) * width);
            transpose(r);
            const mask those = static_cast<mask>((1U << live) - 1U);
#pragma GCC unroll 8
            for (std::size_t l = 0; l < width; ++l)
                _mm512_mask_storeu_pd(to[l] + e, those, r[l]);
        }
    }
};

} // namespace
} // namespace numerical::detail
