#include "numerical/gemm/vector_product_kernels.hpp"

#include <immintrin.h>

// Four rows are turned in registers, so that a vector holds one position of all four, and up to
// four such groups run side by side: one group's additions would wait for each other.

namespace numerical::detail {
namespace {

constexpr std::size_t group_rows = 4;

// How far the rows of a group lie behind its first. Of a group that lacks rows the last one takes
// their place; the sums made of it are never used.
struct row_offsets
{
    std::size_t second;
    std::size_t third;
    std::size_t fourth;

    row_offsets(std::size_t count, std::size_t lda)
        : second(count > 1 ? lda : 0), third(count > 2 ? 2 * lda : second),
          fourth(count > 3 ? 3 * lda : third)
    {
    }
};

// A square of four rows and four neighbouring numbers, by its columns.
struct turned_square
{
    __m256d c0;
    __m256d c1;
    __m256d c2;
    __m256d c3;
};

[[gnu::always_inline]] inline __m256d halves(const double* low, const double* high)
{
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
}

// Loads put the halves together, which leaves one shuffle for each column.
[[gnu::always_inline]] inline turned_square square_at(const double* a, const row_offsets& row)
{
    const __m256d even = halves(a, a + row.third);
    const __m256d odd = halves(a + row.second, a + row.fourth);
    const __m256d later_even = halves(a + 2, a + row.third + 2);
    const __m256d later_odd = halves(a + row.second + 2, a + row.fourth + 2);
    return {_mm256_unpacklo_pd(even, odd), _mm256_unpackhi_pd(even, odd),
            _mm256_unpacklo_pd(later_even, later_odd), _mm256_unpackhi_pd(later_even, later_odd)};
}

[[gnu::always_inline]] inline __m256d column_at(const double* a, const row_offsets& row)
{
    return _mm256_setr_pd(a[0], a[row.second], a[row.third], a[row.fourth]);
}

// The sums of a group and, by recursion, of those below: each accumulator has a name of its own.
template <std::size_t groups>
struct real_groups
{
    const double* a;
    __m256d sum;
    real_groups<groups - 1> below;

    real_groups(const double* first, std::size_t lda, const double* sums)
        : a(first), sum(_mm256_loadu_pd(sums)),
          below(first + group_rows * lda, lda, sums + group_rows)
    {
    }

    [[gnu::always_inline]] void add_four(const row_offsets& whole, const row_offsets& last,
                                         const turned_square& x)
    {
        const turned_square square = square_at(a, groups == 1 ? last : whole);
        sum = _mm256_fmadd_pd(square.c0, x.c0, sum);
        sum = _mm256_fmadd_pd(square.c1, x.c1, sum);
        sum = _mm256_fmadd_pd(square.c2, x.c2, sum);
        sum = _mm256_fmadd_pd(square.c3, x.c3, sum);
        a += 4;
        below.add_four(whole, last, x);
    }

    [[gnu::always_inline]] void add_one(const row_offsets& whole, const row_offsets& last,
                                        __m256d x)
    {
        sum = _mm256_fmadd_pd(column_at(a, groups == 1 ? last : whole), x, sum);
        a += 1;
        below.add_one(whole, last, x);
    }

    void store(double* sums) const
    {
        _mm256_storeu_pd(sums, sum);
        below.store(sums + group_rows);
    }
};

template <>
struct real_groups<0>
{
    real_groups(const double*, std::size_t, const double*) {}

    void add_four(const row_offsets&, const row_offsets&, const turned_square&) {}

    void add_one(const row_offsets&, const row_offsets&, __m256d) {}

    void store(double*) const {}
};

template <std::size_t groups>
[[gnu::noinline]] void add_real(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums)
{
    real_groups<groups> group(a, lda, sums);
    const row_offsets whole(group_rows, lda);
    const row_offsets last(rows - (groups - 1) * group_rows, lda);
    for (; depth >= 4; depth -= 4, x += 4)
        group.add_four(whole, last,
                       {_mm256_broadcast_sd(x), _mm256_broadcast_sd(x + 1),
                        _mm256_broadcast_sd(x + 2), _mm256_broadcast_sd(x + 3)});
    for (; depth != 0; --depth, ++x)
        group.add_one(whole, last, _mm256_broadcast_sd(x));
    group.store(sums);
}

} // namespace

void avx2_add_rows_times_vector(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums)
{
    if (rows > 3 * group_rows)
        return add_real<4>(rows, depth, a, lda, x, sums);
    if (rows > 2 * group_rows)
        return add_real<3>(rows, depth, a, lda, x, sums);
    if (rows > group_rows)
        return add_real<2>(rows, depth, a, lda, x, sums);
    add_real<1>(rows, depth, a, lda, x, sums);
}

namespace {

constexpr std::size_t line = 8; // doubles

constexpr int to_second_cache = 2; // a prefetch

// The real and the imaginary parts of a group's sums. While the products with the real parts of A
// are added, the imaginary ones are put aside, position after position, so that A is read once.
template <std::size_t groups>
struct complex_groups
{
    const double* a;
    __m256d real;
    __m256d imag;
    complex_groups<groups - 1> below;

