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

__m256d product_of_distances(__m256d poles, const pole_root_pairs& pairs, std::size_t j)
{
    return _mm256_mul_pd(
        distance(poles, _mm256_broadcast_sd(pairs.origin + j), _mm256_broadcast_sd(pairs.tau + j)),
        distance(poles, _mm256_broadcast_sd(pairs.origin + j + 1),
                 _mm256_broadcast_sd(pairs.tau + j + 1)));
}

__m256d product_of_gaps(__m256d poles, const double* d)
{
    return _mm256_mul_pd(_mm256_sub_pd(poles, _mm256_broadcast_sd(d)),
                         _mm256_sub_pd(poles, _mm256_broadcast_sd(d + 1)));
}

double ratio_of_four(const pole_root_pairs& pairs, double pole, std::size_t j)
{
    const double* const d = pairs.d + j;
    const double above = (distance(pairs, pole, j) * distance(pairs, pole, j + 1)) *
                         (distance(pairs, pole, j + 2) * distance(pairs, pole, j + 3));
    return above / (((pole - d[0]) * (pole - d[1])) * ((pole - d[2]) * (pole - d[3])));
}

void multiply_paired_ratios(double* product, const pole_root_pairs& pairs, std::size_t first,
                            std::size_t count, std::size_t from, std::size_t to)
{
    const double* const d = pairs.d + first;
    const std::size_t last = from + (to - from) / 4 * 4;
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        const __m256d poles = _mm256_loadu_pd(d + i);
        __m256d products = _mm256_loadu_pd(product + i);
        for (std::size_t j = from; j < last; j += 4) {
            const __m256d above = _mm256_mul_pd(product_of_distances(poles, pairs, j),
                                                product_of_distances(poles, pairs, j + 2));
            const __m256d below = _mm256_mul_pd(product_of_gaps(poles, pairs.d + j),
                                                product_of_gaps(poles, pairs.d + j + 2));
            products = _mm256_mul_pd(products, _mm256_div_pd(above, below));
        }
        _mm256_storeu_pd(product + i, products);
    }
    for (; i < count; ++i)
        for (std::size_t j = from; j < last; j += 4)
            product[i] *= ratio_of_four(pairs, d[i], j);
    multiply_ratios(product, pairs, first, count, last, to);
}

void add_two_squares(double& sum, const pole_root_pairs& pairs, const double* z, std::size_t p,
                     std::size_t q)
{
    const double x = distance(pairs, pairs.d[p], q);
    const double y = distance(pairs, pairs.d[p + 1], q);
    const double inverse = 1 / (x * y);
    const double over_x = (z[p] * y) * inverse;
    const double over_y = (z[p + 1] * x) * inverse;
    sum += over_x * over_x;
    sum += over_y * over_y;
}

void add_paired_squares(double* sums, const pole_root_pairs& pairs, const double* z,
                        std::size_t size, std::size_t first, std::size_t count)
{
    const std::size_t even = size / 2 * 2;
    const __m256d one = _mm256_set1_pd(1);
    std::size_t q = 0;
    for (; q + width <= count; q += width) {
        const __m256d origin = _mm256_loadu_pd(pairs.origin + first + q);
        const __m256d tau = _mm256_loadu_pd(pairs.tau + first + q);
        __m256d sum = _mm256_loadu_pd(sums + q);
        for (std::size_t p = 0; p < even; p += 2) {
            const __m256d x = distance(_mm256_broadcast_sd(pairs.d + p), origin, tau);
            const __m256d y = distance(_mm256_broadcast_sd(pairs.d + p + 1), origin, tau);
            const __m256d inverse = _mm256_div_pd(one, _mm256_mul_pd(x, y));
            const __m256d over_x =
                _mm256_mul_pd(_mm256_mul_pd(_mm256_broadcast_sd(z + p), y), inverse);
            const __m256d over_y =
                _mm256_mul_pd(_mm256_mul_pd(_mm256_broadcast_sd(z + p + 1), x), inverse);
            sum = _mm256_add_pd(sum, _mm256_mul_pd(over_x, over_x));
            sum = _mm256_add_pd(sum, _mm256_mul_pd(over_y, over_y));
        }
        _mm256_storeu_pd(sums + q, sum);
    }
    for (; q < count; ++q)
        for (std::size_t p = 0; p < even; p += 2)
            add_two_squares(sums[q], pairs, z, p, first + q);
    const pole_root_pairs last{pairs.d + even, pairs.origin, pairs.tau};
    add_squares(sums, last, z + even, size - even, first, count);
}

void divide_row_at_once(double* row, const pole_root_pairs& pairs, double z, double pole,
                        const double* norms, std::size_t count)
{
    const __m256d zs = _mm256_set1_pd(z);
    const __m256d poles = _mm256_set1_pd(pole);
    std::size_t q = 0;
    for (; q + width <= count; q += width) {
        const __m256d away =
            distance(poles, _mm256_loadu_pd(pairs.origin + q), _mm256_loadu_pd(pairs.tau + q));
        _mm256_storeu_pd(row + q,
                         _mm256_div_pd(zs, _mm256_mul_pd(away, _mm256_loadu_pd(norms + q))));
    }
    for (; q < count; ++q)
        row[q] = z / (distance(pairs, pole, q) * norms[q]);
}

} // namespace

const merge_kernels avx2_unfused_merge_kernels{multiply_ratios, add_squares, divide_row};
const merge_kernels avx2_unfused_paired_merge_kernels{multiply_paired_ratios, add_paired_squares,
                                                      divide_row_at_once};

} // namespace numerical::detail
