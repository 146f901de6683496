#include "numerical/eigen/merge_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

inline __m256d distance(__m256d pole, __m256d origin, __m256d tau)
{
    return _mm256_sub_pd(_mm256_sub_pd(pole, origin), tau);
}

inline double distance(const pole_root_pairs& pairs, double pole, std::size_t q)
{
    return (pole - pairs.origin[q]) - pairs.tau[q];
}

void multiply_ratios(double* product, const pole_root_pairs& pairs, std::size_t first,
                     std::size_t count, std::size_t from, std::size_t to)
{
    const double* const d = pairs.d + first;
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        const __m256d poles = _mm256_loadu_pd(d + i);
        __m256d products = _mm256_loadu_pd(product + i);
        for (std::size_t j = from; j < to; ++j) {
            const __m256d left = distance(poles, _mm256_broadcast_sd(pairs.origin + j),
                                          _mm256_broadcast_sd(pairs.tau + j));
            const __m256d right = _mm256_sub_pd(poles, _mm256_broadcast_sd(pairs.d + j));
            products = _mm256_mul_pd(products, _mm256_div_pd(left, right));
        }
        _mm256_storeu_pd(product + i, products);
    }
    for (; i < count; ++i)
        for (std::size_t j = from; j < to; ++j)
            product[i] *= distance(pairs, d[i], j) / (d[i] - pairs.d[j]);
}

void add_squares(double* sums, const pole_root_pairs& pairs, const double* z, std::size_t size,
                 std::size_t first, std::size_t count)
{
    std::size_t q = 0;
    for (; q + width <= count; q += width) {
        const __m256d origin = _mm256_loadu_pd(pairs.origin + first + q);
        const __m256d tau = _mm256_loadu_pd(pairs.tau + first + q);
        __m256d sum = _mm256_loadu_pd(sums + q);
        for (std::size_t p = 0; p < size; ++p) {
            const __m256d element =
                _mm256_div_pd(_mm256_broadcast_sd(z + p),
                              distance(_mm256_broadcast_sd(pairs.d + p), origin, tau));
            sum = _mm256_add_pd(sum, _mm256_mul_pd(element, element));
        }
        _mm256_storeu_pd(sums + q, sum);
    }
    for (; q < count; ++q)
        for (std::size_t p = 0; p < size; ++p) {
            const double element = z[p] / distance(pairs, pairs.d[p], first + q);
            sums[q] += element * element;
        }
}

void divide_row(double* row, const pole_root_pairs& pairs, double z, double pole,
                const double* norms, std::size_t count)
{
    const __m256d zs = _mm256_set1_pd(z);
    const __m256d poles = _mm256_set1_pd(pole);
    std::size_t q = 0;
    for (; q + width <= count; q += width) {
        const __m256d away =
            distance(poles, _mm256_loadu_pd(pairs.origin + q), _mm256_loadu_pd(pairs.tau + q));
        _mm256_storeu_pd(row + q,
                         _mm256_div_pd(_mm256_div_pd(zs, away), _mm256_loadu_pd(norms + q)));
    }
    for (; q < count; ++q)
        row[q] = z / distance(pairs, pole, q) / norms[q];
}

} // namespace

const merge_kernels avx2_unfused_merge_kernels{multiply_ratios, add_squares, divide_row};

} // namespace numerical::detail
