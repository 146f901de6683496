#pragma once

// The stores of streamed_rows.hpp, four numbers each; for kernel files of AVX2 and beyond.

#include "numerical/elementwise/streamed_rows.hpp"

#include <cstddef>
#include <immintrin.h>

namespace numerical::detail {
namespace {

struct avx2_stream
{
    static void copy(const double* from, double* to)
    {
        for (std::size_t j = 0; j < streamed_block; j += 4)
            _mm256_stream_pd(to + j, _mm256_load_pd(from + j));
    }
};

} // namespace
} // namespace numerical::detail
