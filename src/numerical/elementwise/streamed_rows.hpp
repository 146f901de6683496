#pragma once

// Long rows are written past the caches. A plain store first reads its cache line, and the results
// evict the operands: for a row as large as a core's share of L3 that is half of the traffic. A row
// of `streamed_from` or more numbers is therefore computed in blocks that stay in L1 and copied
// from there by non-temporal stores of whole lines, which read nothing. The bits are those of plain
// stores. Each target needs its own copy: hence the internal linkage.

#include <cstddef>
#include <cstdint>
#include <emmintrin.h>

namespace numerical::detail {

constexpr std::size_t streamed_from = std::size_t{5} << 18; // 10 MiB of doubles

namespace {

constexpr std::size_t streamed_block = 64; // numbers, eight lines

// The number of doubles before the start of the next cache line; even if `out` is a multiple of 16
// bytes, as that of complex numbers is.
inline std::size_t before_line(const double* out)
{
    return (64 - reinterpret_cast<std::uintptr_t>(out) % 64) % 64 / sizeof(double);
}

// compute(first, to, count) writes the numbers [first, first + count) of the row to `to`; it is
// called for pieces of any even count, except for the last. Stream::copy(from, to) copies a block
// to the start of a line.
template <class Stream, class Compute>
void write_row(double* out, std::size_t n, const Compute& compute)
{
    if (n < streamed_from) {
        compute(0, out, n);
        return;
    }
    std::size_t done = before_line(out);
    compute(0, out, done);
    alignas(64) double block[streamed_block];
    for (; done + streamed_block <= n; done += streamed_block) {
        compute(done, block, streamed_block);
        Stream::copy(block, out + done);
    }
    compute(done, out + done, n - done);
    _mm_sfence(); // non-temporal stores are unordered, and another thread may read the tensor
}

template <class F>
void numbers_of(const double* __restrict x, double* __restrict out, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = F()(x[j]);
}

// out[j] = F()(x[j]) for n numbers.
template <class Stream, class F>
void each_number(const double* x, double* out, std::size_t n)
{
    write_row<Stream>(out, n, [x](std::size_t first, double* to, std::size_t count) {
        numbers_of<F>(x + first, to, count);
    });
}

template <class Stream, class F>
constexpr auto number_row_of(F)
{
    return each_number<Stream, F>;
}

// Vectors of two numbers, which every x86-64 processor has.
struct portable_stream
{
    // Bit j is set where x[j] isn't zero, equals the value, or is NaN.
    static unsigned int true_of_four(const double* x)
    {
        return bits_of(_mm_cmpneq_pd(_mm_loadu_pd(x), _mm_setzero_pd()),
                       _mm_cmpneq_pd(_mm_loadu_pd(x + 2), _mm_setzero_pd()));
    }

    static unsigned int equal_of_four(const double* x, double value)
    {
        const __m128d both = _mm_set1_pd(value);
        return bits_of(_mm_cmpeq_pd(_mm_loadu_pd(x), both),
                       _mm_cmpeq_pd(_mm_loadu_pd(x + 2), both));
    }

    static unsigned int nan_of_four(const double* x)
    {
        const __m128d low = _mm_loadu_pd(x);
        const __m128d high = _mm_loadu_pd(x + 2);
        return bits_of(_mm_cmpunord_pd(low, low), _mm_cmpunord_pd(high, high));
    }

    static void copy(const double* from, double* to)
    {
        for (std::size_t j = 0; j < streamed_block; j += 2)
            _mm_stream_pd(to + j, _mm_load_pd(from + j));
    }

private:
    static unsigned int bits_of(__m128d low, __m128d high)
    {
        return static_cast<unsigned int>(_mm_movemask_pd(low) | _mm_movemask_pd(high) << 2);
    }
};

} // namespace
} // namespace numerical::detail
