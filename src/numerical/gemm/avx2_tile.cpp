#include "numerical/counts.hpp"
#include "numerical/gemm/rows_of_a.hpp"
#include "numerical/gemm/through_edge.hpp"
#include "numerical/gemm/tile_kernels.hpp"

#include <immintrin.h>

// Of the 16 registers 12 hold C, two the position's row of B and one or two a broadcast of A. An
// edge tile has as many accumulators as it has rows; where columns are missing it works on a copy.

namespace numerical::detail {
namespace {

constexpr std::size_t mr = 6;
constexpr std::size_t nr = 8;
constexpr std::size_t width = 4;
constexpr std::size_t ahead = 128;

// Two vectors of complex numbers to one of their real and one of their imaginary parts; the
// numbers' order changes on the way, and taken again the step leads back.
struct vector_pair
{
    __m256d first;
    __m256d second;

    vector_pair apart() const
    {
        return {_mm256_unpacklo_pd(first, second), _mm256_unpackhi_pd(first, second)};
    }
};

// Row r of the tile and, by recursion, those below: every accumulator has a name of its own, and
// none is an element of an array or reached through a call, for then it might live in memory.
template <std::size_t r, std::size_t rows, bool has_second>
struct tile_rows
{
    __m256d first;
    __m256d second;
    tile_rows<r + 1, rows, has_second> below;

    [[gnu::always_inline]] void load(const double* c, std::size_t ldc)
    {
        first = _mm256_loadu_pd(c);
        if constexpr (has_second)
            second = _mm256_loadu_pd(c + width);
        below.load(c + ldc, ldc);
    }

    [[gnu::always_inline]] void clear()
    {
        first = _mm256_setzero_pd();
        if constexpr (has_second)
            second = _mm256_setzero_pd();
        below.clear();
    }

    [[gnu::always_inline]] void take_apart()
    {
        const vector_pair parts = vector_pair{first, second}.apart();
        first = parts.first;
        second = parts.second;
        below.take_apart();
    }

    template <class Rows>
    [[gnu::always_inline]] void add(const Rows& a, const vector_pair& b)
    {
        const __m256d scale = _mm256_broadcast_sd(a.template row<r>());
        first = _mm256_fmadd_pd(scale, b.first, first);
        if constexpr (has_second)
            second = _mm256_fmadd_pd(scale, b.second, second);
        below.add(a, b);
    }

    // The products of imaginary parts of A with the parts of B.
    template <class Rows>
    [[gnu::always_inline]] void add_imaginary(const Rows& a, const vector_pair& b)
    {
        const __m256d scale = _mm256_broadcast_sd(a.template row<r>());
        if constexpr (Rows::conjugated) {
            first = _mm256_fmadd_pd(scale, b.second, first);
            second = _mm256_fnmadd_pd(scale, b.first, second);
        } else {
            first = _mm256_fnmadd_pd(scale, b.second, first);
            second = _mm256_fmadd_pd(scale, b.first, second);
        }
        below.add_imaginary(a, b);
    }

    [[gnu::always_inline]] void store(double* c, std::size_t ldc) const
    {
        _mm256_storeu_pd(c, first);
        if constexpr (has_second)
            _mm256_storeu_pd(c + width, second);
        below.store(c + ldc, ldc);
    }
};

template <std::size_t rows, bool has_second>
struct tile_rows<rows, rows, has_second>
{
    [[gnu::always_inline]] void load(const double*, std::size_t) {}

    [[gnu::always_inline]] void clear() {}

    [[gnu::always_inline]] void take_apart() {}

    template <class Rows>
    [[gnu::always_inline]] void add(const Rows&, const vector_pair&)
    {
    }

    template <class Rows>
    [[gnu::always_inline]] void add_imaginary(const Rows&, const vector_pair&)
    {
    }

    [[gnu::always_inline]] void store(double*, std::size_t) const {}
};

// The columns of a position of B that the tile has: in place there may be none of ours beyond.
struct all_columns
{
    static constexpr bool has_second = true;

    __m256d first(const double* b) const { return _mm256_loadu_pd(b); }

    __m256d second(const double* b) const { return _mm256_loadu_pd(b + width); }
};

struct first_columns
{
    static constexpr bool has_second = false;

    __m256d first(const double* b) const { return _mm256_loadu_pd(b); }

    __m256d second(const double*) const { return _mm256_setzero_pd(); }
};

// Lanes 0 to count, count < 4.
inline __m256i first_lanes(std::size_t count)
{
    const __m256i number = _mm256_set1_epi64x(static_cast<long long>(count));
    return _mm256_cmpgt_epi64(number, _mm256_setr_epi64x(0, 1, 2, 3));
}

struct part_of_first
{
    static constexpr bool has_second = false;
    __m256i lanes;

    __m256d first(const double* b) const { return _mm256_maskload_pd(b, lanes); }

