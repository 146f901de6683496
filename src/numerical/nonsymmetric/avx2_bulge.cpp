#include "numerical/nonsymmetric/bulge_kernels.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/nonsymmetric/bulge_loops.hpp"

namespace numerical::detail {

void avx2_reflect_bulge_rows(double* rows, std::size_t stride, std::size_t n, const double* h)
{
    reflect_real_rows<lanes>(rows, stride, n, h);
}

void avx2_reflect_complex_bulge_rows(double* rows, std::size_t stride, std::size_t n,
                                     const double* h)
{
    reflect_complex_rows<lanes>(rows, stride, n, h);
}

// A row of H in a vector, with the fourth lane for the element that isn't changed. Elements are
// broadcast from memory, which costs nothing, whereas shuffles of a row would compete for one port.
void avx2_reflect_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                const double* h)
{
    const auto row_of_h = [h](std::size_t i) {
        return _mm256_setr_pd(real_entry(h, i, 0), real_entry(h, i, 1), real_entry(h, i, 2), 0.0);
    };
    const __m256d h0 = row_of_h(0);
    const __m256d h1 = row_of_h(1);
    const __m256d h2 = row_of_h(2);
    const __m256d h3 = _mm256_setr_pd(0.0, 0.0, 0.0, 1.0);
    for (std::size_t i = count; i-- > 0;) {
        double* const x = rows + i * stride;
        __m256d y = _mm256_mul_pd(_mm256_set1_pd(x[0]), h0);
        y = _mm256_fmadd_pd(_mm256_set1_pd(x[1]), h1, y);
        y = _mm256_fmadd_pd(_mm256_set1_pd(x[2]), h2, y);
        y = _mm256_fmadd_pd(_mm256_set1_pd(x[3]), h3, y);
        _mm256_storeu_pd(x, y);
    }
}

// Columns 0 and 1 in a vector of four doubles, column 2 in one of two.
void avx2_reflect_complex_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                        const double* h)
{
    __m256d left[3];
    __m256d left_turned[3];
    __m128d right[3];
    __m128d right_turned[3];
#pragma GCC unroll 3
    for (std::size_t i = 0; i < 3; ++i) {
        const complex_entry e0(h, i, 0);
        const complex_entry e1(h, i, 1);
        const complex_entry e2(h, i, 2);
        left[i] = _mm256_setr_pd(e0.re, e0.im, e1.re, e1.im);
        left_turned[i] = _mm256_setr_pd(-e0.im, e0.re, -e1.im, e1.re);
        right[i] = _mm_setr_pd(e2.re, e2.im);
        right_turned[i] = _mm_setr_pd(-e2.im, e2.re);
    }
    for (std::size_t r = 0; r < count; ++r) {
        double* const x = rows + 2 * r * stride;
        __m256d y = _mm256_mul_pd(_mm256_set1_pd(x[0]), left[0]);
        __m128d z = _mm_mul_pd(_mm_set1_pd(x[0]), right[0]);
        y = _mm256_fmadd_pd(_mm256_set1_pd(x[1]), left_turned[0], y);
        z = _mm_fmadd_pd(_mm_set1_pd(x[1]), right_turned[0], z);
#pragma GCC unroll 2
        for (std::size_t i = 1; i < 3; ++i) {
            y = _mm256_fmadd_pd(_mm256_set1_pd(x[2 * i]), left[i], y);
            z = _mm_fmadd_pd(_mm_set1_pd(x[2 * i]), right[i], z);
            y = _mm256_fmadd_pd(_mm256_set1_pd(x[2 * i + 1]), left_turned[i], y);
            z = _mm_fmadd_pd(_mm_set1_pd(x[2 * i + 1]), right_turned[i], z);
        }
        _mm256_storeu_pd(x, y);
        _mm_storeu_pd(x + 4, z);
    }
}

} // namespace numerical::detail
