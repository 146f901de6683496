#pragma once

// What streamed_rows.hpp asks of a path, four numbers at a time; for kernel files of AVX2 and
// beyond.

#include "numerical/elementwise/streamed_rows.hpp"

#include <cstddef>
#include <immintrin.h>

namespace numerical::detail {
namespace {

struct avx2_stream
{
    // Bit j is set where x[j] isn't zero.
    static unsigned int true_of_four(const double* x)
    {
        const __m256d truths = _mm256_cmp_pd(_mm256_loadu_pd(x), _mm256_setzero_pd(), _CMP_NEQ_UQ);
        return static_cast<unsigned int>(_mm256_movemask_pd(truths));
    }

    static void copy(const double* from, double* to)
    {
        for (std::size_t j = 0; j < streamed_block; j += 4)
            _mm256_stream_pd(to + j, _mm256_load_pd(from + j));
    }
};

} // namespace
} // namespace numerical::detail
