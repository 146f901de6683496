#include "numerical/svd/arrow_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;

inline __m256d distance(__m256d pole, __m256d origin, __m256d gap)
{
    return _mm256_mul_pd(_mm256_sub_pd(_mm256_sub_pd(pole, origin), gap),
                         _mm256_add_pd(_mm256_add_pd(pole, origin), gap));
}

inline double distance(const pole_value_pairs& pairs, double pole, std::size_t q)
{
    return ((pole - pairs.origin[q]) - pairs.gap[q]) * ((pole + pairs.origin[q]) + pairs.gap[q]);
}

void multiply_ratios(double* square, const pole_value_pairs& pairs, std::size_t first,
                     std::size_t count, std::size_t from, std::size_t to)
{
    const double* const d = pairs.d + first;
    std::size_t i = 0;
    for (; i + width <= count; i += width) {
        const __m256d poles = _mm256_loadu_pd(d + i);
        __m256d squares = _mm256_loadu_pd(square + i);
        for (std::size_t j = from; j < to; ++j) {
            const __m256d other = _mm256_broadcast_sd(pairs.d + j);
            const __m256d between =
                _mm256_mul_pd(_mm256_sub_pd(poles, other), _mm256_add_pd(poles, other));
            const __m256d away = distance(poles, _mm256_broadcast_sd(pairs.origin + j),
                                          _mm256_broadcast_sd(pairs.gap + j));
            squares = _mm256_mul_pd(squares, _mm256_div_pd(away, between));
        }
        _mm256_storeu_pd(square + i, squares);
    }
    for (; i < count; ++i)
        for (std::size_t j = from; j < to; ++j)
            square[i] *= distance(pairs, d[i], j) / ((d[i] - pairs.d[j]) * (d[i] + pairs.d[j]));
}

inline void add_square(double* sum, __m256d x)
{
    _mm256_storeu_pd(sum, _mm256_add_pd(_mm256_loadu_pd(sum), _mm256_mul_pd(x, x)));
}

void fill_row(const arrow_row& row, const pole_value_pairs& pairs, std::size_t first,
              std::size_t count)
{
    const __m256d poles = _mm256_set1_pd(row.pole);
    const __m256d zs = _mm256_set1_pd(row.z);
    std::size_t q = 0;
    for (; q + width <= count; q += width) {
        const __m256d away = distance(poles, _mm256_loadu_pd(pairs.origin + first + q),
                                      _mm256_loadu_pd(pairs.gap + first + q));
        const __m256d x = _mm256_div_pd(zs, away);
        _mm256_storeu_pd(row.elements + q, x);
        add_square(row.right_squares + q, x);
        add_square(row.left_squares + q, _mm256_mul_pd(poles, x));
    }
    for (; q < count; ++q) {
        const double x = row.z / distance(pairs, row.pole, first + q);
        const double of_left = row.pole * x;
        row.elements[q] = x;
        row.right_squares[q] += x * x;
        row.left_squares[q] += of_left * of_left;
    }
}

void normalise_row(double* out, const double* row, double scale, const double* norms,
                   std::size_t count)
{
    const __m256d scales = _mm256_set1_pd(scale);
    std::size_t q = 0;
    for (; q + width <= count; q += width) {
        const __m256d scaled = _mm256_mul_pd(scales, _mm256_loadu_pd(row + q));
        _mm256_storeu_pd(out + q, _mm256_div_pd(scaled, _mm256_loadu_pd(norms + q)));
    }
    for (; q < count; ++q)
        out[q] = scale * row[q] / norms[q];
}

} // namespace

const arrow_kernels avx2_unfused_arrow_kernels{multiply_ratios, fill_row, normalise_row};

} // namespace numerical::detail
