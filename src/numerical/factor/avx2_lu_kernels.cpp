#include "numerical/factor/lu_kernels.hpp"

#include "numerical/factor/lu_panel_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

struct real_columns : real_top
{
    template <std::size_t run>
    static void subtract(const double* l, std::size_t stride, const double* u, double* c,
                         std::size_t from, std::size_t to)
    {
        __m256d scale[run];
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t)
            scale[t] = _mm256_set1_pd(u[t]);
        for (std::size_t r = from; r < to; r += width) {
            __m256d sum = _mm256_loadu_pd(c + r);
#pragma GCC unroll 4
            for (std::size_t t = 0; t < run; ++t)
                sum = _mm256_fnmadd_pd(scale[t], _mm256_loadu_pd(l + t * stride + r), sum);
            _mm256_storeu_pd(c + r, sum);
        }
    }
};

struct complex_columns : complex_top
{
    template <std::size_t run>
    static void subtract(const double* l, std::size_t stride, const double* u, double* c,
                         std::size_t from, std::size_t to)
    {
        const __m256d signs = _mm256_setr_pd(-0.0, 0.0, -0.0, 0.0);
        __m256d real[run];
        __m256d imag[run];
#pragma GCC unroll 4
        for (std::size_t t = 0; t < run; ++t) {
            real[t] = _mm256_set1_pd(u[2 * t]);
            imag[t] = _mm256_xor_pd(signs, _mm256_set1_pd(u[2 * t + 1]));
        }
        for (std::size_t r = from; r < to; r += width) {
            __m256d sum = _mm256_loadu_pd(c + r);
#pragma GCC unroll 4
            for (std::size_t t = 0; t < run; ++t) {
                const __m256d entries = _mm256_loadu_pd(l + t * stride + r);
                sum = _mm256_fnmadd_pd(real[t], entries, sum);
                sum = _mm256_fnmadd_pd(imag[t], _mm256_permute_pd(entries, 0x5), sum);
            }
            _mm256_storeu_pd(c + r, sum);
        }
    }
};

} // namespace

void avx2_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                        std::size_t stride, std::size_t rows)
{
    apply_columns<real_columns>(run, l, dest, dest_columns, stride, rows);
}

void avx2_apply_complex_columns(std::size_t run, const double* l, double* dest,
                                std::size_t dest_columns, std::size_t stride, std::size_t rows)
{
    apply_columns<complex_columns>(run, l, dest, dest_columns, stride, rows);
}

} // namespace numerical::detail
