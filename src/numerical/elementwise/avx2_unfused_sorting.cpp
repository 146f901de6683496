#include "numerical/elementwise/sorting_kernels.hpp"

#include <immintrin.h>

// Each run is a lane, and a comparison of two places orders them in all runs at once by a minimum
// and a maximum: no branch and no shuffle.

namespace numerical::detail {
namespace {

constexpr std::size_t width = runs_side_by_side;

void order(double* x, double* y)
{
    const __m256d first = _mm256_load_pd(x);
    const __m256d second = _mm256_load_pd(y);
    _mm256_store_pd(x, _mm256_min_pd(first, second));
    _mm256_store_pd(y, _mm256_max_pd(first, second));
}

// Places i and i + d are ordered for all i < n - d that have p's bit as in r.
void order_places(double* lanes, std::size_t n, std::size_t p, std::size_t r, std::size_t d)
{
    for (std::size_t first = r; first + d < n; first += 2 * p) {
        const std::size_t end = first + p < n - d ? first + p : n - d;
        for (std::size_t i = first; i < end; ++i)
            order(lanes + i * width, lanes + (i + d) * width);
    }
}

// The network of Batcher (1968) for any number of places (Knuth 1998, volume 3, section 5.2.2,
// algorithm M).
void sort_lanes(double* lanes, std::size_t n)
{
    std::size_t top = 1;
    while (2 * top < n)
        top *= 2;
    for (std::size_t p = n > 1 ? top : 0; p != 0; p /= 2) {
        order_places(lanes, n, p, 0, p);
        for (std::size_t q = top; q != p; q /= 2)
            order_places(lanes, n, p, p, q - p);
    }
}

// The numbers with `sign` at place i of all runs, +0 for zeros and an infinity for NaNs; `special`
// gathers where those or negative zeros were.
__m256d sortable(const four_runs& runs, std::size_t i, __m256d sign, __m256d& special)
{
    const std::size_t at = i * runs.stride;
    const __m256d x =
        _mm256_setr_pd(runs.from[0][at], runs.from[1][at], runs.from[2][at], runs.from[3][at]);
    const __m256d zero = _mm256_setzero_pd();
    const __m256d is_nan = _mm256_cmp_pd(x, x, _CMP_UNORD_Q);
    const __m256d is_zero = _mm256_cmp_pd(x, zero, _CMP_EQ_OQ);
    special = _mm256_or_pd(special, _mm256_or_pd(is_nan, _mm256_and_pd(is_zero, x)));
    const __m256d number = _mm256_add_pd(_mm256_xor_pd(x, sign), zero); // -0 + 0 is +0
    return _mm256_blendv_pd(number, _mm256_set1_pd(__builtin_huge_val()), is_nan);
}

void store_runs(const four_runs& runs, std::size_t i, __m256d x)
{
    const std::size_t at = i * runs.stride;
    const __m128d low = _mm256_castpd256_pd128(x);
    const __m128d high = _mm256_extractf128_pd(x, 1);
    _mm_storel_pd(runs.to[0] + at, low);
    _mm_storeh_pd(runs.to[1] + at, low);
    _mm_storel_pd(runs.to[2] + at, high);
    _mm_storeh_pd(runs.to[3] + at, high);
}

// Descending order is that of the numbers with the other sign.
bool sort_runs(const four_runs& runs, __m256d sign)
{
    __m256d special = _mm256_setzero_pd();
    for (std::size_t i = 0; i < runs.n; ++i)
        _mm256_store_pd(runs.lanes + i * width, sortable(runs, i, sign, special));
    sort_lanes(runs.lanes, runs.n);
    for (std::size_t i = 0; i < runs.n; ++i) {
        const __m256d x = _mm256_xor_pd(_mm256_load_pd(runs.lanes + i * width), sign);
        store_runs(runs, i, _mm256_add_pd(x, _mm256_setzero_pd())); // no -0 here either
    }
    return _mm256_movemask_pd(special) != 0;
}

} // namespace

bool avx2_unfused_sort_ascending(const four_runs& runs)
{
    return sort_runs(runs, _mm256_setzero_pd());
}

bool avx2_unfused_sort_descending(const four_runs& runs)
{
    return sort_runs(runs, _mm256_set1_pd(-0.0));
}

} // namespace numerical::detail
