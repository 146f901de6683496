#include "numerical/svd/unfused_product.hpp"

#include <immintrin.h>

// Built for AVX2 without FMA.

namespace numerical::detail {
namespace {

struct tile_row
{
    __m256d left;
    __m256d right;
};

inline tile_row load_row(const double* c)
{
    return {_mm256_loadu_pd(c), _mm256_loadu_pd(c + 4)};
}

inline void store_row(double* c, const tile_row& row)
{
    _mm256_storeu_pd(c, row.left);
    _mm256_storeu_pd(c + 4, row.right);
}

inline void add_term(tile_row& row, double a, __m256d left, __m256d right)
{
    const __m256d scale = _mm256_set1_pd(a);
    row.left = _mm256_add_pd(row.left, _mm256_mul_pd(scale, left));
    row.right = _mm256_add_pd(row.right, _mm256_mul_pd(scale, right));
}

// a·b = (Re a·Re b - Im a·Im b, Re a·Im b + Im a·Re b)
inline __m256d complex_product(__m256d re, __m256d im, __m256d b)
{
    return _mm256_addsub_pd(_mm256_mul_pd(re, b), _mm256_mul_pd(im, _mm256_permute_pd(b, 0x5)));
}

inline void add_complex_term(tile_row& row, const double* a, __m256d left, __m256d right)
{
    const __m256d re = _mm256_set1_pd(a[0]);
    const __m256d im = _mm256_set1_pd(a[1]);
    row.left = _mm256_add_pd(row.left, complex_product(re, im, left));
    row.right = _mm256_add_pd(row.right, complex_product(re, im, right));
}

} // namespace

void avx2_unfused_tile(std::size_t depth, const double* a, const double* b, double* c,
                       std::size_t ldc)
{
    tile_row r0 = load_row(c);
    tile_row r1 = load_row(c + ldc);
    tile_row r2 = load_row(c + 2 * ldc);
    tile_row r3 = load_row(c + 3 * ldc);
    for (std::size_t p = 0; p < depth; ++p) {
        const __m256d left = _mm256_loadu_pd(b + 8 * p);
        const __m256d right = _mm256_loadu_pd(b + 8 * p + 4);
        add_term(r0, a[4 * p], left, right);
        add_term(r1, a[4 * p + 1], left, right);
        add_term(r2, a[4 * p + 2], left, right);
        add_term(r3, a[4 * p + 3], left, right);
    }
    store_row(c, r0);
    store_row(c + ldc, r1);
    store_row(c + 2 * ldc, r2);
    store_row(c + 3 * ldc, r3);
}

void avx2_unfused_complex_tile(std::size_t depth, const double* a, const double* b, double* c,
                               std::size_t ldc)
{
    tile_row r0 = load_row(c);
    tile_row r1 = load_row(c + ldc);
    tile_row r2 = load_row(c + 2 * ldc);
    tile_row r3 = load_row(c + 3 * ldc);
    for (std::size_t p = 0; p < depth; ++p) {
        const __m256d left = _mm256_loadu_pd(b + 8 * p);
        const __m256d right = _mm256_loadu_pd(b + 8 * p + 4);
        add_complex_term(r0, a + 8 * p, left, right);
        add_complex_term(r1, a + 8 * p + 2, left, right);
        add_complex_term(r2, a + 8 * p + 4, left, right);
        add_complex_term(r3, a + 8 * p + 6, left, right);
    }
    store_row(c, r0);
    store_row(c + ldc, r1);
    store_row(c + 2 * ldc, r2);
    store_row(c + 3 * ldc, r3);
}

} // namespace numerical::detail
