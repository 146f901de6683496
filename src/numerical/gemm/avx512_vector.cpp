#include "numerical/gemm/vector_kernels.hpp"

#include <immintrin.h>

// Built for AVX-512F alone. Elements of an update don't interact, so a last partial vector is a
// masked one: the same bits as element by element.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 8;
constexpr std::size_t turn = 4 * width;

// The first `count` of eight lanes, count < 8.
inline __mmask8 first_lanes(std::size_t count)
{
    return static_cast<__mmask8>((1U << count) - 1U);
}

// _mm512_reduce_add_pd folds by halves, upper onto lower.
inline double folded_in_order(__m512d s0, __m512d s1, __m512d s2, __m512d s3)
{
    return 0.0 + _mm512_reduce_add_pd(s0) + _mm512_reduce_add_pd(s1) + _mm512_reduce_add_pd(s2) +
           _mm512_reduce_add_pd(s3);
}

inline __m512d less(__m512d out, double coeff, __m512d row)
{
    return _mm512_fnmadd_pd(_mm512_set1_pd(coeff), row, out);
}

// A complex coefficient made ready: its real part, its imaginary part with signs (-1, +1).
struct complex_scale
{
    __m512d real;
    __m512d imag;
};

inline complex_scale scale_of(const double* coeff)
{
    const double im = coeff[1];
    return {_mm512_set1_pd(coeff[0]), _mm512_setr_pd(-im, im, -im, im, -im, im, -im, im)};
}

inline __m512d less_complex(__m512d out, const complex_scale& coeff, __m512d row)
{
    const __m512d swapped = _mm512_permute_pd(row, 0x55);
    return _mm512_fnmadd_pd(coeff.imag, swapped, _mm512_fnmadd_pd(coeff.real, row, out));
}

} // namespace

double avx512_dot(const double* a, const double* b, std::size_t n)
{
    double sum = 0;
    std::size_t i = 0;
    if (n >= turn) {
        __m512d s0 = _mm512_setzero_pd();
        __m512d s1 = _mm512_setzero_pd();
        __m512d s2 = _mm512_setzero_pd();
        __m512d s3 = _mm512_setzero_pd();
        for (; i + turn <= n; i += turn) {
            s0 = _mm512_fmadd_pd(_mm512_loadu_pd(a + i), _mm512_loadu_pd(b + i), s0);
            s1 = _mm512_fmadd_pd(_mm512_loadu_pd(a + i + 8), _mm512_loadu_pd(b + i + 8), s1);
            s2 = _mm512_fmadd_pd(_mm512_loadu_pd(a + i + 16), _mm512_loadu_pd(b + i + 16), s2);
            s3 = _mm512_fmadd_pd(_mm512_loadu_pd(a + i + 24), _mm512_loadu_pd(b + i + 24), s3);
        }
        sum = folded_in_order(s0, s1, s2, s3);
    }
    for (const std::size_t blocks_end = n - n % 4; i < blocks_end; ++i)
        sum += a[i] * b[i]; // rounded twice, like vectors of products added lane by lane
    for (; i < n; ++i)
        sum = __builtin_fma(a[i], b[i], sum);
    return sum;
}

void avx512_scaled_add(double* y, const double* x, double alpha, std::size_t n)
{
    const __m512d scale = _mm512_set1_pd(alpha);
    std::size_t i = 0;
    for (; i + width <= n; i += width)
        _mm512_storeu_pd(y + i,
                         _mm512_fmadd_pd(scale, _mm512_loadu_pd(x + i), _mm512_loadu_pd(y + i)));
    if (i == n)
        return;
    const __mmask8 rest = first_lanes(n - i);
    const __m512d sum = _mm512_fmadd_pd(scale, _mm512_maskz_loadu_pd(rest, x + i),
                                        _mm512_maskz_loadu_pd(rest, y + i));
    _mm512_mask_storeu_pd(y + i, rest, sum);
}

