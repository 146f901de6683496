#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/through_edge.hpp"
#include "numerical/gemm/tile_loops.hpp"

#include <immintrin.h>

// Of the 16 registers 12 hold C, two the position's row of B and one or two a broadcast of A. An
// edge tile has as many accumulators as it has rows; where columns are missing it works on a copy.
// Complex numbers of B come from a panel, their parts separate: separating them here would cost two
// shuffles a position and one register more than there are.

namespace numerical::detail {
namespace {

constexpr std::size_t mr = 6;
constexpr std::size_t nr = 8;
constexpr std::size_t width = lanes::width;

struct tile_lanes : lanes
{
    static constexpr std::size_t imaginary_positions = 2;
};

// Which columns of B may be read: behind the last one of an unpacked B the memory isn't ours.
struct all_columns
{
    using vectors = tile_lanes;
    static constexpr bool has_second = true;
    static constexpr bool masks_c = false;

    __m256d load_first(const double* b) const { return _mm256_loadu_pd(b); }

    __m256d load_second(const double* b) const { return _mm256_loadu_pd(b + width); }
};

// B where it lies, and each position is copied into a packed panel.
struct columns_into_panel : all_columns
{
    using unpacking = all_columns;
    double* panel;

    void write(__m256d first, __m256d second)
    {
        _mm256_storeu_pd(panel, first);
        _mm256_storeu_pd(panel + width, second);
        panel += nr;
    }
};

struct first_columns
{
    using vectors = tile_lanes;
    static constexpr bool has_second = false;
    static constexpr bool masks_c = false;

    __m256d load_first(const double* b) const { return _mm256_loadu_pd(b); }
};

// Lanes 0 to count, count < 4.
inline __m256i first_lanes(std::size_t count)
{
    const __m256i number = _mm256_set1_epi64x(static_cast<long long>(count));
    return _mm256_cmpgt_epi64(number, _mm256_setr_epi64x(0, 1, 2, 3));
}

struct part_of_first
{
    using vectors = tile_lanes;
    static constexpr bool has_second = false;
    static constexpr bool masks_c = false;
    __m256i lanes;

    __m256d load_first(const double* b) const { return _mm256_maskload_pd(b, lanes); }
};

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

void avx2_tile_packing_a_f64(const tile_operands& t)
{
    run_tile<mr, rows_into_panel<mr, 1>, elements::real>(t, all_columns{});
}

void avx2_tile_packing_b_f64(const tile_operands& t)
{
    run_tile<mr, packed_rows_beside_b<mr, nr>, elements::real>(t, columns_into_panel{{}, t.panel});
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
