#include "numerical/nonsymmetric/bulge_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/nonsymmetric/bulge_loops.hpp"

namespace numerical::detail {

void avx512_reflect_bulge_rows(double* rows, std::size_t stride, std::size_t n, const double* h)
{
    reflect_real_rows<lanes>(rows, stride, n, h);
}

void avx512_reflect_complex_bulge_rows(double* rows, std::size_t stride, std::size_t n,
                                       const double* h)
{
    reflect_complex_rows<lanes>(rows, stride, n, h);
}

// A row of H in a vector, with the fourth lane for the element that isn't changed: a store of four
// whole lanes is forwarded to the next reflector's load, which a masked store isn't.
void avx512_reflect_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                  const double* h)
{
    const auto row_of_h = [h](std::size_t i) {
        return _mm512_setr_pd(real_entry(h, i, 0), real_entry(h, i, 1), real_entry(h, i, 2), 0, 0,
                              0, 0, 0);
    };
    const __m512d h0 = row_of_h(0);
    const __m512d h1 = row_of_h(1);
    const __m512d h2 = row_of_h(2);
    const __m512d h3 = _mm512_setr_pd(0, 0, 0, 1, 0, 0, 0, 0);
    for (std::size_t i = count; i-- > 0;) {
        double* const x = rows + i * stride;
        __m512d y = _mm512_mul_pd(_mm512_set1_pd(x[0]), h0);
        y = _mm512_fmadd_pd(_mm512_set1_pd(x[1]), h1, y);
        y = _mm512_fmadd_pd(_mm512_set1_pd(x[2]), h2, y);
        y = _mm512_fmadd_pd(_mm512_set1_pd(x[3]), h3, y);
        _mm256_storeu_pd(x, _mm512_castpd512_pd256(y));
    }
}

// Elements are broadcast within each bulge's lanes.
void avx512_reflect_two_bulges_columns(double* rows, std::size_t stride, std::size_t count,
                                       const double* behind, const double* ahead)
{
    const __m512i first = _mm512_setr_epi64(0, 0, 0, 3, 3, 3, 6, 7);
    const __m512i second = _mm512_setr_epi64(1, 1, 1, 4, 4, 4, 6, 7);
    const __m512i third = _mm512_setr_epi64(2, 2, 2, 5, 5, 5, 6, 7);
    const __m512d w = _mm512_setr_pd(1, behind[1], behind[2], 1, ahead[1], ahead[2], 0, 0);
    const __m512d minus_tau =
        _mm512_setr_pd(-behind[0], -behind[0], -behind[0], -ahead[0], -ahead[0], -ahead[0], 0, 0);
    const __m512d minus_tau_w = _mm512_mul_pd(minus_tau, w);
    const __m512d h0 = _mm512_mul_pd(minus_tau_w, _mm512_permutexvar_pd(first, w));
    const __m512d h1 = _mm512_mul_pd(minus_tau_w, _mm512_permutexvar_pd(second, w));
    const __m512d h2 = _mm512_mul_pd(minus_tau_w, _mm512_permutexvar_pd(third, w));
    for (std::size_t i = 0; i < count; ++i) {
        double* const row = rows + i * stride;
        const __m512d x = _mm512_loadu_pd(row);
        __m512d y = _mm512_fmadd_pd(_mm512_permutexvar_pd(first, x), h0, x);
        y = _mm512_fmadd_pd(_mm512_permutexvar_pd(second, x), h1, y);
        _mm512_storeu_pd(row, _mm512_fmadd_pd(_mm512_permutexvar_pd(third, x), h2, y));
    }
}

void avx512_reflect_complex_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                          const double* h)
{
    __m512d row[3];
    __m512d turned[3];
#pragma GCC unroll 3
    for (std::size_t i = 0; i < 3; ++i) {
        const complex_entry e0(h, i, 0);
        const complex_entry e1(h, i, 1);
        const complex_entry e2(h, i, 2);
        row[i] = _mm512_setr_pd(e0.re, e0.im, e1.re, e1.im, e2.re, e2.im, 0, 0);
        turned[i] = _mm512_setr_pd(-e0.im, e0.re, -e1.im, e1.re, -e2.im, e2.re, 0, 0);
    }
    const auto six = lanes::first(6);
    for (std::size_t r = 0; r < count; ++r) {
        double* const x = rows + 2 * r * stride;
        __m512d y = _mm512_mul_pd(_mm512_set1_pd(x[0]), row[0]);
        y = _mm512_fmadd_pd(_mm512_set1_pd(x[1]), turned[0], y);
#pragma GCC unroll 2
        for (std::size_t i = 1; i < 3; ++i) {
            y = _mm512_fmadd_pd(_mm512_set1_pd(x[2 * i]), row[i], y);
            y = _mm512_fmadd_pd(_mm512_set1_pd(x[2 * i + 1]), turned[i], y);
        }
        lanes::store_those(x, six, y);
    }
}

} // namespace numerical::detail