void avx512_subtract_products(double* out, const double* coeffs, const double* rows,
                              std::size_t row_stride, std::size_t terms, std::size_t n)
{
    std::size_t j = 0;
    for (; j + turn <= n; j += turn) {
        __m512d o0 = _mm512_loadu_pd(out + j);
        __m512d o1 = _mm512_loadu_pd(out + j + 8);
        __m512d o2 = _mm512_loadu_pd(out + j + 16);
        __m512d o3 = _mm512_loadu_pd(out + j + 24);
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const row = rows + t * row_stride + j;
            o0 = less(o0, coeffs[t], _mm512_loadu_pd(row));
            o1 = less(o1, coeffs[t], _mm512_loadu_pd(row + 8));
            o2 = less(o2, coeffs[t], _mm512_loadu_pd(row + 16));
            o3 = less(o3, coeffs[t], _mm512_loadu_pd(row + 24));
        }
        _mm512_storeu_pd(out + j, o0);
        _mm512_storeu_pd(out + j + 8, o1);
        _mm512_storeu_pd(out + j + 16, o2);
        _mm512_storeu_pd(out + j + 24, o3);
    }
    for (; j + width <= n; j += width) {
        __m512d block = _mm512_loadu_pd(out + j);
        for (std::size_t t = 0; t < terms; ++t)
            block = less(block, coeffs[t], _mm512_loadu_pd(rows + t * row_stride + j));
        _mm512_storeu_pd(out + j, block);
    }
    if (j == n)
        return;
    const __mmask8 rest = first_lanes(n - j);
    __m512d block = _mm512_maskz_loadu_pd(rest, out + j);
    for (std::size_t t = 0; t < terms; ++t)
        block = less(block, coeffs[t], _mm512_maskz_loadu_pd(rest, rows + t * row_stride + j));
    _mm512_mask_storeu_pd(out + j, rest, block);
}

void avx512_subtract_complex_products(double* out, const double* coeffs, const double* rows,
                                      std::size_t row_stride, std::size_t terms, std::size_t n)
{
    const std::size_t doubles = 2 * n;
    std::size_t j = 0;
    for (; j + turn <= doubles; j += turn) {
        __m512d o0 = _mm512_loadu_pd(out + j);
        __m512d o1 = _mm512_loadu_pd(out + j + 8);
        __m512d o2 = _mm512_loadu_pd(out + j + 16);
        __m512d o3 = _mm512_loadu_pd(out + j + 24);
        for (std::size_t t = 0; t < terms; ++t) {
            const double* const row = rows + t * 2 * row_stride + j;
            const complex_scale coeff = scale_of(coeffs + 2 * t);
            o0 = less_complex(o0, coeff, _mm512_loadu_pd(row));
            o1 = less_complex(o1, coeff, _mm512_loadu_pd(row + 8));
            o2 = less_complex(o2, coeff, _mm512_loadu_pd(row + 16));
            o3 = less_complex(o3, coeff, _mm512_loadu_pd(row + 24));
        }
        _mm512_storeu_pd(out + j, o0);
        _mm512_storeu_pd(out + j + 8, o1);
        _mm512_storeu_pd(out + j + 16, o2);
        _mm512_storeu_pd(out + j + 24, o3);
    }
    for (; j + width <= doubles; j += width) {
        __m512d block = _mm512_loadu_pd(out + j);
        for (std::size_t t = 0; t < terms; ++t)
            block = less_complex(block, scale_of(coeffs + 2 * t),
                                 _mm512_loadu_pd(rows + t * 2 * row_stride + j));
        _mm512_storeu_pd(out + j, block);
    }
    if (j == doubles)
        return;
    const __mmask8 rest = first_lanes(doubles - j);
    __m512d block = _mm512_maskz_loadu_pd(rest, out + j);
    for (std::size_t t = 0; t < terms; ++t)
        block = less_complex(block, scale_of(coeffs + 2 * t),
                             _mm512_maskz_loadu_pd(rest, rows + t * 2 * row_stride + j));
    _mm512_mask_storeu_pd(out + j, rest, block);
}

double avx512_symmetric_row(const double* row, const double* x, double alpha, double* y,
                            std::size_t n)
{
    const __m512d scale = _mm512_set1_pd(alpha);
    __m512d s0 = _mm512_setzero_pd();
    __m512d s1 = _mm512_setzero_pd();
    __m512d s2 = _mm512_setzero_pd();
    __m512d s3 = _mm512_setzero_pd();
    const auto pass = [=](std::size_t j, __m512d sum) {
        const __m512d entries = _mm512_loadu_pd(row + j);
        _mm512_storeu_pd(y + j, _mm512_fmadd_pd(scale, entries, _mm512_loadu_pd(y + j)));
        return _mm512_fmadd_pd(entries, _mm512_loadu_pd(x + j), sum);
    };
    std::size_t j = 0;
    for (; j + turn <= n; j += turn) {
        s0 = pass(j, s0);
        s1 = pass(j + 8, s1);
        s2 = pass(j + 16, s2);
        s3 = pass(j + 24, s3);
    }
    double sum = folded_in_order(s0, s1, s2, s3);
    for (; j < n; ++j) {
        sum = __builtin_fma(row[j], x[j], sum);
        y[j] = __builtin_fma(alpha, row[j], y[j]);
    }
    return sum;
}