    __m256d second(const double*) const { return _mm256_setzero_pd(); }
};

// What the tile's elements are. Complex ones of B come from a panel, apart already: to take them
// apart here would cost two shuffles a position and a register more than there are.
enum class elements { real, complex_apart };

[[gnu::always_inline]] inline void ask_for_panel(const double* b)
{
    __builtin_prefetch(b + ahead);
}

template <class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline vector_pair position_of(const double* b, const Columns& columns)
{
    if constexpr (!Rows::asks_for_next)
        ask_for_panel(b);
    if constexpr (kind == elements::complex_apart)
        return {_mm256_loadu_pd(b), _mm256_loadu_pd(b + width)};
    else
        return {columns.first(b), columns.second(b)};
}

// Two positions per iteration: as fast as one, while four would spill. Where there is something to
// prefetch, the loop is cut into a part for each row, before which that row of the next tile is
// prefetched: all at one time they would take every miss buffer and hold up the panels.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline void add_products(tile_rows<0, rows, Columns::has_second>& sum,
                                                const Columns& columns, const tile_operands& t)
{
    Rows a(t.a, t.lda);
    const double* b = t.b;
    const auto add_position = [&]() __attribute__((always_inline))
    {
        sum.add(a, position_of<Rows, kind>(b, columns));
        a.advance();
        b += t.ldb;
    };
    if (t.kc % 2 != 0)
        add_position();
    std::size_t left = t.kc / 2;
    const bool near = t.next_c == reinterpret_cast<std::uintptr_t>(t.c);
    if constexpr (Rows::asks_for_next)
        if (near) {
            for (; left != 0; --left) {
                add_position();
                add_position();
            }
            return;
        }
    std::uintptr_t next = t.next_c;
    std::uintptr_t next_a = t.next_a;
    std::uintptr_t next_b = t.next_b;
    const auto ask_for_next = [](std::uintptr_t & stretch) __attribute__((always_inline))
    {
        if constexpr (Rows::asks_for_next) {
            ask_for(stretch);
            stretch += line_bytes;
        }
    };
    const std::size_t stretches = near ? 1 : rows;
    const std::size_t stretch = left / rows;
    for (std::size_t r = stretches; r != 0; --r, next += t.ldc * sizeof(double)) {
        for (std::size_t at = 0; at < nr; at += line_elements<double>)
            ask_for(next + at * sizeof(double));
        ask_for(next + (nr - 1) * sizeof(double));
        const std::size_t after = r == 1 ? 0 : left - stretch;
        for (; left != after; --left) {
            ask_for_next(next_a);
            add_position();
            ask_for_next(next_b);
            add_position();
        }
    }
}

// Of complex rows those were the real parts; now the imaginary ones.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline void
add_imaginary_products(tile_rows<0, rows, Columns::has_second>& sum, const Columns& columns,
                       const tile_operands& t)
{
    Rows a(Rows::imaginary(t.a, t.kc), t.lda);
    const double* b = t.b;
    const auto add_position = [&]() __attribute__((always_inline))
    {
        sum.add_imaginary(a, position_of<Rows, kind>(b, columns));
        a.advance();
        b += t.ldb;
    };
    if (t.kc % 2 != 0)
        add_position();
    for (std::size_t left = t.kc / 2; left != 0; --left) {
        add_position();
        add_position();
    }
}

// A function of its own for each shape, so that no shape's registers suffer from another's.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::noinline]] void run_tile(const tile_operands& t, Columns columns)
{
    tile_rows<0, rows, Columns::has_second> sum;
    if (t.into == into_c::store) {
        sum.clear();
    } else {
        sum.load(t.c, t.ldc);
        if constexpr (kind != elements::real)
            sum.take_apart();
    }
    add_products<rows, Rows, kind>(sum, columns, t);
    if constexpr (kind != elements::real) {
        add_imaginary_products<rows, Rows, kind>(sum, columns, t);
        sum.take_apart();
    }
    double* c = t.c;
    asm("" : "+r"(c)); // the rows' addresses are made anew: kept, they would take registers
    sum.store(c, t.ldc);
}

template <std::size_t most, class Rows, elements kind, class Columns>
void run_rows(const tile_operands& t, Columns columns)
{
    if constexpr (most != 0) {
        if (t.rows == most)
            return run_tile<most, Rows, kind>(t, columns);
        run_rows<most - 1, Rows, kind>(t, columns);
    }
}

// Five to seven columns go by halves: a mask besides twelve accumulators would spill.
template <class Rows>
void run_real_edge(const tile_operands& t)
{
    if (t.cols < width)
        return run_rows<Rows::most, Rows, elements::real>(t, part_of_first{first_lanes(t.cols)});
    run_rows<Rows::most, Rows, elements::real>(t, first_columns{});
    tile_operands rest = t;
    rest.b += width;
    rest.c += width;
    run_rows<Rows::most, Rows, elements::real>(rest, part_of_first{first_lanes(t.cols - width)});
}

template <class Rows, elements kind>
void run_any(const tile_operands& t)
{
    const auto run = [&t](double* c, std::size_t ldc) {
        tile_operands whole = t;
        whole.c = c;
        whole.ldc = ldc;
        if constexpr (kind == elements::real)
            run_real_edge<Rows>(whole);
        else
            run_rows<Rows::most, Rows, kind>(whole, all_columns{});
    };
    if (t.cols == nr)
        return run_rows<Rows::most, Rows, kind>(t, all_columns{});
    if constexpr (kind == elements::real)
        if (t.cols == width)
            return run_rows<Rows::most, Rows, kind>(t, first_columns{});
    through_edge<mr, nr>(t, run);
}

} // namespace

void avx2_tile_f64(const tile_operands& t)
{
    run_any<packed_rows<mr>, elements::real>(t);
}

void avx2_tile_in_place_f64(const tile_operands& t)
{
    run_any<rows_in_place<mr, 1>, elements::real>(t);
}

void avx2_tile_c128(const tile_operands& t)
{
    run_any<packed_rows<mr>, elements::complex_apart>(t);
}

void avx2_tile_a_in_place_c128(const tile_operands& t)
{
    run_any<rows_in_place<mr, 2>, elements::complex_apart>(t);
}

void avx2_adjoint_tile_f64(const tile_operands& t)
{
    run_any<adjoint_rows<mr, 1>, elements::real>(t);
}

void avx2_adjoint_tile_c128(const tile_operands& t)
{
    run_any<adjoint_rows<mr, 2>, elements::complex_apart>(t);
}

} // namespace numerical::detail
