#include "numerical/gemm/vector_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;
constexpr std::size_t turn = 4 * width;

// Upper half plus lower half until one lane is left.
inline double folded(__m256d v)
{
    const __m128d pair = _mm_add_pd(_mm256_extractf128_pd(v, 1), _mm256_castpd256_pd128(v));
    return _mm_cvtsd_f64(_mm_add_sd(_mm_unpackhi_pd(pair, pair), pair));
}

inline double folded_in_order(__m256d s0, __m256d s1, __m256d s2, __m256d s3)
{
    return 0.0 + folded(s0) + folded(s1) + folded(s2) + folded(s3);
}

// out - coeff·row, element by element.
inline __m256d less(__m256d out, double coeff, const double* row)
{
    return _mm256_fnmadd_pd(_mm256_set1_pd(coeff), _mm256_loadu_pd(row), out);
}

// out - coeff·row for complex lanes, given coeff's imaginary part with signs (-1, +1).
inline __m256d less_complex(__m256d out, __m256d real, __m256d signed_imag, const double* row)
{
    const __m256d parts = _mm256_loadu_pd(row);
    const __m256d swapped = _mm256_permute_pd(parts, 0x5);
    return _mm256_fnmadd_pd(signed_imag, swapped, _mm256_fnmadd_pd(real, parts, out));
}

} // namespace

double avx2_dot(const double* a, const double* b, std::size_t n)
{
    double sum = 0;
    std::size_t i = 0;
    if (n >= turn) {
        __m256d s0 = _mm256_setzero_pd();
        __m256d s1 = _mm256_setzero_pd();
        __m256d s2 = _mm256_setzero_pd();
        __m256d s3 = _mm256_setzero_pd();
        for (; i + turn <= n; i += turn) {
            s0 = _mm256_fmadd_pd(_mm256_loadu_pd(a + i), _mm256_loadu_pd(b + i), s0);
            s1 = _mm256_fmadd_pd(_mm256_loadu_pd(a + i + 4), _mm256_loadu_pd(b + i + 4), s1);
            s2 = _mm256_fmadd_pd(_mm256_loadu_pd(a + i + 8), _mm256_loadu_pd(b + i + 8), s2);
            s3 = _mm256_fmadd_pd(_mm256_loadu_pd(a + i + 12), _mm256_loadu_pd(b + i + 12), s3);
        }
        sum = folded_in_order(s0, s1, s2, s3);
    }
    for (const std::size_t blocks_end = n - n % width; i < blocks_end; ++i)
        sum += a[i] * b[i]; // rounded twice, like a vector of products added lane by lane
    for (; i < n; ++i)
        sum = __builtin_fma(a[i], b[i], sum);
    return sum;
}

void avx2_scaled_add(double* y, const double* x, double alpha, std::size_t n)
{
    const __m256d scale = _mm256_set1_pd(alpha);
    std::size_t i = 0;
    for (; i + width <= n; i += width)
        _mm256_storeu_pd(y + i,
                         _mm256_fmadd_pd(scale, _mm256_loadu_pd(x + i), _mm256_loadu_pd(y + i)));
    for (; i < n; ++i)
        y[i] = __builtin_fma(alpha, x[i], y[i]);
}

void avx2_subtract_products(double* out, const double* coeffs, const double* rows,
                            std::size_t row_stride, std::size_t terms, std::size_t n)
{
    std::size_t j = 0;
    for (; j + turn <= n; j += turn) {
        __m256d o0 = _mm256_loadu_pd(out + j);
        __m256d o1 = _mm256_loadu_pd(out + j + 4);
        __m256d o2 = _mm256_loadu_pd(out + j + 8);
        __m256d o3 = _mm256_loadu_pd(out + j + 12);
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const row = rows + t * row_stride + j;
            o0 = less(o0, coeffs[t], row);
            o1 = less(o1, coeffs[t], row + 4);
            o2 = less(o2, coeffs[t], row + 8);
            o3 = less(o3, coeffs[t], row + 12);
        }
        _mm256_storeu_pd(out + j, o0);
        _mm256_storeu_pd(out + j + 4, o1);
        _mm256_storeu_pd(out + j + 8, o2);
        _mm256_storeu_pd(out + j + 12, o3);
    }
    for (; j + width <= n; j += width) {
        __m256d block = _mm256_loadu_pd(out + j);
        for (std::size_t t = 0; t < terms; ++t)
            block = less(block, coeffs[t], rows + t * row_stride + j);
        _mm256_storeu_pd(out + j, block);
    }
    for (; j < n; ++j) {
        double element = out[j];
        for (std::size_t t = 0; t < terms; ++t)
            element = __builtin_fma(-coeffs[t], rows[t * row_stride + j], element);
        out[j] = element;
    }
}

