#include "numerical/factor/lu_kernels.hpp"

#include "numerical/factor/lu_panel_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 8;

// The first `count` of eight lanes, count < 8.
inline __mmask8 first_lanes(std::size_t count)
{
    return static_cast<__mmask8>((1U << count) - 1U);
}

struct real_columns : real_top
{
    template <std::size_t run>
    static void subtract(const double* l, std::size_t stride, const double* u, double* c,
                         std::size_t from, std::size_t to)
    {
        __m512d scale[run];
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            scale[t] = _mm512_set1_pd(u[t]);
        std::size_t r = from;
        for (; r + width <= to; r += width) {
            __m512d sum = _mm512_loadu_pd(c + r);
#pragma GCC unroll 4
            for (std::size_t t = 0; t < run; ++t)
                sum = _mm512_fnmadd_pd(scale[t], _mm512_loadu_pd(l + t * stride + r), sum);
            _mm512_storeu_pd(c + r, sum);
        }
        if (r == to)
            return;
        const __mmask8 rest = first_lanes(to - r);
        __m512d sum = _mm512_maskz_loadu_pd(rest, c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            sum = _mm512_fnmadd_pd(scale[t], _mm512_maskz_loadu_pd(rest, l + t * stride + r), sum);
        _mm512_mask_storeu_pd(c + r, rest, sum);
    }
};

struct complex_columns : complex_top
{
    template <std::size_t run>
    static void subtract(const double* l, std::size_t stride, const double* u, double* c,
                         std::size_t from, std::size_t to)
    {
        __m512d real[run];
        __m512d imag[run];
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t) {
            real[t] = _mm512_set1_pd(u[2 * t]);
            const double im = u[2 * t + 1];
            imag[t] = _mm512_setr_pd(-im, im, -im, im, -im, im, -im, im);
        }
        const auto lost = [&](std::size_t t, __m512d entries, __m512d sum) {
            return _mm512_fnmadd_pd(imag[t], _mm512_permute_pd(entries, 0x55),
                                    _mm512_fnmadd_pd(real[t], entries, sum));
        };
        std::size_t r = from;
        for (; r + width <= to; r += width) {
            __m512d sum = _mm512_loadu_pd(c + r);
#pragma GCC unroll 4
            for (std::size_t t = 0; t < run; ++t)
                sum = lost(t, _mm512_loadu_pd(l + t * stride + r), sum);
            _mm512_storeu_pd(c + r, sum);
        }
        if (r == to)
            return;
        const __mmask8 rest = first_lanes(to - r);
        __m512d sum = _mm512_maskz_loadu_pd(rest, c + r);
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            sum = lost(t, _mm512_maskz_loadu_pd(rest, l + t * stride + r), sum);
        _mm512_mask_storeu_pd(c + r, rest, sum);
    }
};

} // namespace

void avx512_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                          std::size_t stride, std::size_t rows)
{
    apply_columns<real_columns>(run, l, dest, dest_columns, stride, rows);
}

void avx512_apply_complex_columns(std::size_t run, const double* l, double* dest,
                                  std::size_t dest_columns, std::size_t stride, std::size_t rows)
{
    apply_columns<complex_columns>(run, l, dest, dest_columns, stride, rows);
}

} // namespace numerical::detail
