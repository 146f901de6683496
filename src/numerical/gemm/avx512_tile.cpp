#include "numerical/counts.hpp"
#include "numerical/gemm/rows_of_a.hpp"
#include "numerical/gemm/tile_kernels.hpp"

#include <immintrin.h>

// Of the 32 registers 24 hold C, two the position's row of B, and the broadcasts of A take the
// rest. An edge tile has as many accumulators as it has rows, and works on C too: where columns are
// missing, loads and stores are masked.

namespace numerical::detail {
namespace {

constexpr std::size_t mr = 12;
constexpr std::size_t mr_in_place = 8;
constexpr std::size_t nr = 16;
constexpr std::size_t width = 8;
constexpr std::size_t ahead = 128;

// The columns that the tile has: both vectors, the first and a part of the second, a part of one.
struct both_vectors
{
    static constexpr bool has_second = true;

    __m512d load_first(const double* c) const { return _mm512_loadu_pd(c); }

    __m512d load_second(const double* c) const { return _mm512_loadu_pd(c + width); }

    void store_first(double* c, __m512d sum) const { _mm512_storeu_pd(c, sum); }

    void store_second(double* c, __m512d sum) const { _mm512_storeu_pd(c + width, sum); }
};

struct part_of_second
{
    static constexpr bool has_second = true;
    __mmask8 lanes;

    __m512d load_first(const double* c) const { return _mm512_loadu_pd(c); }

    __m512d load_second(const double* c) const { return _mm512_maskz_loadu_pd(lanes, c + width); }

    void store_first(double* c, __m512d sum) const { _mm512_storeu_pd(c, sum); }

    void store_second(double* c, __m512d sum) const
    {
        _mm512_mask_storeu_pd(c + width, lanes, sum);
    }
};

// Complex columns need both accumulators, however few they are.
struct part_of_both
{
    static constexpr bool has_second = true;
    __mmask8 first_lanes;
    __mmask8 second_lanes;

    __m512d load_first(const double* c) const { return _mm512_maskz_loadu_pd(first_lanes, c); }

    __m512d load_second(const double* c) const
    {
        return _mm512_maskz_loadu_pd(second_lanes, c + width);
    }

    void store_first(double* c, __m512d sum) const { _mm512_mask_storeu_pd(c, first_lanes, sum); }

    void store_second(double* c, __m512d sum) const
    {
        _mm512_mask_storeu_pd(c + width, second_lanes, sum);
    }
};

struct part_of_first
{
    static constexpr bool has_second = false;
    __mmask8 lanes;

    __m512d load_first(const double* c) const { return _mm512_maskz_loadu_pd(lanes, c); }

    void store_first(double* c, __m512d sum) const { _mm512_mask_storeu_pd(c, lanes, sum); }
};

// Two vectors of complex numbers to one of their real and one of their imaginary parts; the
// numbers' order changes on the way, and taken again the step leads back.
struct vector_pair
{
    __m512d first;
    __m512d second;

    vector_pair apart() const
    {
        return {_mm512_unpacklo_pd(first, second), _mm512_unpackhi_pd(first, second)};
    }
};

// Row r of the tile and, by recursion, those below: every accumulator has a name of its own, and
// none is an element of an array or reached through a call, for then it might live in memory.
template <std::size_t r, std::size_t rows, class Columns>
struct tile_rows
{
    __m512d first;
    __m512d second;
    tile_rows<r + 1, rows, Columns> below;

    [[gnu::always_inline]] void load(const Columns& columns, const double* c, std::size_t ldc)
    {
        first = columns.load_first(c);
        if constexpr (Columns::has_second)
            second = columns.load_second(c);
        below.load(columns, c + ldc, ldc);
    }

    [[gnu::always_inline]] void clear()
    {
        first = _mm512_setzero_pd();
        if constexpr (Columns::has_second)
            second = _mm512_setzero_pd();
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
        const __m512d scale = _mm512_set1_pd(*a.template row<r>());
        first = _mm512_fmadd_pd(scale, b.first, first);
        if constexpr (Columns::has_second)
            second = _mm512_fmadd_pd(scale, b.second, second);
        below.add(a, b);
    }

    // The products of imaginary parts of A with the parts of B.
    template <class Rows>
    [[gnu::always_inline]] void add_imaginary(const Rows& a, const vector_pair& b)
    {
        const __m512d scale = _mm512_set1_pd(*a.template row<r>());
        if constexpr (Rows::conjugated) {
            first = _mm512_fmadd_pd(scale, b.second, first);
            second = _mm512_fnmadd_pd(scale, b.first, second);
        } else {
            first = _mm512_fnmadd_pd(scale, b.second, first);
            second = _mm512_fmadd_pd(scale, b.first, second);
        }
        below.add_imaginary(a, b);
    }

