#pragma once

// The register tiles that do nearly all of the arithmetic. Declarations only, so it may be included
// from any target.
//
//     C[rows × cols] += A panel · B panel,  rows <= mr, cols <= nr
//
// Position p of the B panel is at b + p·ldb. Each element of C is loaded, or begins as zero,
// receives its products in ascending order of p in one accumulator, and is stored: so its bits
// depend neither on the shape of the tile that it falls into nor on where the operands lie. Beyond
// rows and cols C is left alone.

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>

namespace numerical::detail {

constexpr std::size_t gemm_mr = 4;
template <class T>
constexpr std::size_t gemm_nr = 48 / sizeof(T) * 2; // 12 doubles, 6 complex numbers

// Whether the products are added to C or overwrite what it held.
enum class into_c { add, store };

// One tile's work. In a packed panel position p of A is at a + p·mr; in place, row r of position p
// is at a[r·lda + p]: packing doesn't pay for a few columns. next_c is the tile that comes next,
// whose lines are prefetched meanwhile. So are next_a and next_b, the beginnings of runs of memory:
// a tile that reads A in place prefetches a line of each every two positions. One on a packed panel
// of A prefetches into L2 the line at next_b and goes on by step_b bytes, every two positions.
// These three are addresses, never dereferenced: they may lie behind the operand's end, or be null.
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
    std::uintptr_t next_c;
    std::uintptr_t next_a = 0;
    std::uintptr_t next_b = 0;
    std::size_t step_b = 0;
    std::size_t ahead_a = 0; // in place: the bytes by which the prefetch of A is ahead, 0 for none
    into_c into = into_c::add;
    T* panel = nullptr; // where a tile that packs an operand writes its panel
};

using tile_operands = tile_operands_of<double>;

void avx512_tile_f64(const tile_operands& t);
void avx512_tile_in_place_f64(const tile_operands& t);
void avx2_tile_f64(const tile_operands& t);
void avx2_tile_in_place_f64(const tile_operands& t);

// The same for complex operands, by their parts: kc counts complex positions, all else doubles. The
// numbers of C are pairs (real, imaginary). A packed panel of A holds the real parts of all
// positions, then the imaginary ones; each position of a packed panel of B holds the real parts of
// its numbers, the two halves interleaved, then the imaginary ones. Each element of C receives the
// products with the real parts of A in ascending order of p, then those with the imaginary parts.
void avx512_tile_c128(const tile_operands& t);
void avx512_tile_a_in_place_c128(const tile_operands& t); // B is packed
void avx512_tile_in_place_c128(const tile_operands& t);   // both in place
void avx2_tile_c128(const tile_operands& t);
void avx2_tile_a_in_place_c128(const tile_operands& t);

void avx512_tile_packing_a_f64(const tile_operands& t);
void avx512_tile_packing_b_f64(const tile_operands& t);
void avx512_tile_packing_a_c128(const tile_operands& t);
void avx512_tile_packing_b_c128(const tile_operands& t);
void avx2_tile_packing_a_f64(const tile_operands& t);
void avx2_tile_packing_b_f64(const tile_operands& t);

// The same for the adjoint of A, read where A lies: row r of position p is the conjugate of
// a[p·lda + r]. B may be packed or in place if real; of complex ones it is in place for AVX-512 and
// packed for AVX2.
void avx512_adjoint_tile_f64(const tile_operands& t);
void avx512_adjoint_tile_c128(const tile_operands& t);
void avx2_adjoint_tile_f64(const tile_operands& t);
void avx2_adjoint_tile_c128(const tile_operands& t);

// The portable sums: product and sum each rounded, complex products with C99 recovery.
template <class T>
void gemm_kernel(std::size_t kc, const T* a, const T* b, std::size_t ldb,
                 std::array<T, gemm_mr * gemm_nr<T>>& acc);

// `parts` real numbers make an element.
struct avx512_tile_kernel
{
    static constexpr std::size_t parts = 1;
    static constexpr auto tile = avx512_tile_f64;
    static constexpr auto tile_a_in_place = avx512_tile_in_place_f64;
    static constexpr auto tile_in_place = avx512_tile_in_place_f64;
    static constexpr auto tile_packing_a = avx512_tile_packing_a_f64;
    static constexpr auto tile_packing_b = avx512_tile_packing_b_f64;
};

struct avx2_tile_kernel
{
    static constexpr std::size_t parts = 1;
    static constexpr auto tile = avx2_tile_f64;
    static constexpr auto tile_a_in_place = avx2_tile_in_place_f64;
    static constexpr auto tile_in_place = avx2_tile_in_place_f64;
    static constexpr auto tile_packing_a = avx2_tile_packing_a_f64;
    static constexpr auto tile_packing_b = avx2_tile_packing_b_f64;
};

struct avx512_complex_tile_kernel
{
    static constexpr std::size_t parts = 2;
    static constexpr auto tile = avx512_tile_c128;
    static constexpr auto tile_a_in_place = avx512_tile_a_in_place_c128;
    static constexpr auto tile_in_place = avx512_tile_in_place_c128;
    static constexpr auto tile_packing_a = avx512_tile_packing_a_c128;
    static constexpr auto tile_packing_b = avx512_tile_packing_b_c128;
};

struct avx2_complex_tile_kernel
{
    static constexpr std::size_t parts = 2;
    static constexpr auto tile = avx2_tile_c128;
    static constexpr auto tile_a_in_place = avx2_tile_a_in_place_c128;
};

// Up to how many columns, in doubles, B is read in place.
struct avx512_adjoint_kernel
{
    static constexpr std::size_t parts = 1;
    static constexpr std::size_t in_place_cols_of_b = SIZE_MAX;
    static constexpr auto tile = avx512_adjoint_tile_f64;
};

struct avx2_adjoint_kernel
{
    static constexpr std::size_t parts = 1;
    static constexpr std::size_t in_place_cols_of_b = 96;
    static constexpr auto tile = avx2_adjoint_tile_f64;
};

struct avx512_complex_adjoint_kernel
{
    static constexpr std::size_t parts = 2;
    static constexpr std::size_t in_place_cols_of_b = SIZE_MAX;
    static constexpr auto tile = avx512_adjoint_tile_c128;
};

struct avx2_complex_adjoint_kernel
{
    static constexpr std::size_t parts = 2;
    static constexpr std::size_t in_place_cols_of_b = 0;
    static constexpr auto tile = avx2_adjoint_tile_c128;
};

template <class T>
struct vector_tile_kernel
{
    static constexpr std::size_t parts = 1;
    static void tile(const tile_operands_of<T>& t);
};

} // namespace numerical::detail
