#include "numerical/eigen/panel_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;
constexpr std::size_t rows_at_once = 4;

inline __m256d swap_parts(__m256d z)
{
    return _mm256_permute_pd(z, 0x5);
}

inline __m128d halves_added(__m256d v)
{
    return _mm_add_pd(_mm256_extractf128_pd(v, 1), _mm256_castpd256_pd128(v));
}

inline double lanes_added(__m256d v)
{
    const __m128d pair = halves_added(v);
    return _mm_cvtsd_f64(_mm_add_sd(pair, _mm_unpackhi_pd(pair, pair)));
}

// The sum of the even lanes less that of the odd ones.
inline double alternating_sum(__m256d v)
{
    const __m128d pair = halves_added(v);
    return _mm_cvtsd_f64(_mm_sub_sd(pair, _mm_unpackhi_pd(pair, pair)));
}

// What a step takes of a row: four doubles, or the last ones before the end.
struct whole
{
    __m256d load(const double* from) const { return _mm256_loadu_pd(from); }

    void store(double* to, __m256d values) const { _mm256_storeu_pd(to, values); }
};

struct last_ones
{
    __m256i lanes;

    explicit last_ones(std::size_t count)
    {
        alignas(32) static constexpr long long bits[2 * width] = {-1, -1, -1, -1, 0, 0, 0, 0};
        lanes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bits + width - count));
    }

    __m256d load(const double* from) const { return _mm256_maskload_pd(from, lanes); }

    void store(double* to, __m256d values) const { _mm256_maskstore_pd(to, lanes, values); }
};

struct four_sums
{
    __m256d s0 = _mm256_setzero_pd();
    __m256d s1 = _mm256_setzero_pd();
    __m256d s2 = _mm256_setzero_pd();
    __m256d s3 = _mm256_setzero_pd();
};

template <class access>
inline void add_entries(four_sums& sums, const double* rows, std::size_t stride, __m256d v,
                        const access& part)
{
    sums.s0 = _mm256_fmadd_pd(part.load(rows), v, sums.s0);
    sums.s1 = _mm256_fmadd_pd(part.load(rows + stride), v, sums.s1);
    sums.s2 = _mm256_fmadd_pd(part.load(rows + 2 * stride), v, sums.s2);
    sums.s3 = _mm256_fmadd_pd(part.load(rows + 3 * stride), v, sums.s3);
}

// Even and odd steps have sums of their own, four alone being bound by the latency of an addition.
inline void dots_of_four(double* out, const double* v, const double* rows, std::size_t stride,
                         std::size_t n)
{
    four_sums even;
    four_sums odd;
    std::size_t j = 0;
    for (; j + 2 * width <= n; j += 2 * width) {
        add_entries(even, rows + j, stride, _mm256_loadu_pd(v + j), whole());
        add_entries(odd, rows + j + width, stride, _mm256_loadu_pd(v + j + width), whole());
    }
    for (; j + width <= n; j += width)
        add_entries(even, rows + j, stride, _mm256_loadu_pd(v + j), whole());
    if (j < n) {
        const last_ones rest(n - j);
        add_entries(odd, rows + j, stride, rest.load(v + j), rest);
    }
    out[0] = lanes_added(_mm256_add_pd(even.s0, odd.s0));
    out[1] = lanes_added(_mm256_add_pd(even.s1, odd.s1));
    out[2] = lanes_added(_mm256_add_pd(even.s2, odd.s2));
    out[3] = lanes_added(_mm256_add_pd(even.s3, odd.s3));
}

inline double dot_of_one(const double* v, const double* row, std::size_t n)
{
    __m256d sum = _mm256_setzero_pd();
    std::size_t j = 0;
    for (; j + width <= n; j += width)
        sum = _mm256_fmadd_pd(_mm256_loadu_pd(row + j), _mm256_loadu_pd(v + j), sum);
    if (j < n) {
        const last_ones rest(n - j);
        sum = _mm256_fmadd_pd(rest.load(row + j), rest.load(v + j), sum);
    }
    return lanes_added(sum);
}

// Of a complex row and v: row·v by parts, and row times the swapped v.
struct complex_sums
{
    __m256d parts = _mm256_setzero_pd();
    __m256d crossed = _mm256_setzero_pd();
};

inline complex_sums with_entries(const complex_sums& sums, __m256d row, __m256d v, __m256d swapped)
{
    return {_mm256_fmadd_pd(row, v, sums.parts), _mm256_fmadd_pd(row, swapped, sums.crossed)};
}

inline void store_conjugate_dot(double* out, const complex_sums& sums)
{
    out[0] = lanes_added(sums.parts);
    out[1] = alternating_sum(sums.crossed);
}

inline std::complex<double> plain_dot(const complex_sums& sums)
{
    return {alternating_sum(sums.parts), lanes_added(sums.crossed)};
}

struct four_complex_sums
{
    complex_sums s0;
    complex_sums s1;
    complex_sums s2;
    complex_sums s3;
};