    [[gnu::always_inline]] void store(const Columns& columns, double* c, std::size_t ldc) const
    {
        columns.store_first(c, first);
        if constexpr (Columns::has_second)
            columns.store_second(c, second);
        below.store(columns, c + ldc, ldc);
    }
};

template <std::size_t rows, class Columns>
struct tile_rows<rows, rows, Columns>
{
    [[gnu::always_inline]] void load(const Columns&, const double*, std::size_t) {}

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

    [[gnu::always_inline]] void store(const Columns&, double*, std::size_t) const {}
};

// What the tile's elements are, and how B's lie: complex ones in a panel are apart already.
enum class elements { real, complex_apart, complex_in_place };

[[gnu::always_inline]] inline void ask_for_panel(const double* b)
{
    __builtin_prefetch(b + ahead);
    __builtin_prefetch(b + ahead + line_elements<double>);
}

template <class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline vector_pair position_of(const double* b, const Columns& columns)
{
    if constexpr (!Rows::asks_for_next)
        ask_for_panel(b);
    if constexpr (kind == elements::complex_apart)
        return {_mm512_loadu_pd(b), _mm512_loadu_pd(b + width)};
    const __m512d first = columns.load_first(b);
    if constexpr (!Columns::has_second)
        return {first, first};
    else if constexpr (kind == elements::complex_in_place)
        return vector_pair{first, columns.load_second(b)}.apart();
    else
        return {first, columns.load_second(b)};
}

// Two positions per iteration: as fast as one, while four would spill. Where there is something to
// prefetch, the loop is cut into a part for each row, before which that row of the next tile is
// prefetched: all at one time they would take every miss buffer and hold up the panels.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::always_inline]] inline void add_products(tile_rows<0, rows, Columns>& sum,
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
[[gnu::always_inline]] inline void add_imaginary_products(tile_rows<0, rows, Columns>& sum,
                                                          const Columns& columns,
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
    for (std::size_t left = t.kc; left != 0; --left)
        add_position();
}

// A function of its own for each shape, so that no shape's registers suffer from another's.
template <std::size_t rows, class Rows, elements kind, class Columns>
[[gnu::noinline]] void run_tile(const tile_operands& t, Columns columns)
{
    tile_rows<0, rows, Columns> sum;
    if (t.into == into_c::store) {
        sum.clear();
    } else {
        sum.load(columns, t.c, t.ldc);
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
    sum.store(columns, c, t.ldc);
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

// The first `count` of eight lanes.
__mmask8 first_lanes(std::size_t count)
{
    return static_cast<__mmask8>((1U << count) - 1U);
}

template <class Rows>
void run_real(const tile_operands& t)
{
    if (t.cols == nr)
        run_rows<Rows::most, Rows, elements::real>(t, both_vectors{});
    else if (t.cols > width)
        run_rows<Rows::most, Rows, elements::real>(t, part_of_second{first_lanes(t.cols - width)});
    else
        run_rows<Rows::most, Rows, elements::real>(t, part_of_first{first_lanes(t.cols)});
}

template <class Rows, elements kind>
void run_complex(const tile_operands& t)
{
    if (t.cols == nr)
        run_rows<Rows::most, Rows, kind>(t, both_vectors{});
    else if (t.cols > width)
        run_rows<Rows::most, Rows, kind>(
            t, part_of_both{first_lanes(width), first_lanes(t.cols - width)});
    else
        run_rows<Rows::most, Rows, kind>(t, part_of_both{first_lanes(t.cols), first_lanes(0)});
}

} // namespace

void avx512_tile_f64(const tile_operands& t)
{
    run_real<packed_rows<mr>>(t);
}

void avx512_tile_in_place_f64(const tile_operands& t)
{
    run_real<rows_in_place<mr_in_place, 1>>(t);
}

void avx512_tile_c128(const tile_operands& t)
{
    run_complex<packed_rows<mr>, elements::complex_apart>(t);
}

void avx512_tile_a_in_place_c128(const tile_operands& t)
{
    run_complex<rows_in_place<mr_in_place, 2>, elements::complex_apart>(t);
}

void avx512_tile_in_place_c128(const tile_operands& t)
{
    run_complex<rows_in_place<mr_in_place, 2>, elements::complex_in_place>(t);
}

void avx512_adjoint_tile_f64(const tile_operands& t)
{
    run_real<adjoint_rows<mr, 1>>(t);
}

void avx512_adjoint_tile_c128(const tile_operands& t)
{
    run_complex<adjoint_rows<mr, 2>, elements::complex_in_place>(t);
}

} // namespace numerical::detail
