#pragma once

// Four rows turned in registers, so that a vector holds one position of all four. Included by AVX2
// kernel files.

#include <cstddef>
#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t quad_rows = 4;

// How far the rows of a quad lie behind its first. Of a quad that lacks rows the last one takes
// their place; the sums made of it are never used.
struct row_offsets
{
    std::size_t second;
    std::size_t third;
    std::size_t fourth;

    row_offsets(std::size_t count, std::size_t lda)
        : second(count > 1 ? lda : 0), third(count > 2 ? 2 * lda : second),
          fourth(count > 3 ? 3 * lda : third)
    {
    }
};

[[gnu::always_inline]] inline __m256d halves(const double* low, const double* high)
{
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
}

// Two neighbouring numbers of each row.
struct quad_of_pairs
{
    __m256d first;
    __m256d second;
};

// Loads put the halves together, which leaves one shuffle for each result.
[[gnu::always_inline]] inline quad_of_pairs pairs_at(const double* a, const row_offsets& row)
{
    const __m256d even = halves(a, a + row.third);
    const __m256d odd = halves(a + row.second, a + row.fourth);
    return {_mm256_unpacklo_pd(even, odd), _mm256_unpackhi_pd(even, odd)};
}

constexpr int to_second_cache = 2; // a prefetch

[[gnu::always_inline]] inline void ask_for_rows(const double* a, const row_offsets& row)
{
    __builtin_prefetch(a, 0, to_second_cache);
    __builtin_prefetch(a + row.second, 0, to_second_cache);
    __builtin_prefetch(a + row.third, 0, to_second_cache);
    __builtin_prefetch(a + row.fourth, 0, to_second_cache);
}

} // namespace
} // namespace numerical::detail
