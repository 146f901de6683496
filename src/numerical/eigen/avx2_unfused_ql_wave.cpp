#include "numerical/eigen/ql_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t last = sweeps_of_wave - 1;

// The same number of each sweep.
template <double ql_sweep::*number>
__m256d gathered(const ql_sweep (&sweeps)[sweeps_of_wave])
{
    return _mm256_setr_pd(sweeps[0].*number, sweeps[1].*number, sweeps[2].*number,
                          sweeps[3].*number);
}

template <double ql_sweep::*number>
void scatter(__m256d lanes, ql_sweep (&sweeps)[sweeps_of_wave])
{
    double each[sweeps_of_wave];
    _mm256_storeu_pd(each, lanes);
    for (std::size_t j = 0; j < sweeps_of_wave; ++j)
        sweeps[j].*number = each[j];
}

// The elements that sweeps 1, 2 and 3 need first, in the lanes of those before them.
__m256d left_before(const double* x, std::size_t from)
{
    return _mm256_setr_pd(x[from + rows_between_sweeps], x[from + 2 * rows_between_sweeps],
                          x[from + 3 * rows_between_sweeps], 0);
}

// Each lane's number in the next lane, and *first in the first one.
__m256d handed_on(__m256d lanes, const double* first)
{
    const __m256d moved = _mm256_permute4x64_pd(lanes, _MM_SHUFFLE(2, 1, 0, 0));
    return _mm256_blend_pd(moved, _mm256_broadcast_sd(first), 1);
}

void store_last(double* x, __m256d lanes)
{
    _mm_storeh_pd(x, _mm256_extractf128_pd(lanes, 1));
}

// Four elements two apart.
void store_apart(double* x, __m256d lanes)
{
    double each[sweeps_of_wave];
    _mm256_storeu_pd(each, lanes);
    for (std::size_t j = 0; j < sweeps_of_wave; ++j)
        x[j * rows_between_sweeps] = each[j];
}

} // namespace

void avx2_unfused_run_ql_wave(double* d, double* e, std::size_t from, std::size_t to,
                              ql_sweep (&sweeps)[sweeps_of_wave])
{
    const __m256d one = _mm256_set1_pd(1);
    const __m256d least = _mm256_set1_pd(least_square);
    const __m256d shift = gathered<&ql_sweep::shift>(sweeps);
    __m256d gamma = gathered<&ql_sweep::gamma>(sweeps);
    __m256d p = gathered<&ql_sweep::p>(sweeps);
    __m256d cosine = gathered<&ql_sweep::cosine>(sweeps);
    __m256d sine = gathered<&ql_sweep::sine>(sweeps);
    __m256d entries = left_before(d, from);
    __m256d squares = left_before(e, from);
    for (std::size_t i = from + 1; i-- > to;) {
        const __m256d entry = handed_on(entries, d + i);
        const __m256d square = handed_on(squares, e + i);
        const __m256d length = _mm256_add_pd(p, square);
        const __m256d reciprocal = _mm256_div_pd(one, length);
        const __m256d turned = _mm256_sub_pd(_mm256_mul_pd(p, _mm256_sub_pd(entry, shift)),
                                             _mm256_mul_pd(square, gamma));
        __m256d next = _mm256_mul_pd(turned, reciprocal);
        __m256d next_p = _mm256_mul_pd(next, _mm256_div_pd(turned, p));
        __m256d next_cosine = _mm256_mul_pd(p, reciprocal);
        squares = _mm256_mul_pd(sine, length);
        sine = _mm256_mul_pd(square, reciprocal);
        const __m256d vanishes = _mm256_cmp_pd(p, least, _CMP_LT_OQ);
        if (_mm256_movemask_pd(vanishes) != 0) [[unlikely]] {
            next = _mm256_andnot_pd(vanishes, next);
            next_p = _mm256_blendv_pd(next_p, _mm256_mul_pd(cosine, square), vanishes);
            next_cosine = _mm256_andnot_pd(vanishes, next_cosine);
            sine = _mm256_blendv_pd(sine, one, vanishes);
        }
        entries = _mm256_add_pd(gamma, _mm256_sub_pd(entry, next));
        gamma = next;
        p = next_p;
        cosine = next_cosine;
        store_last(d + i + last * rows_between_sweeps + 1, entries);
        store_last(e + i + last * rows_between_sweeps + 1, squares);
    }
    store_apart(d + to + 1, entries);
    store_apart(e + to + 1, squares);
    scatter<&ql_sweep::gamma>(gamma, sweeps);
    scatter<&ql_sweep::p>(p, sweeps);
    scatter<&ql_sweep::cosine>(cosine, sweeps);
    scatter<&ql_sweep::sine>(sine, sweeps);
}

} // namespace numerical::detail
