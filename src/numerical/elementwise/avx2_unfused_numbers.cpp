#include "numerical/elementwise/number_kernels.hpp"

#include "numerical/elementwise/avx2_stream.hpp"
#include "numerical/elementwise/number_loops.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

// By the instruction for it, of which the compiler makes no vectors, as it could raise an inexact
// exception; so told, it raises none.
template <int direction>
void integers_of(const double* x, double* out, std::size_t n)
{
    constexpr int how = direction | _MM_FROUND_NO_EXC;
    const std::size_t whole = n - n % 4;
    for (std::size_t j = 0; j < whole; j += 4)
        _mm256_storeu_pd(out + j, _mm256_round_pd(_mm256_loadu_pd(x + j), how));
    for (std::size_t j = whole; j < n; ++j)
        _mm_store_sd(out + j, _mm_round_pd(_mm_load_sd(x + j), how));
}

template <int direction>
void each_integer(const double* x, double* out, std::size_t n)
{
    write_row<avx2_stream>(out, n, [x](std::size_t first, double* to, std::size_t count) {
        integers_of<direction>(x + first, to, count);
    });
}

struct integers_by_instruction
{
    static constexpr number_row floor = each_integer<_MM_FROUND_TO_NEG_INF>;
    static constexpr number_row ceil = each_integer<_MM_FROUND_TO_POS_INF>;
    static constexpr number_row trunc = each_integer<_MM_FROUND_TO_ZERO>;
};

} // namespace

constexpr number_kernels avx2_unfused_numbers =
    number_kernels_with<avx2_stream, integers_by_instruction>;

} // namespace numerical::detail
