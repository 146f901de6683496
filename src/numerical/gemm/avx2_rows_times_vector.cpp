#include "numerical/gemm/vector_product_kernels.hpp"

#include <immintrin.h>

// Four rows are turned in registers, so that a vector holds one position of all four, and up to
// four such groups run side by side: one group's additions would wait for each other.

namespace numerical::detail {
namespace {

constexpr std::size_t group_rows = 4;

// Where four rows begin. Of a group that lacks rows the last one takes their place; the sums made
// of it are never used.
struct four_rows
{
    const double* r0;
    const double* r1;
    const double* r2;
    const double* r3;

    four_rows(const double* a, std::size_t stride, std::size_t count)
        : r0(a), r1(a + (count > 1 ? 1 : 0) * stride), r2(count > 2 ? a + 2 * stride : r1),
          r3(count > 3 ? a + 3 * stride : r2)
    {
    }
};

// Two neighbouring numbers of each of four rows: as vectors of the first and of the second ones.
// The halves are put together by loads, which leaves two shuffles for eight numbers.
struct two_columns
{
    __m256d first;
    __m256d second;
};

[[gnu::always_inline]] inline __m256d halves(const double* low, const double* high)
{
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
}

[[gnu::always_inline]] inline two_columns columns_at(const four_rows& rows, std::size_t p)
{
    const __m256d even = halves(rows.r0 + p, rows.r2 + p);
    const __m256d odd = halves(rows.r1 + p, rows.r3 + p);
    return {_mm256_unpacklo_pd(even, odd), _mm256_unpackhi_pd(even, odd)};
}

[[gnu::always_inline]] inline __m256d column_at(const four_rows& rows, std::size_t p)
{
    return _mm256_setr_pd(rows.r0[p], rows.r1[p], rows.r2[p], rows.r3[p]);
}

// The sums of a group and, by recursion, of those below: each accumulator has a name of its own.
template <std::size_t groups>
struct real_groups
{
    four_rows rows;
    __m256d sum;
    real_groups<groups - 1> below;

    real_groups(std::size_t count, const double* a, std::size_t lda, const double* sums)
        : rows(a, lda, count), sum(_mm256_loadu_pd(sums)),
          below(count - group_rows, a + group_rows * lda, lda, sums + group_rows)
    {
    }

    [[gnu::always_inline]] void add_two(std::size_t p, __m256d x0, __m256d x1)
    {
        const two_columns a = columns_at(rows, p);
        sum = _mm256_fmadd_pd(a.first, x0, sum);
        sum = _mm256_fmadd_pd(a.second, x1, sum);
        below.add_two(p, x0, x1);
    }

    [[gnu::always_inline]] void add_one(std::size_t p, __m256d x)
    {
        sum = _mm256_fmadd_pd(column_at(rows, p), x, sum);
        below.add_one(p, x);
    }

    void store(double* sums) const
    {
        _mm256_storeu_pd(sums, sum);
        below.store(sums + group_rows);
    }
};

template <>
struct real_groups<0>
{
    real_groups(std::size_t, const double*, std::size_t, const double*) {}

    void add_two(std::size_t, __m256d, __m256d) {}

    void add_one(std::size_t, __m256d) {}

    void store(double*) const {}
};

template <std::size_t groups>
[[gnu::noinline]] void add_real(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums)
{
    real_groups<groups> group(rows, a, lda, sums);
    std::size_t p = 0;
    for (; p + 2 <= depth; p += 2)
        group.add_two(p, _mm256_broadcast_sd(x + p), _mm256_broadcast_sd(x + p + 1));
    if (p < depth)
        group.add_one(p, _mm256_broadcast_sd(x + p));
    group.store(sums);
}

} // namespace

void avx2_add_rows_times_vector(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums)
{
    if (rows > 3 * group_rows)
        return add_real<4>(rows, depth, a, lda, x, sums);
    if (rows > 2 * group_rows)
        return add_real<3>(rows, depth, a, lda, x, sums);
    if (rows > group_rows)
        return add_real<2>(rows, depth, a, lda, x, sums);
    add_real<1>(rows, depth, a, lda, x, sums);
}

namespace {

// The real and the imaginary parts of a group's sums.
template <std::size_t groups>
struct complex_groups
{
    four_rows rows;
    __m256d real;
    __m256d imag;
    complex_groups<groups - 1> below;

    complex_groups(std::size_t count, const double* a, std::size_t lda, const double* sums)
        : rows(a, lda, count), real(_mm256_loadu_pd(sums)),
          imag(_mm256_loadu_pd(sums + most_complex_rows_of_vector_product)),
          below(count - group_rows, a + group_rows * lda, lda, sums + group_rows)
    {
    }

    [[gnu::always_inline]] void add_real(std::size_t p, __m256d x_real, __m256d x_imag)
    {
        const __m256d even = halves(rows.r0 + p, rows.r2 + p);
        const __m256d odd = halves(rows.r1 + p, rows.r3 + p);
        const __m256d a = _mm256_unpacklo_pd(even, odd);
        real = _mm256_fmadd_pd(a, x_real, real);
        imag = _mm256_fmadd_pd(a, x_imag, imag);
        below.add_real(p, x_real, x_imag);
    }

    [[gnu::always_inline]] void add_imag(std::size_t p, __m256d x_real, __m256d x_imag)
    {
        const __m256d even = halves(rows.r0 + p, rows.r2 + p);
        const __m256d odd = halves(rows.r1 + p, rows.r3 + p);
        const __m256d a = _mm256_unpackhi_pd(even, odd);
        real = _mm256_fnmadd_pd(a, x_imag, real);
        imag = _mm256_fmadd_pd(a, x_real, imag);
        below.add_imag(p, x_real, x_imag);
    }

    void store(double* sums) const
    {
        _mm256_storeu_pd(sums, real);
        _mm256_storeu_pd(sums + most_complex_rows_of_vector_product, imag);
        below.store(sums + group_rows);
    }
};

template <>
struct complex_groups<0>
{
    complex_groups(std::size_t, const double*, std::size_t, const double*) {}

    void add_real(std::size_t, __m256d, __m256d) {}

    void add_imag(std::size_t, __m256d, __m256d) {}

    void store(double*) const {}
};

template <std::size_t groups>
[[gnu::noinline]] void add_complex(std::size_t rows, std::size_t depth, const double* a,
                                   std::size_t lda, const double* x, double* sums)
{
    complex_groups<groups> group(rows, a, lda, sums);
    for (std::size_t p = 0; p < 2 * depth; p += 2)
        group.add_real(p, _mm256_broadcast_sd(x + p), _mm256_broadcast_sd(x + p + 1));
    for (std::size_t p = 0; p < 2 * depth; p += 2)
        group.add_imag(p, _mm256_broadcast_sd(x + p), _mm256_broadcast_sd(x + p + 1));
    group.store(sums);
}

} // namespace

void avx2_add_complex_rows_times_vector(std::size_t rows, std::size_t depth, const double* a,
                                        std::size_t lda, const double* x, double* sums)
{
    if (rows > group_rows)
        return add_complex<2>(rows, depth, a, lda, x, sums);
    add_complex<1>(rows, depth, a, lda, x, sums);
}

} // namespace numerical::detail
