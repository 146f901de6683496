#pragma once

// Vectors of four doubles under the names that loops written once for all widths use. Unnamed, so
// that what is compiled with them stays in its own object: the linker may never take it for another
// processor's.

#include <immintrin.h>

#include <cstddef>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = __m256d;
    static constexpr std::size_t width = 4;

    static vector load(const double* x) { return _mm256_loadu_pd(x); }

    static void store(double* x, vector v) { _mm256_storeu_pd(x, v); }

    // Some of the lanes: the first `count`, 0 < count < width. They are loaded and stored in the
    // same parts: a masked store takes many times as long, and a load of the whole would wait for
    // it.
    struct selection
    {
        std::size_t count;
    };

    static selection first(std::size_t count) { return {count}; }

    // Zeros in the other lanes.
    static vector load_those(const double* x, selection those)
    {
        if (those.count == 1)
            return _mm256_zextpd128_pd256(_mm_load_sd(x));
        const __m256d low = _mm256_zextpd128_pd256(_mm_loadu_pd(x));
        return those.count == 2 ? low : _mm256_insertf128_pd(low, _mm_load_sd(x + 2), 1);
    }

    static void store_those(double* x, selection those, vector v)
    {
        const __m128d low = _mm256_castpd256_pd128(v);
        if (those.count == 1)
            return _mm_store_sd(x, low);
        _mm_storeu_pd(x, low);
        if (those.count == 3)
            _mm_store_sd(x + 2, _mm256_extractf128_pd(v, 1));
    }

    static vector zero() { return _mm256_setzero_pd(); }

    static vector all(double x) { return _mm256_set1_pd(x); }

    static vector plus(vector a, vector b) { return _mm256_add_pd(a, b); }

    static vector minus(vector a, vector b) { return _mm256_sub_pd(a, b); }

    static vector times(vector a, vector b) { return _mm256_mul_pd(a, b); }

    static vector quotient(vector a, vector b) { return _mm256_div_pd(a, b); }

    static vector root(vector v) { return _mm256_sqrt_pd(v); }

    // sum + a·b and sum - a·b, fused.
    static vector more(vector sum, vector a, vector b) { return _mm256_fmadd_pd(a, b, sum); }

    static vector less(vector sum, vector a, vector b) { return _mm256_fnmadd_pd(a, b, sum); }

    // The even, and the odd, lanes of a and b in turn: (a0, b0, a2, b2, ...).
    static vector even_lanes(vector a, vector b) { return _mm256_unpacklo_pd(a, b); }

    static vector odd_lanes(vector a, vector b) { return _mm256_unpackhi_pd(a, b); }

    // The sum of all lanes, by halves.
    static double fold(vector v)
    {
        const __m128d pair = halves_added(v);
        return _mm_cvtsd_f64(_mm_add_sd(pair, _mm_unpackhi_pd(pair, pair)));
    }

    // The sum of the even lanes less that of the odd ones, each by halves.
    static double alternating_fold(vector v)
    {
        const __m128d pair = halves_added(v);
        return _mm_cvtsd_f64(_mm_sub_sd(pair, _mm_unpackhi_pd(pair, pair)));
    }

    // Lane l is the sum of the lanes of rows[l], taken by halves.
    static vector sums_of(const vector (&rows)[width])
    {
        const vector first = _mm256_hadd_pd(rows[0], rows[1]);
        const vector second = _mm256_hadd_pd(rows[2], rows[3]);
        return _mm256_add_pd(_mm256_permute2f128_pd(first, second, 0x20),
                             _mm256_permute2f128_pd(first, second, 0x31));
    }

    // The same of complex products, each in two rows: of the first one, which has the products of
    // equal parts, the odd lanes are subtracted.
    static vector complex_sums_of(const vector (&rows)[width])
    {
        const vector first = _mm256_addsub_pd(_mm256_unpacklo_pd(rows[0], rows[1]),
                                              _mm256_unpackhi_pd(rows[0], rows[1]));
        const vector second = _mm256_addsub_pd(_mm256_unpacklo_pd(rows[2], rows[3]),
                                               _mm256_unpackhi_pd(rows[2], rows[3]));
        return _mm256_add_pd(_mm256_permute2f128_pd(first, second, 0x20),
                             _mm256_permute2f128_pd(first, second, 0x31));
    }

    // The complex number re + i·im throughout.
    static vector all(double re, double im) { return _mm256_setr_pd(re, im, re, im); }

    // (-x, x, -x, x).
    static vector alternating(double x)
    {
        return _mm256_xor_pd(_mm256_setr_pd(-0.0, 0.0, -0.0, 0.0), _mm256_set1_pd(x));
    }

    // The parts of the complex numbers of a vector exchanged.
    static vector swapped(vector z) { return _mm256_permute_pd(z, 0x5); }

    // i·z for the complex numbers z of a vector.
    static vector turned(vector z)
    {
        const vector signs = _mm256_setr_pd(-0.0, 0.0, -0.0, 0.0);
        return _mm256_xor_pd(_mm256_permute_pd(z, 0x5), signs);
    }

    // The forms of a vector's complex numbers that products with them use.
    struct complex_factor
    {
        vector z;
        vector swapped_z;

        explicit complex_factor(vector numbers) : z(numbers), swapped_z(swapped(numbers)) {}

        // (re + i·im)·z by the textbook formula, each product and each sum rounded. Vectors hold
        // each part of a factor twice.
        vector times(vector re, vector im) const
        {
            return _mm256_addsub_pd(_mm256_mul_pd(re, z), _mm256_mul_pd(im, swapped_z));
        }

        vector times(double re, double im) const { return times(all(re), all(im)); }
    };

    static vector magnitude(vector v) { return _mm256_andnot_pd(_mm256_set1_pd(-0.0), v); }

    // The bits that are set in both.
    static vector both(vector a, vector b) { return _mm256_and_pd(a, b); }

    // The larger one in each lane, b where a is NaN.
    static vector larger(vector a, vector b) { return _mm256_max_pd(a, b); }

    // The largest lane of v, none of them NaN.
    static double fold_larger(vector v)
    {
        const __m128d pair = _mm_max_pd(_mm256_extractf128_pd(v, 1), _mm256_castpd256_pd128(v));
        return _mm_cvtsd_f64(_mm_max_sd(pair, _mm_unpackhi_pd(pair, pair)));
    }

    // A bit for each lane that is the same number in both.
    static unsigned equal_to(vector a, vector b)
    {
        return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_EQ_OQ)));
    }

    // Whether each lane is zero or of a magnitude from `least` to `greatest`.
    static bool all_zero_or_within(vector x, double least, double greatest)
    {
        const vector size = magnitude(x);
        const vector is_zero = _mm256_cmp_pd(size, zero(), _CMP_EQ_OQ);
        const vector is_large = _mm256_cmp_pd(size, all(least), _CMP_GE_OQ);
        const vector is_small = _mm256_cmp_pd(size, all(greatest), _CMP_LE_OQ);
        return _mm256_movemask_pd(_mm256_or_pd(is_zero, _mm256_and_pd(is_large, is_small))) == 0xF;
    }

    // The magnitude of the first with the sign of the second.
    static vector with_sign_of(vector size, vector sign)
    {
        const vector bit = all(-0.0);
        return _mm256_or_pd(_mm256_andnot_pd(bit, size), _mm256_and_pd(bit, sign));
    }

    // A bit for each lane where a > b.
    static unsigned greater_than(vector a, vector b)
    {
        return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_GT_OQ)));
    }

    static bool has_nan(vector x)
    {
        return _mm256_movemask_pd(_mm256_cmp_pd(x, x, _CMP_UNORD_Q)) != 0;
    }

private:
    static __m128d halves_added(vector v)
    {
        return _mm_add_pd(_mm256_extractf128_pd(v, 1), _mm256_castpd256_pd128(v));
    }
};

} // namespace
} // namespace numerical::detail
