#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/tile_loops.hpp"

#include <immintrin.h>

// Of the 32 registers 24 hold C, two the position's row of B, and the broadcasts of A take the
// rest. An edge tile has as many accumulators as it has rows, and works on C too: where columns are
// missing, loads and stores are masked.

namespace numerical::detail {
namespace {

constexpr std::size_t mr = 12;
constexpr std::size_t mr_in_place = 8;
constexpr std::size_t nr = 16;
constexpr std::size_t width = lanes::width;

struct tile_lanes : lanes
{
    static constexpr std::size_t imaginary_positions = 1;
};

// The columns that the tile has: both vectors, the first and a part of the second, a part of one.
struct both_vectors
{
    using vectors = tile_lanes;
    static constexpr bool has_second = true;
    static constexpr bool masks_c = true;

    __m512d load_first(const double* c) const { return _mm512_loadu_pd(c); }

    __m512d load_second(const double* c) const { return _mm512_loadu_pd(c + width); }

    void store_first(double* c, __m512d sum) const { _mm512_storeu_pd(c, sum); }

    void store_second(double* c, __m512d sum) const { _mm512_storeu_pd(c + width, sum); }
};

// B where it lies, and each position is copied into a packed panel.
struct columns_into_panel : both_vectors
{
    using unpacking = both_vectors;
    double* panel;

    void write(__m512d first, __m512d second)
    {
        _mm512_storeu_pd(panel, first);
        _mm512_storeu_pd(panel + width, second);
        panel += nr;
    }
};

struct part_of_second
{
    using vectors = tile_lanes;
    static constexpr bool has_second = true;
    static constexpr bool masks_c = true;
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
    using vectors = tile_lanes;
    static constexpr bool has_second = true;
    static constexpr bool masks_c = true;
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
    using vectors = tile_lanes;
    static constexpr bool has_second = false;
    static constexpr bool masks_c = true;
    __mmask8 lanes;

    __m512d load_first(const double* c) const { return _mm512_maskz_loadu_pd(lanes, c); }

    void store_first(double* c, __m512d sum) const { _mm512_mask_storeu_pd(c, lanes, sum); }
};

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

void avx512_tile_packing_a_f64(const tile_operands& t)
{
    run_tile<mr, rows_into_panel<mr, 1>, elements::real>(t, both_vectors{});
}

void avx512_tile_packing_b_f64(const tile_operands& t)
{
    run_tile<mr, packed_rows_beside_b<mr, nr>, elements::real>(t, columns_into_panel{{}, t.panel});
}

void avx512_tile_packing_a_c128(const tile_operands& t)
{
    run_tile<mr, rows_into_panel<mr, 2>, elements::complex_apart>(t, both_vectors{});
}

void avx512_tile_packing_b_c128(const tile_operands& t)
{
    run_tile<mr, packed_rows_beside_b<mr, nr>, elements::complex_in_place>(
        t, columns_into_panel{{}, t.panel});
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
