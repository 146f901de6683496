#include "numerical/eigen/rotation_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// A whole strip at a time.
struct columns
{
    __m512d left;
    __m512d right;
};

inline columns load(const double* row)
{
    return {_mm512_loadu_pd(row), _mm512_loadu_pd(row + 8)};
}

inline void store(double* row, const columns& values)
{
    _mm512_storeu_pd(row, values.left);
    _mm512_storeu_pd(row + 8, values.right);
}

// The row that is left, and the moving one in place.
inline columns rotate(columns& moving, const columns& next, const double* pair)
{
    const __m512d c = _mm512_set1_pd(pair[0]);
    const __m512d s = _mm512_set1_pd(pair[1]);
    const columns out{_mm512_add_pd(_mm512_mul_pd(c, moving.left), _mm512_mul_pd(s, next.left)),
                      _mm512_add_pd(_mm512_mul_pd(c, moving.right), _mm512_mul_pd(s, next.right))};
    moving.left = _mm512_sub_pd(_mm512_mul_pd(c, next.left), _mm512_mul_pd(s, moving.left));
    moving.right = _mm512_sub_pd(_mm512_mul_pd(c, next.right), _mm512_mul_pd(s, moving.right));
    return out;
}

} // namespace

void avx512_rotate_chain(double* strip, const rotation_wave& wave)
{
    const std::ptrdiff_t step = wave.step * static_cast<std::ptrdiff_t>(strip_width);
    double* row = strip + wave.row * strip_width;
    columns moving = load(row);
    const double* pair = wave.coefficients;
    for (std::size_t t = 0; t < wave.length; ++t, pair += 2) {
        store(row, rotate(moving, load(row + step), pair));
        row += step;
    }
    store(row, moving);
}

void avx512_rotate_wave(double* strip, const rotation_wave& wave)
{
    const std::ptrdiff_t step = wave.step * static_cast<std::ptrdiff_t>(strip_width);
    double* row = strip + wave.row * strip_width;
    columns moving0 = load(row);
    columns moving1 = load(row - step);
    columns moving2 = load(row - 2 * step);
    columns moving3 = load(row - 3 * step);
    const double* pairs = wave.coefficients;
    for (std::size_t t = 0; t < wave.length; ++t, pairs += 2 * wave_chains) {
        const columns out0 = rotate(moving0, load(row + step), pairs);
        const columns out1 = rotate(moving1, out0, pairs + 2);
        const columns out2 = rotate(moving2, out1, pairs + 4);
        store(row - 3 * step, rotate(moving3, out2, pairs + 6));
        row += step;
    }
    store(row, moving0);
    store(row - step, moving1);
    store(row - 2 * step, moving2);
    store(row - 3 * step, moving3);
}

} // namespace numerical::detail
