#pragma once

// The register tiles that do nearly all of the arithmetic. Declarations only, so it may be included
// from any target.
//
//     C[rows × cols] += A panel · B panel,  rows <= mr, cols <= nr
//
// Position p of the B panel is at b + p·ldb. Each element of C is loaded, receives its products in
// ascending order of p in one accumulator, and is stored: so its bits depend neither on the shape
// of the tile that it falls into nor on where the operands lie. Beyond rows and cols C is left
// alone.

#include <array>
#include <complex>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t gemm_mr = 4;
template <class T>
constexpr std::size_t gemm_nr = 48 / sizeof(T) * 2; // 12 doubles, 6 complex numbers

// One tile's work. In a packed panel position p of A is at a + p·mr; in place, row r of position p
// is at a[r·lda + p]: what a panel costs to make is not earned back by a few columns. next_c is the
// tile that comes next, whose lines are asked for meanwhile; an address, never read.
template <class T>
struct tile_operands_of
{
    std::size_t kc;
    const T* a;
    std::size_t lda; // in place only
    const T* b;
    std::size_t ldb;
    T* c;
    std::size_t ldc;
    std::size_t rows;
    std::size_t cols;
    const T* next_c;
};

using tile_operands = tile_operands_of<double>;

void avx512_tile_f64(const tile_operands& t);
void avx512_tile_in_place_f64(const tile_operands& t);
void avx2_tile_f64(const tile_operands& t);
void avx2_tile_in_place_f64(const tile_operands& t);

// The portable sums: product and sum each rounded, complex products with C99 recovery.
template <class T>
void gemm_kernel(std::size_t kc, const T* a, const T* b, std::size_t ldb,
                 std::array<T, gemm_mr * gemm_nr<T>>& acc);

struct avx512_tile_kernel
{
    static constexpr auto tile = avx512_tile_f64;
    static constexpr auto tile_in_place = avx512_tile_in_place_f64;
};

struct avx2_tile_kernel
{
    static constexpr auto tile = avx2_tile_f64;
    static constexpr auto tile_in_place = avx2_tile_in_place_f64;
};

template <class T>
struct vector_tile_kernel
{
    static void tile(const tile_operands_of<T>& t);
};

} // namespace numerical::detail