void avx2_subtract_complex_products(double* out, const double* coeffs, const double* rows,
                                    std::size_t row_stride, std::size_t terms, std::size_t n)
{
    const std::size_t doubles = 2 * n;
    const __m256d signs = _mm256_setr_pd(-0.0, 0.0, -0.0, 0.0);
    std::size_t j = 0;
    for (; j + turn <= doubles; j += turn) {
        __m256d o0 = _mm256_loadu_pd(out + j);
        __m256d o1 = _mm256_loadu_pd(out + j + 4);
        __m256d o2 = _mm256_loadu_pd(out + j + 8);
        __m256d o3 = _mm256_loadu_pd(out + j + 12);
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const row = rows + t * 2 * row_stride + j;
            const __m256d real = _mm256_set1_pd(coeffs[2 * t]);
            const __m256d imag = _mm256_xor_pd(signs, _mm256_set1_pd(coeffs[2 * t + 1]));
            o0 = less_complex(o0, real, imag, row);
            o1 = less_complex(o1, real, imag, row + 4);
            o2 = less_complex(o2, real, imag, row + 8);
            o3 = less_complex(o3, real, imag, row + 12);
        }
        _mm256_storeu_pd(out + j, o0);
        _mm256_storeu_pd(out + j + 4, o1);
        _mm256_storeu_pd(out + j + 8, o2);
        _mm256_storeu_pd(out + j + 12, o3);
    }
    for (; j + width <= doubles; j += width) {
        __m256d block = _mm256_loadu_pd(out + j);
        for (std::size_t t = 0; t < terms; ++t)
            block = less_complex(block, _mm256_set1_pd(coeffs[2 * t]),
                                 _mm256_xor_pd(signs, _mm256_set1_pd(coeffs[2 * t + 1])),
                                 rows + t * 2 * row_stride + j);
        _mm256_storeu_pd(out + j, block);
    }
    if (j == doubles)
        return;
    double re = out[j];
    double im = out[j + 1];
    for (std::size_t t = 0; t < terms; ++t) {
        const double* const row = rows + t * 2 * row_stride + j;
        re = __builtin_fma(coeffs[2 * t + 1], row[1], __builtin_fma(-coeffs[2 * t], row[0], re));
        im = __builtin_fma(-coeffs[2 * t + 1], row[0], __builtin_fma(-coeffs[2 * t], row[1], im));
    }
    out[j] = re;
    out[j + 1] = im;
}

double avx2_symmetric_row(const double* row, const double* x, double alpha, double* y,
                          std::size_t n)
{
    const __m256d scale = _mm256_set1_pd(alpha);
    __m256d s0 = _mm256_setzero_pd();
    __m256d s1 = _mm256_setzero_pd();
    __m256d s2 = _mm256_setzero_pd();
    __m256d s3 = _mm256_setzero_pd();
    const auto pass = [=](std::size_t j, __m256d sum) {
        const __m256d entries = _mm256_loadu_pd(row + j);
        _mm256_storeu_pd(y + j, _mm256_fmadd_pd(scale, entries, _mm256_loadu_pd(y + j)));
        return _mm256_fmadd_pd(entries, _mm256_loadu_pd(x + j), sum);
    };
    std::size_t j = 0;
    for (; j + turn <= n; j += turn) {
        s0 = pass(j, s0);
        s1 = pass(j + 4, s1);
        s2 = pass(j + 8, s2);
        s3 = pass(j + 12, s3);
    }
    double sum = folded_in_order(s0, s1, s2, s3);
    for (; j < n; ++j) {
        sum = __builtin_fma(row[j], x[j], sum);
        y[j] = __builtin_fma(alpha, row[j], y[j]);
    }
    return sum;
}

