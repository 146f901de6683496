#pragma once

// Vectors of two doubles as truth_loops.hpp asks them: comparisons, whose lanes are all ones or all
// zeros, and eight such vectors written as bytes. Each target needs its own copy: hence the unnamed
// namespace.

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

namespace numerical::detail {
namespace {

struct sse2_truth_lanes
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

    // A byte of 1 or 0 for each lane of eight vectors of truths.
    static void store(std::uint8_t* to, const vector (&truths)[8])
    {
        const __m128i low = _mm_packs_epi32(four(truths[0], truths[1]), four(truths[2], truths[3]));
        const __m128i high =
            _mm_packs_epi32(four(truths[4], truths[5]), four(truths[6], truths[7]));
        const __m128i bytes = _mm_and_si128(_mm_packs_epi16(low, high), _mm_set1_epi8(1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
    }

private:
    // The truths of two vectors as four ints.
    static __m128i four(vector a, vector b)
    {
        const __m128 x = _mm_castpd_ps(a);
        return _mm_castps_si128(_mm_shuffle_ps(x, _mm_castpd_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
    }
};

} // namespace
} // namespace numerical::detail