std::array<double, 4> avx512_symmetric_rows(const double* rows, std::size_t stride, const double* x,
                                            double* y, std::size_t n)
{
    // The rows are read once: a line four ahead is asked for while this one is worked on.
    constexpr std::size_t ahead = 32;
    const __m512d x0 = _mm512_set1_pd(x[n]);
    const __m512d x1 = _mm512_set1_pd(x[n + 1]);
    const __m512d x2 = _mm512_set1_pd(x[n + 2]);
    const __m512d x3 = _mm512_set1_pd(x[n + 3]);
    __m512d s0 = _mm512_setzero_pd();
    __m512d s1 = _mm512_setzero_pd();
    __m512d s2 = _mm512_setzero_pd();
    __m512d s3 = _mm512_setzero_pd();
    std::size_t j = 0;
    for (; j + width <= n; j += width) {
        const double* const column = rows + j;
        for (std::size_t r = 0; r < 4; ++r)
            __builtin_prefetch(column + r * stride + ahead);
        const __m512d a0 = _mm512_loadu_pd(column);
        const __m512d a1 = _mm512_loadu_pd(column + stride);
        const __m512d a2 = _mm512_loadu_pd(column + 2 * stride);
        const __m512d a3 = _mm512_loadu_pd(column + 3 * stride);
        __m512d gain = _mm512_mul_pd(x0, a0);
        gain = _mm512_fmadd_pd(x1, a1, gain);
        gain = _mm512_fmadd_pd(x2, a2, gain);
        gain = _mm512_fmadd_pd(x3, a3, gain);
        _mm512_storeu_pd(y + j, _mm512_add_pd(_mm512_loadu_pd(y + j), gain));
        const __m512d with = _mm512_loadu_pd(x + j);
        s0 = _mm512_fmadd_pd(a0, with, s0);
        s1 = _mm512_fmadd_pd(a1, with, s1);
        s2 = _mm512_fmadd_pd(a2, with, s2);
        s3 = _mm512_fmadd_pd(a3, with, s3);
    }
    std::array<double, 4> sums{_mm512_reduce_add_pd(s0), _mm512_reduce_add_pd(s1),
                               _mm512_reduce_add_pd(s2), _mm512_reduce_add_pd(s3)};
    symmetric_rows_tail(rows, stride, x, y, n, j, sums);
    return sums;
}

std::complex<double> avx512_hermitian_row(const double* row, const double* x, double alpha_real,
                                          double alpha_imag, double* y, std::size_t n)
{
    // alpha·conj(r) = (Re a·Re r + Im a·Im r, -Re a·Im r + Im a·Re r).
    const double re = alpha_real;
    const __m512d real = _mm512_setr_pd(re, -re, re, -re, re, -re, re, -re);
    const __m512d imag = _mm512_set1_pd(alpha_imag);
    __m512d parts = _mm512_setzero_pd();   // Re·Re, Im·Im
    __m512d crossed = _mm512_setzero_pd(); // Im·Re, Re·Im
    const std::size_t doubles = 2 * n;
    std::size_t j = 0;
    for (; j + width <= doubles; j += width) {
        const __m512d entries = _mm512_loadu_pd(row + j);
        const __m512d swapped = _mm512_permute_pd(entries, 0x55);
        const __m512d with = _mm512_loadu_pd(x + j);
        parts = _mm512_fmadd_pd(entries, with, parts);
        crossed = _mm512_fmadd_pd(swapped, with, crossed);
        const __m512d gained = _mm512_fmadd_pd(real, entries, _mm512_loadu_pd(y + j));
        _mm512_storeu_pd(y + j, _mm512_fmadd_pd(imag, swapped, gained));
    }
    if (j < doubles) {
        const __mmask8 rest = first_lanes(doubles - j);
        const __m512d entries = _mm512_maskz_loadu_pd(rest, row + j);
        const __m512d swapped = _mm512_permute_pd(entries, 0x55);
        const __m512d with = _mm512_maskz_loadu_pd(rest, x + j);
        parts = _mm512_fmadd_pd(entries, with, parts);
        crossed = _mm512_fmadd_pd(swapped, with, crossed);
        const __m512d gained = _mm512_fmadd_pd(real, entries, _mm512_maskz_loadu_pd(rest, y + j));
        _mm512_mask_storeu_pd(y + j, rest, _mm512_fmadd_pd(imag, swapped, gained));
    }
    double p[width];
    double c[width];
    _mm512_storeu_pd(p, parts);
    _mm512_storeu_pd(c, crossed);
    return {p[0] - p[1] + p[2] - p[3] + p[4] - p[5] + p[6] - p[7],
            c[0] + c[1] + c[2] + c[3] + c[4] + c[5] + c[6] + c[7]};
}

} // namespace numerical::detail