namespace {

// The four rows' part for the columns from j on: y[j..] gains all four in one update.
struct row_sums
{
    __m256d r0, r1, r2, r3;
};

struct row_scales
{
    __m256d x0, x1, x2, x3;
};

inline row_sums pass_rows(const double* column, std::size_t stride, const double* x, double* y,
                          const row_scales& scale, const row_sums& sums)
{
    const __m256d a0 = _mm256_loadu_pd(column);
    const __m256d a1 = _mm256_loadu_pd(column + stride);
    const __m256d a2 = _mm256_loadu_pd(column + 2 * stride);
    const __m256d a3 = _mm256_loadu_pd(column + 3 * stride);
    __m256d gain = _mm256_mul_pd(scale.x0, a0);
    gain = _mm256_fmadd_pd(scale.x1, a1, gain);
    gain = _mm256_fmadd_pd(scale.x2, a2, gain);
    gain = _mm256_fmadd_pd(scale.x3, a3, gain);
    _mm256_storeu_pd(y, _mm256_add_pd(_mm256_loadu_pd(y), gain));
    const __m256d with = _mm256_loadu_pd(x);
    return {_mm256_fmadd_pd(a0, with, sums.r0), _mm256_fmadd_pd(a1, with, sums.r1),
            _mm256_fmadd_pd(a2, with, sums.r2), _mm256_fmadd_pd(a3, with, sums.r3)};
}

} // namespace

std::array<double, 4> avx2_symmetric_rows(const double* rows, std::size_t stride, const double* x,
                                          double* y, std::size_t n)
{
    // The rows are read once: a line four ahead is asked for while this one is worked on.
    constexpr std::size_t ahead = 32;
    const row_scales scale{_mm256_set1_pd(x[n]), _mm256_set1_pd(x[n + 1]), _mm256_set1_pd(x[n + 2]),
                           _mm256_set1_pd(x[n + 3])};
    const __m256d zero = _mm256_setzero_pd();
    row_sums even{zero, zero, zero, zero};
    row_sums odd{zero, zero, zero, zero};
    std::size_t j = 0;
    for (; j + 2 * width <= n; j += 2 * width) {
        for (std::size_t r = 0; r < 4; ++r)
            __builtin_prefetch(rows + r * stride + j + ahead);
        even = pass_rows(rows + j, stride, x + j, y + j, scale, even);
        odd = pass_rows(rows + j + width, stride, x + j + width, y + j + width, scale, odd);
    }
    for (; j + width <= n; j += width)
        even = pass_rows(rows + j, stride, x + j, y + j, scale, even);
    std::array<double, 4> sums{
        folded(_mm256_add_pd(even.r0, odd.r0)), folded(_mm256_add_pd(even.r1, odd.r1)),
        folded(_mm256_add_pd(even.r2, odd.r2)), folded(_mm256_add_pd(even.r3, odd.r3))};
    symmetric_rows_tail(rows, stride, x, y, n, j, sums);
    return sums;
}

std::complex<double> avx2_hermitian_row(const double* row, const double* x, double alpha_real,
                                        double alpha_imag, double* y, std::size_t n)
{
    // alpha·conj(r) = (Re a·Re r + Im a·Im r, -Re a·Im r + Im a·Re r).
    const __m256d real = _mm256_setr_pd(alpha_real, -alpha_real, alpha_real, -alpha_real);
    const __m256d imag = _mm256_set1_pd(alpha_imag);
    __m256d parts = _mm256_setzero_pd();   // Re·Re, Im·Im
    __m256d crossed = _mm256_setzero_pd(); // Im·Re, Re·Im
    const std::size_t doubles = 2 * n;
    std::size_t j = 0;
    for (; j + width <= doubles; j += width) {
        const __m256d entries = _mm256_loadu_pd(row + j);
        const __m256d swapped = _mm256_permute_pd(entries, 0x5);
        const __m256d with = _mm256_loadu_pd(x + j);
        parts = _mm256_fmadd_pd(entries, with, parts);
        crossed = _mm256_fmadd_pd(swapped, with, crossed);
        const __m256d gained = _mm256_fmadd_pd(real, entries, _mm256_loadu_pd(y + j));
        _mm256_storeu_pd(y + j, _mm256_fmadd_pd(imag, swapped, gained));
    }
    double p[width];
    double c[width];
    _mm256_storeu_pd(p, parts);
    _mm256_storeu_pd(c, crossed);
    double sum_real = p[0] - p[1] + p[2] - p[3];
    double sum_imag = c[0] + c[1] + c[2] + c[3];
    if (j < doubles) {
        sum_real = __builtin_fma(row[j], x[j], sum_real);
        sum_real = __builtin_fma(-row[j + 1], x[j + 1], sum_real);
        sum_imag = __builtin_fma(row[j + 1], x[j], sum_imag);
        sum_imag = __builtin_fma(row[j], x[j + 1], sum_imag);
        y[j] = __builtin_fma(alpha_imag, row[j + 1], __builtin_fma(alpha_real, row[j], y[j]));
        y[j + 1] =
            __builtin_fma(alpha_imag, row[j], __builtin_fma(-alpha_real, row[j + 1], y[j + 1]));
    }
    return {sum_real, sum_imag};
}

} // namespace numerical::detail
