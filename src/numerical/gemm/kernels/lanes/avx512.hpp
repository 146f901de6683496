#pragma once

// Vectors of eight doubles under the names that loops written once for all widths use. Unnamed, so
// that what is compiled with them stays in its own object: the linker may never take it for another
// processor's.

#include <immintrin.h>

#include <cstddef>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = __m512d;
    static constexpr std::size_t width = 8;

    static vector load(const double* x) { return _mm512_loadu_pd(x); }

    static void store(double* x, vector v) { _mm512_storeu_pd(x, v); }

    // Some of the lanes: the first `count` > 0, or all.
    using selection = __mmask8;

    static selection first(std::size_t count)
    {
        return static_cast<__mmask8>(count < width ? (1U << count) - 1U : 0xFFU);
    }

    // Zeros in the other lanes.
    static vector load_those(const double* x, selection those)
    {
        return _mm512_maskz_loadu_pd(those, x);
    }

    static void store_those(double* x, selection those, vector v)
    {
        _mm512_mask_storeu_pd(x, those, v);
    }

    static vector zero() { return _mm512_setzero_pd(); }

    static vector all(double x) { return _mm512_set1_pd(x); }

    static vector plus(vector a, vector b) { return _mm512_add_pd(a, b); }

    static vector minus(vector a, vector b) { return _mm512_sub_pd(a, b); }

    static vector times(vector a, vector b) { return _mm512_mul_pd(a, b); }

    static vector quotient(vector a, vector b) { return _mm512_div_pd(a, b); }

    static vector root(vector v) { return _mm512_sqrt_pd(v); }

    // sum + a·b and sum - a·b, fused.
    static vector more(vector sum, vector a, vector b) { return _mm512_fmadd_pd(a, b, sum); }

    static vector less(vector sum, vector a, vector b) { return _mm512_fnmadd_pd(a, b, sum); }

    // The even, and the odd, lanes of a and b in turn: (a0, b0, a2, b2, ...).
    static vector even_lanes(vector a, vector b) { return _mm512_unpacklo_pd(a, b); }

    static vector odd_lanes(vector a, vector b) { return _mm512_unpackhi_pd(a, b); }

    // The sum of all lanes, by halves.
    static double fold(vector v) { return _mm512_reduce_add_pd(v); }

    // The sum of the even lanes less that of the odd ones, each by halves.
    static double alternating_fold(vector v)
    {
        return fold(_mm512_mul_pd(_mm512_setr_pd(1, -1, 1, -1, 1, -1, 1, -1), v));
    }

    // Lane l is the sum of the lanes of rows[l], taken by halves.
    static vector sums_of(const vector (&rows)[width])
    {
        return folded(folded(pair_sums(rows[0], rows[1]), pair_sums(rows[2], rows[3])),
                      folded(pair_sums(rows[4], rows[5]), pair_sums(rows[6], rows[7])));
    }

    // The same of complex products, each in two rows: of the first one, which has the products of
    // equal parts, the odd lanes are subtracted.
    static vector complex_sums_of(const vector (&rows)[width])
    {
        return folded(
            folded(complex_pair_sums(rows[0], rows[1]), complex_pair_sums(rows[2], rows[3])),
            folded(complex_pair_sums(rows[4], rows[5]), complex_pair_sums(rows[6], rows[7])));
    }

    // The complex number re + i·im throughout.
    static vector all(double re, double im)
    {
        return _mm512_unpacklo_pd(_mm512_set1_pd(re), _mm512_set1_pd(im));
    }

    // (-x, x, -x, x, ...).
    static vector alternating(double x) { return all(-x, x); }

    // The parts of the complex numbers of a vector exchanged.
    static vector swapped(vector z) { return _mm512_permute_pd(z, 0x55); }

    // i·z for the complex numbers z of a vector.
    static vector turned(vector z)
    {
        const vector signs = _mm512_setr_pd(-1, 1, -1, 1, -1, 1, -1, 1);
        return _mm512_mul_pd(signs, _mm512_permute_pd(z, 0x55));
    }

    // The forms of a vector's complex numbers that products with them use.
    struct complex_factor
    {
        vector z;
        vector turned_z;

        explicit complex_factor(vector numbers) : z(numbers), turned_z(turned(numbers)) {}

        // (re + i·im)·z by the textbook formula, each product and each sum rounded. Vectors hold
        // each part of a factor twice.
        vector times(vector re, vector im) const
        {
            return _mm512_add_pd(_mm512_mul_pd(re, z), _mm512_mul_pd(im, turned_z));
        }

        vector times(double re, double im) const { return times(all(re), all(im)); }
    };

    static vector magnitude(vector v) { return _mm512_abs_pd(v); }

    // The bits that are set in both.
    static vector both(vector a, vector b)
    {
        return _mm512_castsi512_pd(
            _mm512_and_si512(_mm512_castpd_si512(a), _mm512_castpd_si512(b)));
    }

    // The larger one in each lane, b where a is NaN.
    static vector larger(vector a, vector b) { return _mm512_max_pd(a, b); }

    // The largest lane of v, none of them NaN.
    static double fold_larger(vector v) { return _mm512_reduce_max_pd(v); }

    // A bit for each lane that is the same number in both.
    static unsigned equal_to(vector a, vector b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }

    // Whether each lane is zero or of a magnitude from `least` to `greatest`.
    static bool all_zero_or_within(vector x, double least, double greatest)
    {
        const vector size = magnitude(x);
        const int is_zero = _mm512_cmp_pd_mask(size, zero(), _CMP_EQ_OQ);
        const int is_large = _mm512_cmp_pd_mask(size, all(least), _CMP_GE_OQ);
        const int is_small = _mm512_cmp_pd_mask(all(greatest), size, _CMP_GE_OQ);
        return (is_zero | (is_large & is_small)) == 0xFF;
    }

    // The magnitude of the first with the sign of the second.
    static vector with_sign_of(vector size, vector sign)
    {
        const __m512i bit = _mm512_castpd_si512(all(-0.0));
        return _mm512_castsi512_pd(
            _mm512_or_si512(_mm512_castpd_si512(_mm512_abs_pd(size)),
                            _mm512_and_si512(bit, _mm512_castpd_si512(sign))));
    }

    // A bit for each lane where a > b.
    static unsigned greater_than(vector a, vector b)
    {
        return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ);
    }

    static bool has_nan(vector x) { return _mm512_cmp_pd_mask(x, x, _CMP_UNORD_Q) != 0; }

private:
    // In each quarter the sums of its two lanes of a and of b.
    static vector pair_sums(vector a, vector b)
    {
        return _mm512_add_pd(_mm512_unpacklo_pd(a, b), _mm512_unpackhi_pd(a, b));
    }

    static vector complex_pair_sums(vector a, vector b)
    {
        return _mm512_fmadd_pd(_mm512_unpackhi_pd(a, b), alternating(1), _mm512_unpacklo_pd(a, b));
    }

    // The sums of neighbouring quarters, those of a first.
    static vector folded(vector a, vector b)
    {
        return _mm512_add_pd(_mm512_shuffle_f64x2(a, b, 0x88), _mm512_shuffle_f64x2(a, b, 0xdd));
    }
};

} // namespace
} // namespace numerical::detail