    complex_groups(const double* first, std::size_t lda, const double* sums)
        : a(first), real(_mm256_loadu_pd(sums)),
          imag(_mm256_loadu_pd(sums + most_complex_rows_of_vector_product)),
          below(first + group_rows * lda, lda, sums + group_rows)
    {
    }

    [[gnu::always_inline]] void add_real(const row_offsets& whole, const row_offsets& last,
                                         __m256d x_real, __m256d x_imag, double* aside)
    {
        const row_offsets& row = groups == 1 ? last : whole;
        const __m256d even = halves(a, a + row.third);
        const __m256d odd = halves(a + row.second, a + row.fourth);
        const __m256d a_real = _mm256_unpacklo_pd(even, odd);
        _mm256_storeu_pd(aside, _mm256_unpackhi_pd(even, odd));
        real = _mm256_fmadd_pd(a_real, x_real, real);
        imag = _mm256_fmadd_pd(a_real, x_imag, imag);
        a += 2;
        below.add_real(whole, last, x_real, x_imag, aside + group_rows);
    }

    [[gnu::always_inline]] void add_imag(__m256d x_real, __m256d x_imag, const double* aside)
    {
        const __m256d a_imag = _mm256_loadu_pd(aside);
        real = _mm256_fnmadd_pd(a_imag, x_imag, real);
        imag = _mm256_fmadd_pd(a_imag, x_real, imag);
        below.add_imag(x_real, x_imag, aside + group_rows);
    }

    [[gnu::always_inline]] void ask_for(const double* next, const row_offsets& row,
                                        std::size_t lda) const
    {
        __builtin_prefetch(next, 0, to_second_cache);
        __builtin_prefetch(next + row.second, 0, to_second_cache);
        __builtin_prefetch(next + row.third, 0, to_second_cache);
        __builtin_prefetch(next + row.fourth, 0, to_second_cache);
        below.ask_for(next + group_rows * lda, row, lda);
    }

    void store(double* sums) const
    {
        _mm256_storeu_pd(sums, real);
        _mm256_storeu_pd(sums + most_complex_rows_of_vector_product, imag);
        below.store(sums + group_rows);
    }
};

template <>
struct complex_groups<0>
{
    complex_groups(const double*, std::size_t, const double*) {}

    void add_real(const row_offsets&, const row_offsets&, __m256d, __m256d, double*) {}

    void add_imag(__m256d, __m256d, const double*) {}

    void ask_for(const double*, const row_offsets&, std::size_t) const {}

    void store(double*) const {}
};

// Each line of A that was added is followed by a line for each row of what comes next, into L2:
// memory isn't idle while the imaginary parts are added.
template <std::size_t groups>
[[gnu::noinline]] void add_complex(const complex_rows_times_vector& p)
{
    constexpr std::size_t step = groups * group_rows;
    constexpr std::size_t line_positions = 4;
    complex_groups<groups> group(p.a, p.lda, p.sums);
    const row_offsets whole(group_rows, p.lda);
    const row_offsets last(p.rows - (groups - 1) * group_rows, p.lda);
    const double* x = p.x;
    double* aside = p.aside;
    for (std::size_t l = p.depth; l != 0; --l, x += 2, aside += step)
        group.add_real(whole, last, _mm256_broadcast_sd(x), _mm256_broadcast_sd(x + 1), aside);
    x = p.x;
    const double* imag = p.aside;
    const auto add_position = [&]() __attribute__((always_inline))
    {
        group.add_imag(_mm256_broadcast_sd(x), _mm256_broadcast_sd(x + 1), imag);
        x += 2;
        imag += step;
    };
    const double* next = p.next_a;
    std::size_t left = p.depth;
    for (; left >= line_positions; left -= line_positions, next += line) {
        add_position();
        add_position();
        add_position();
        add_position();
        group.ask_for(next, whole, p.lda);
    }
    for (; left != 0; --left)
        add_position();
    group.store(p.sums);
}

} // namespace

void avx2_add_complex_rows_times_vector(const complex_rows_times_vector& p)
{
    if (p.rows > group_rows)
        return add_complex<2>(p);
    add_complex<1>(p);
}

} // namespace numerical::detail