template <class access>
inline void add_entries(four_complex_sums& sums, const double* rows, std::size_t stride, __m256d v,
                        const access& part)
{
    const __m256d swapped = swap_parts(v);
    sums.s0 = with_entries(sums.s0, part.load(rows), v, swapped);
    sums.s1 = with_entries(sums.s1, part.load(rows + stride), v, swapped);
    sums.s2 = with_entries(sums.s2, part.load(rows + 2 * stride), v, swapped);
    sums.s3 = with_entries(sums.s3, part.load(rows + 3 * stride), v, swapped);
}

// Strides and n in doubles.
inline void complex_dots_of_four(double* out, const double* v, const double* rows,
                                 std::size_t stride, std::size_t n)
{
    four_complex_sums sums;
    std::size_t j = 0;
    for (; j + width <= n; j += width)
        add_entries(sums, rows + j, stride, _mm256_loadu_pd(v + j), whole());
    if (j < n) {
        const last_ones rest(n - j);
        add_entries(sums, rows + j, stride, rest.load(v + j), rest);
    }
    store_conjugate_dot(out, sums.s0);
    store_conjugate_dot(out + 2, sums.s1);
    store_conjugate_dot(out + 4, sums.s2);
    store_conjugate_dot(out + 6, sums.s3);
}

inline void complex_dot_of_one(double* out, const double* v, const double* row, std::size_t n)
{
    complex_sums sums;
    std::size_t j = 0;
    for (; j + width <= n; j += width) {
        const __m256d with = _mm256_loadu_pd(v + j);
        sums = with_entries(sums, _mm256_loadu_pd(row + j), with, swap_parts(with));
    }
    if (j < n) {
        const last_ones rest(n - j);
        const __m256d with = rest.load(v + j);
        sums = with_entries(sums, rest.load(row + j), with, swap_parts(with));
    }
    store_conjugate_dot(out, sums);
}

// The columns' part of four rows: x·conj(a) is Re x·a with signs (+1, -1) and Im x times the
// swapped a, and the signs are taken and the parts swapped once for the sum over the rows.
template <class access>
inline void add_columns(double* y, const double* rows, std::size_t stride, const double* x,
                        const access& part)
{
    const __m256d signs = _mm256_setr_pd(1, -1, 1, -1);
    const __m256d a0 = part.load(rows);
    const __m256d a1 = part.load(rows + stride);
    const __m256d a2 = part.load(rows + 2 * stride);
    const __m256d a3 = part.load(rows + 3 * stride);
    __m256d by_re = _mm256_mul_pd(_mm256_broadcast_sd(x), a0);
    __m256d by_im = _mm256_mul_pd(_mm256_broadcast_sd(x + 1), a0);
    by_re = _mm256_fmadd_pd(_mm256_broadcast_sd(x + 2), a1, by_re);
    by_im = _mm256_fmadd_pd(_mm256_broadcast_sd(x + 3), a1, by_im);
    by_re = _mm256_fmadd_pd(_mm256_broadcast_sd(x + 4), a2, by_re);
    by_im = _mm256_fmadd_pd(_mm256_broadcast_sd(x + 5), a2, by_im);
    by_re = _mm256_fmadd_pd(_mm256_broadcast_sd(x + 6), a3, by_re);
    by_im = _mm256_fmadd_pd(_mm256_broadcast_sd(x + 7), a3, by_im);
    const __m256d gain = _mm256_fmadd_pd(signs, by_re, swap_parts(by_im));
    part.store(y, _mm256_add_pd(part.load(y), gain));
}

} // namespace

void avx2_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                   std::size_t count, std::size_t n)
{
    std::size_t t = 0;
    for (; t + rows_at_once <= count; t += rows_at_once)
        dots_of_four(out + t, v, rows + t * stride, stride, n);
    for (; t < count; ++t)
        out[t] = dot_of_one(v, rows + t * stride, n);
}

void avx2_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                           std::size_t count, std::size_t n)
{
    std::size_t t = 0;
    for (; t + rows_at_once <= count; t += rows_at_once)
        complex_dots_of_four(out + 2 * t, v, rows + 2 * t * stride, 2 * stride, 2 * n);
    for (; t < count; ++t)
        complex_dot_of_one(out + 2 * t, v, rows + 2 * t * stride, 2 * n);
}

std::array<std::complex<double>, 4> avx2_hermitian_rows(const double* rows, std::size_t stride,
                                                        const double* x, double* y, std::size_t n)
{
    // The rows are read once: a line four ahead is asked for while this one is worked on.
    constexpr std::size_t ahead = 32;
    const double* const scale = x + 2 * n;
    four_complex_sums sums;
    std::size_t j = 0;
    for (; j + width <= 2 * n; j += width) {
        for (std::size_t r = 0; r < rows_at_once; ++r)
            __builtin_prefetch(rows + r * 2 * stride + j + ahead);
        add_columns(y + j, rows + j, 2 * stride, scale, whole());
        add_entries(sums, rows + j, 2 * stride, _mm256_loadu_pd(x + j), whole());
    }
    if (j < 2 * n) {
        const last_ones rest(2 * n - j);
        add_columns(y + j, rows + j, 2 * stride, scale, rest);
        add_entries(sums, rows + j, 2 * stride, rest.load(x + j), rest);
    }
    return {plain_dot(sums.s0), plain_dot(sums.s1), plain_dot(sums.s2), plain_dot(sums.s3)};
}

} // namespace numerical::detail
