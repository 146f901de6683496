#pragma once

// The vector operations that streamed_rows.hpp needs, with four numbers to a vector; for kernel
// files of AVX2 and AVX-512.

#include "numerical/elementwise/streamed_rows.hpp"

#include <cstddef>
#include <immintrin.h>

namespace numerical::detail {
namespace {

struct avx2_stream
{
    // Bit j is set where x[j] isn't zero, equals the value, or is NaN.
    static unsigned int true_of_four(const double* x)
    {
        return bits_of(_mm256_cmp_pd(_mm256_loadu_pd(x), _mm256_setzero_pd(), _CMP_NEQ_UQ));
    }

    static unsigned int equal_of_four(const double* x, double value)
    {
        return bits_of(_mm256_cmp_pd(_mm256_loadu_pd(x), _mm256_set1_pd(value), _CMP_EQ_OQ));
    }

    static unsigned int nan_of_four(const double* x)
    {
        const __m256d numbers = _mm256_loadu_pd(x);
        return bits_of(_mm256_cmp_pd(numbers, numbers, _CMP_UNORD_Q));
    }

    static void copy(const double* from, double* to)
    {
        for (std::size_t j = 0; j < streamed_block; j += 4)
            _mm256_stream_pd(to + j, _mm256_load_pd(from + j));
    }

private:
    static unsigned int bits_of(__m256d booleans)
    {
        return static_cast<unsigned int>(_mm256_movemask_pd(booleans));
    }
};

} // namespace
} // namespace numerical::detail
