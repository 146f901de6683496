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

    // Some of the lanes: the first `count`, 0 < count < width.
    struct selection
    {
        __m256i mask;
        std::size_t count;
    };

    static selection first(std::size_t count)
    {
        alignas(32) static constexpr long long bits[2 * width] = {-1, -1, -1, -1, 0, 0, 0, 0};
        return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bits + width - count)), count};
    }

    // Zeros in the other lanes.
    static vector load_those(const double* x, const selection& those)
    {
        return _mm256_maskload_pd(x, those.mask);
    }

    // By parts: a masked store takes many times as long.
    static void store_those(double* x, const selection& those, vector v)
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

    // sum + a·b and sum - a·b, fused.
    static vector more(vector sum, vector a, vector b) { return _mm256_fmadd_pd(a, b, sum); }

    static vector less(vector sum, vector a, vector b) { return _mm256_fnmadd_pd(a, b, sum); }

    // Lane l is the sum of the lanes of rows[l], taken by halves.
    static vector sums_of(const vector (&rows)[width])
    {
        const vector first = _mm256_hadd_pd(rows[0], rows[1]);
        const vector second = _mm256_hadd_pd(rows[2], rows[3]);
        return _mm256_add_pd(_mm256_permute2f128_pd(first, second, 0x20),
                             _mm256_permute2f128_pd(first, second, 0x31));
    }

    // The complex number re + i·im throughout.
    static vector all(double re, double im) { return _mm256_setr_pd(re, im, re, im); }

    // The parts of the complex numbers of a vector exchanged.
    static vector swapped(vector z) { return _mm256_permute_pd(z, 0x5); }

    // i·z for the complex numbers z of a vector.
    static vector turned(vector z)
    {
        const vector signs = _mm256_setr_pd(-0.0, 0.0, -0.0, 0.0);
        return _mm256_xor_pd(_mm256_permute_pd(z, 0x5), signs);
    }

    // What products with the complex numbers of a vector take of them.
    struct complex_factor
    {
        vector z;
        vector swapped_z;

        explicit complex_factor(vector numbers) : z(numbers), swapped_z(swapped(numbers)) {}

        // (re + i·im)·z by the textbook formula, each product and each sum rounded.
        vector times(double re, double im) const
        {
            return _mm256_addsub_pd(_mm256_mul_pd(_mm256_set1_pd(re), z),
                                    _mm256_mul_pd(_mm256_set1_pd(im), swapped_z));
        }
    };

    static bool has_nan(vector x)
    {
        return _mm256_movemask_pd(_mm256_cmp_pd(x, x, _CMP_UNORD_Q)) != 0;
    }
};

} // namespace
} // namespace numerical::detail
