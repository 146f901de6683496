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

    // Some of the lanes: the first `count`, count < width.
    using selection = __m256i;

    static selection first(std::size_t count)
    {
        const auto lane = [=](std::size_t l) { return l < count ? -1LL : 0LL; };
        return _mm256_setr_epi64x(lane(0), lane(1), lane(2), lane(3));
    }

    // Zeros in the other lanes.
    static vector load_those(const double* x, selection those)
    {
        return _mm256_maskload_pd(x, those);
    }

    static void store_those(double* x, selection those, vector v)
    {
        _mm256_maskstore_pd(x, those, v);
    }

    static vector all(double x) { return _mm256_set1_pd(x); }

    static vector plus(vector a, vector b) { return _mm256_add_pd(a, b); }

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
};

} // namespace
} // namespace numerical::detail
