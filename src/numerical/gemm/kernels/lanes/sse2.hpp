#pragma once

// Vectors of two doubles, which every x86-64 processor has, under the names that loops written once
// for all widths use. Unnamed, as those of the other widths are.

#include <emmintrin.h>

#include <cstddef>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = __m128d;
    static constexpr std::size_t width = 2;

    static vector load(const double* x) { return _mm_loadu_pd(x); }

    static void store(double* x, vector v) { _mm_storeu_pd(x, v); }

    // Some of the lanes: the first one.
    struct selection
    {
    };

    static selection first(std::size_t) { return {}; }

    // Zero in the other lane.
    static vector load_those(const double* x, selection) { return _mm_load_sd(x); }

    static void store_those(double* x, selection, vector v) { _mm_store_sd(x, v); }

    static vector zero() { return _mm_setzero_pd(); }

    static vector all(double x) { return _mm_set1_pd(x); }

    static vector plus(vector a, vector b) { return _mm_add_pd(a, b); }

    static vector minus(vector a, vector b) { return _mm_sub_pd(a, b); }

    static vector times(vector a, vector b) { return _mm_mul_pd(a, b); }

    // The forms of a complex number that products with it use.
    struct complex_factor
    {
        vector z;
        vector turned_z; // i·z

        explicit complex_factor(vector number)
            : z(number),
              turned_z(_mm_xor_pd(_mm_shuffle_pd(number, number, 1), _mm_setr_pd(-0.0, 0.0)))
        {
        }

        // (re + i·im)·z by the textbook formula, each product and each sum rounded.
        vector times(double re, double im) const
        {
            return _mm_add_pd(_mm_mul_pd(_mm_set1_pd(re), z),
                              _mm_mul_pd(_mm_set1_pd(im), turned_z));
        }
    };

    static bool has_nan(vector x) { return _mm_movemask_pd(_mm_cmpunord_pd(x, x)) != 0; }
};

} // namespace
} // namespace numerical::detail
