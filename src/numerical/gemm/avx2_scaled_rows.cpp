#include "numerical/counts.hpp"
#include "numerical/gemm/vector_product_kernels.hpp"

#include <immintrin.h>

// Eight rows are added in one pass over c, so that c is loaded and stored once for eight lines of
// the matrix; the eight factors stay in registers.

namespace numerical::detail {
namespace {

constexpr std::size_t width = 4;
constexpr std::size_t pass_rows = 8;
constexpr int to_second_cache = 2; // a prefetch

__m256i first_lanes(std::size_t count)
{
    alignas(32) static constexpr long long bits[2 * width] = {-1, -1, -1, -1, 0, 0, 0, 0};
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bits + width - count));
}

// Stores the first `count` of four, 1 to 3. A masked store takes many times as long.
void store_first(double* c, __m256d sum, std::size_t count)
{
    const __m128d low = _mm256_castpd256_pd128(sum);
    if (count == 1)
        return _mm_store_sd(c, low);
    _mm_storeu_pd(c, low);
    if (count == 3)
        _mm_store_sd(c + 2, _mm256_extractf128_pd(sum, 1));
}

// The operand of a row's factor: B as stored, or i·B, whose sign is moved to the factor.
struct as_it_lies
{
    static __m256d factor(const double* x) { return _mm256_broadcast_sd(x); }

    static __m256d row(__m256d b) { return b; }

    static constexpr bool prefetches_next = false;
};

struct turned
{
    static __m256d factor(const double* x)
    {
        return _mm256_xor_pd(_mm256_broadcast_sd(x), _mm256_setr_pd(-0.0, 0.0, -0.0, 0.0));
    }

    static __m256d row(__m256d b) { return _mm256_permute_pd(b, 0b0101); }

    static constexpr bool prefetches_next = true;
};

// The factor of row r of a pass and, by recursion, those below: each in a register of its own.
template <class Form, std::size_t rows>
struct factors
{
    __m256d first;
    factors<Form, rows - 1> below;

    factors(const double* x, std::size_t step) : first(Form::factor(x)), below(x + step, step) {}

    [[gnu::always_inline]] __m256d add(__m256d sum, const double* b, std::size_t ldb) const
    {
        return below.add(_mm256_fmadd_pd(first, Form::row(_mm256_loadu_pd(b)), sum), b + ldb, ldb);
    }

    [[gnu::always_inline]] void prefetch(const double* next, std::size_t ldb) const
    {
        __builtin_prefetch(next, 0, to_second_cache);
        below.prefetch(next + ldb, ldb);
    }

    [[gnu::always_inline]] __m256d add(__m256d sum, const double* b, std::size_t ldb,
                                       __m256i lanes) const
    {
        const __m256d row = Form::row(_mm256_maskload_pd(b, lanes));
        return below.add(_mm256_fmadd_pd(first, row, sum), b + ldb, ldb, lanes);
    }
};

template <class Form>
struct factors<Form, 0>
{
    factors(const double*, std::size_t) {}

    __m256d add(__m256d sum, const double*, std::size_t) const { return sum; }

    void prefetch(const double*, std::size_t) const {}

    __m256d add(__m256d sum, const double*, std::size_t, __m256i) const { return sum; }
};

template <class Form, std::size_t rows>
[[gnu::noinline]] void add_pass(const scaled_rows& s)
{
    const factors<Form, rows> x(s.x, s.step);
    const std::size_t ldb = s.ldb;
    const double* b = s.b;
    double* c = s.c;
    double* const last = c + s.cols / width * width;
    double* const last_line = c + s.cols / line_elements<double> * line_elements<double>;
    [[maybe_unused]] const double* next = s.next_b;
    for (; c != last_line; c += line_elements<double>, b += line_elements<double>) {
        _mm256_storeu_pd(c, x.add(_mm256_loadu_pd(c), b, ldb));
        _mm256_storeu_pd(c + width, x.add(_mm256_loadu_pd(c + width), b + width, ldb));
        if constexpr (Form::prefetches_next) {
            x.prefetch(next, ldb);
            next += line_elements<double>;
        }
    }
    for (; c != last; c += width, b += width)
        _mm256_storeu_pd(c, x.add(_mm256_loadu_pd(c), b, ldb));
    if (const std::size_t count = s.cols % width; count != 0) {
        const __m256i lanes = first_lanes(count);
        store_first(c, x.add(_mm256_maskload_pd(c, lanes), b, ldb, lanes), count);
    }
}

template <class Form, std::size_t most>
void add_rest(const scaled_rows& s, std::size_t rows)
{
    if constexpr (most != 0) {
        if (rows == most)
            add_pass<Form, most>(s);
        else
            add_rest<Form, most - 1>(s, rows);
    }
}

template <class Form>
void add_all(scaled_rows s)
{
    for (; s.depth >= pass_rows; s.depth -= pass_rows) {
        add_pass<Form, pass_rows>(s);
        s.x += pass_rows * s.step;
        s.b += pass_rows * s.ldb;
        if constexpr (Form::prefetches_next)
            s.next_b += pass_rows * s.ldb;
    }
    add_rest<Form, pass_rows - 1>(s, s.depth);
}

} // namespace

void avx2_add_scaled_rows(const scaled_rows& s)
{
    add_all<as_it_lies>(s);
}

void avx2_add_turned_scaled_rows(const scaled_rows& s)
{
    add_all<turned>(s);
}

} // namespace numerical::detail
