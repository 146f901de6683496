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

// Row r of the tile and, by recursion, those below: every accumulator has a name of its own, and
// none is an element of an array or reached through a call, for then it might live in memory.
template <std::size_t r, std::size_t rows>
struct tile_rows
{
    __m256d first;
    __m256d second;
    tile_rows<r + 1, rows> below;

    [[gnu::always_inline]] void load(const double* c, std::size_t ldc)
    {
        first = _mm256_loadu_pd(c);
        second = _mm256_loadu_pd(c + width);
        below.load(c + ldc, ldc);
    }

    template <class Rows>
    [[gnu::always_inline]] void add(const Rows& a, __m256d b_first, __m256d b_second)
    {
        const __m256d scale = _mm256_broadcast_sd(a.template row<r>());
        first = _mm256_fmadd_pd(scale, b_first, first);
        second = _mm256_fmadd_pd(scale, b_second, second);
        below.add(a, b_first, b_second);
    }

    [[gnu::always_inline]] void store(double* c, std::size_t ldc) const
    {
        _mm256_storeu_pd(c, first);
        _mm256_storeu_pd(c + width, second);
        below.store(c + ldc, ldc);
    }
};

template <std::size_t rows>
struct tile_rows<rows, rows>
{
    [[gnu::always_inline]] void load(const double*, std::size_t) {}

    template <class Rows>
    [[gnu::always_inline]] void add(const Rows&, __m256d, __m256d)
    {
    }

    [[gnu::always_inline]] void store(double*, std::size_t) const {}
};

template <std::size_t rows, class Rows>
[[gnu::always_inline]] inline void add_position(tile_rows<0, rows>& sum, Rows& a, const double*& b,
                                                std::size_t ldb)
{
    sum.add(a, _mm256_loadu_pd(b), _mm256_loadu_pd(b + width));
    a.advance();
    b += ldb;
}

// Two positions a turn: as fast as one, while four would spill. A function of its own for each
// shape, so that no shape's registers suffer from another's.
template <std::size_t rows, class Rows>
[[gnu::noinline]] void run_tile(std::size_t kc, const double* first, std::size_t lda,
                                const double* b, std::size_t ldb, double* c, std::size_t ldc)
{
    Rows a(first, lda);
    tile_rows<0, rows> sum;
    sum.load(c, ldc);
    if (kc % 2 != 0)
        add_position(sum, a, b, ldb);
    for (std::size_t pairs = kc / 2; pairs != 0; --pairs) {
        add_position(sum, a, b, ldb);
        add_position(sum, a, b, ldb);
    }
    sum.store(c, ldc);
}

template <std::size_t most, class Rows>
void run_rows(std::size_t kc, const double* a, std::size_t lda, const double* b, std::size_t ldb,
              double* c, std::size_t ldc, std::size_t rows)
{
    if constexpr (most != 0) {
        if (rows == most)
            return run_tile<most, Rows>(kc, a, lda, b, ldb, c, ldc);
        run_rows<most - 1, Rows>(kc, a, lda, b, ldb, c, ldc, rows);
    }
}

template <class Rows>
void run_any(std::size_t kc, const double* a, std::size_t lda, const double* b, std::size_t ldb,
             double* c, std::size_t ldc, std::size_t rows, std::size_t cols)
{
    const auto run = [&](double* tile, std::size_t stride) {
        run_rows<mr, Rows>(kc, a, lda, b, ldb, tile, stride, rows);
    };
    if (cols == nr)
        return run(c, ldc);
    through_edge<mr, nr>(c, ldc, rows, cols, run);
}

} // namespace

void avx2_full_tile_f64(std::size_t kc, const double* a, const double* b, std::size_t ldb,
                        double* c, std::size_t ldc)
{
    run_tile<mr, packed_rows<mr>>(kc, a, mr, b, ldb, c, ldc);
}

void avx2_tile_f64(std::size_t kc, const double* a, const double* b, std::size_t ldb, double* c,
                   std::size_t ldc, std::size_t rows, std::size_t cols)
{
    run_any<packed_rows<mr>>(kc, a, mr, b, ldb, c, ldc, rows, cols);
}

void avx2_tile_in_place_f64(std::size_t kc, const double* a, std::size_t lda, const double* b,
                            std::size_t ldb, double* c, std::size_t ldc, std::size_t rows,
                            std::size_t cols)
{
    run_any<rows_in_place>(kc, a, lda, b, ldb, c, ldc, rows, cols);
}

} // namespace numerical::detail
