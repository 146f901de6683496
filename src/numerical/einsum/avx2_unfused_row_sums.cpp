#include "numerical/einsum/row_sum_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

// Elements 0 and 1 of the row at `from`, then elements 0 and 1 of the second row below it.
__m256d beside_next_but_one(const double* from, std::size_t apart)
{
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(from)),
                                _mm_loadu_pd(from + 2 * apart), 1);
}

// Adds two columns of four rows in order. They are transposed first, so that a vector holds a
// column.
__m256d add_columns(__m256d sum, const double* from, std::size_t apart)
{
    const __m256d even = beside_next_but_one(from, apart);
    const __m256d odd = beside_next_but_one(from + apart, apart);
    sum = _mm256_add_pd(sum, _mm256_unpacklo_pd(even, odd));
    return _mm256_add_pd(sum, _mm256_unpackhi_pd(even, odd));
}

// sums[r] += from[r·apart], for the last column where their number is odd.
void add_last(double* sums, const double* from, std::size_t apart, std::size_t rows)
{
    for (std::size_t r = 0; r < rows; ++r)
        sums[r] += from[r * apart];
}

void add_along_8(double* sums, const double* from, std::size_t apart, std::size_t extent)
{
    __m256d s0 = _mm256_loadu_pd(sums);
    __m256d s1 = _mm256_loadu_pd(sums + width);
    std::size_t i = 0;
    for (; i + 2 <= extent; i += 2) {
        s0 = add_columns(s0, from + i, apart);
        s1 = add_columns(s1, from + i + width * apart, apart);
    }
    _mm256_storeu_pd(sums, s0);
    _mm256_storeu_pd(sums + width, s1);
    if (i < extent)
        add_last(sums, from + i, apart, 2 * width);
}

void add_along_16(double* sums, const double* from, std::size_t apart, std::size_t extent)
{
    __m256d s0 = _mm256_loadu_pd(sums);
    __m256d s1 = _mm256_loadu_pd(sums + width);
    __m256d s2 = _mm256_loadu_pd(sums + 2 * width);
    __m256d s3 = _mm256_loadu_pd(sums + 3 * width);
    std::size_t i = 0;
    for (; i + 2 <= extent; i += 2) {
        s0 = add_columns(s0, from + i, apart);
        s1 = add_columns(s1, from + i + width * apart, apart);
        s2 = add_columns(s2, from + i + 2 * width * apart, apart);
        s3 = add_columns(s3, from + i + 3 * width * apart, apart);
    }
    _mm256_storeu_pd(sums, s0);
    _mm256_storeu_pd(sums + width, s1);
    _mm256_storeu_pd(sums + 2 * width, s2);
    _mm256_storeu_pd(sums + 3 * width, s3);
    if (i < extent)
        add_last(sums, from + i, apart, 4 * width);
}

// Eight complex rows, one number to a vector.
void add_along_8_complex(double* sums, const double* from, std::size_t apart, std::size_t extent)
{
    __m128d sum[8];
#pragma GCC unroll 8
    for (std::size_t r = 0; r < 8; ++r)
        sum[r] = _mm_loadu_pd(sums + 2 * r);
    for (std::size_t i = 0; i < extent; ++i) {
#pragma GCC unroll 8
        for (std::size_t r = 0; r < 8; ++r)
            sum[r] = _mm_add_pd(sum[r], _mm_loadu_pd(from + 2 * (r * apart + i)));
    }
#pragma GCC unroll 8
    for (std::size_t r = 0; r < 8; ++r)
        _mm_storeu_pd(sums + 2 * r, sum[r]);
}

} // namespace

void avx2_unfused_add_along_rows(double* sums, const double* from, std::size_t apart,
                                 std::size_t extent, std::size_t rows)
{
    const auto add_along = rows == 16 ? add_along_16 : add_along_8;
    add_along(sums, from, apart, extent);
}

void avx2_unfused_add_along_rows(std::complex<double>* sums, const std::complex<double>* from,
                                 std::size_t apart, std::size_t extent, std::size_t rows)
{
    for (std::size_t r = 0; r < rows; r += 8)
        add_along_8_complex(reinterpret_cast<double*>(sums + r),
                            reinterpret_cast<const double*>(from + r * apart), apart, extent);
}

} // namespace numerical::detail
