#pragma once

// The same as sse2_boolean_lanes.hpp with vectors of four doubles, for kernel files of AVX2.

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

namespace numerical::detail {
namespace {

struct avx2_boolean_lanes
{
    using vector = __m256d;
    static constexpr std::size_t width = 4;

    static vector load(const double* x) { return _mm256_loadu_pd(x); }

    static vector all(double x) { return _mm256_set1_pd(x); }

    static vector less(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_LT_OQ); }

    static vector less_equal(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_LE_OQ); }

    static vector equal(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }

    static vector not_equal(vector a, vector b) { return _mm256_cmp_pd(a, b, _CMP_NEQ_UQ); }

    static vector both(vector a, vector b) { return _mm256_and_pd(a, b); }

    static vector either(vector a, vector b) { return _mm256_or_pd(a, b); }

    static vector magnitude(vector a) { return _mm256_andnot_pd(all(-0.0), a); }

    static vector sign(vector a) { return either(both(a, all(-0.0)), all(1.0)); }

    static bool all_true(vector a) { return _mm256_movemask_pd(a) == 15; }

    // Packing works within 128-bit halves and leaves the pairs of the lower halves before those of
    // the upper ones: 0 1 4 5 8 9 ... 28 29, 2 3 6 7 ... 30 31.
    static void store(std::uint8_t* to, const vector (&booleans)[8])
    {
        const __m256i low =
            _mm256_packs_epi32(eight(booleans[0], booleans[1]), eight(booleans[2], booleans[3]));
        const __m256i high =
            _mm256_packs_epi32(eight(booleans[4], booleans[5]), eight(booleans[6], booleans[7]));
        const __m256i bytes = _mm256_and_si256(_mm256_packs_epi16(low, high), _mm256_set1_epi8(1));
        const __m128i lower = _mm256_castsi256_si128(bytes);
        const __m128i upper = _mm256_extracti128_si256(bytes, 1);
        auto* out = reinterpret_cast<__m128i*>(to);
        _mm_storeu_si128(out, _mm_unpacklo_epi16(lower, upper));
        _mm_storeu_si128(out + 1, _mm_unpackhi_epi16(lower, upper));
    }

private:
    // The booleans of two vectors as eight ints.
    static __m256i eight(vector a, vector b)
    {
        const __m256 x = _mm256_castpd_ps(a);
        return _mm256_castps_si256(
            _mm256_shuffle_ps(x, _mm256_castpd_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
    }
};

} // namespace
} // namespace numerical::detail
