#pragma once

// The vector operations that boolean_loops.hpp needs, with two doubles to a vector: comparisons,
// whose lanes are all ones or all zeros, and eight such vectors written as bytes. Each target needs
// its own copy: hence the unnamed namespace.

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

namespace numerical::detail {
namespace {

struct sse2_boolean_lanes
{
    using vector = __m128d;
    static constexpr std::size_t width = 2;

    static vector load(const double* x) { return _mm_loadu_pd(x); }

    static vector all(double x) { return _mm_set1_pd(x); }

    static vector less(vector a, vector b) { return _mm_cmplt_pd(a, b); }

    static vector less_equal(vector a, vector b) { return _mm_cmple_pd(a, b); }

    static vector equal(vector a, vector b) { return _mm_cmpeq_pd(a, b); }

    static vector not_equal(vector a, vector b) { return _mm_cmpneq_pd(a, b); }

    static vector both(vector a, vector b) { return _mm_and_pd(a, b); }

    static vector either(vector a, vector b) { return _mm_or_pd(a, b); }

    // |a| by the sign bit.
    static vector magnitude(vector a) { return _mm_andnot_pd(all(-0.0), a); }

    // 1 with the sign of a.
    static vector sign(vector a) { return either(both(a, all(-0.0)), all(1.0)); }

    static bool all_true(vector a) { return _mm_movemask_pd(a) == 3; }

    // A byte of 1 or 0 for each lane of eight vectors of booleans.
    static void store(std::uint8_t* to, const vector (&booleans)[8])
    {
        const __m128i low =
            _mm_packs_epi32(four(booleans[0], booleans[1]), four(booleans[2], booleans[3]));
        const __m128i high =
            _mm_packs_epi32(four(booleans[4], booleans[5]), four(booleans[6], booleans[7]));
        const __m128i bytes = _mm_and_si128(_mm_packs_epi16(low, high), _mm_set1_epi8(1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
    }

private:
    // The booleans of two vectors as four ints.
    static __m128i four(vector a, vector b)
    {
        const __m128 x = _mm_castpd_ps(a);
        return _mm_castps_si128(_mm_shuffle_ps(x, _mm_castpd_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
    }
};

} // namespace
} // namespace numerical::detail
