#pragma once

// How each kernel's product is cut for the caches (Goto and van de Geijn 2008): a tile of C in
// registers, task_panels panels of A, mr × kc each, and a group of four panels of B, kc ×
// nr each, in L2. On AVX-512 they take 576 and 256 KiB of 1 MiB or more, on AVX2 144 and 64 KiB of
// 256 KiB or more. The tiles load and store C once for each kc positions.

#include "numerical/gemm/tile_kernels.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t group_panels = 4;

// The depth of a block that reads B where it lies, each position perhaps on another page.
constexpr std::size_t depth_in_place = 256;

// mr_in_place: rows of a tile that reads A where it lies, as it does for products of up to
// in_place_cols columns; B is read so by those of up to in_place_rows rows, and of up to
// in_place_rows_beside_a where A is too. In products of more rows, up to own_panel_rows, each task
// packs B for itself, a group of panels at a time. Eight rows of AVX-512 rather than twelve: in
// short sums the loads and stores of C then hide behind the next tile.
template <class Kernel>
struct blocking;

template <>
struct blocking<avx512_tile_kernel>
{
    static constexpr std::size_t mr = 12;
    static constexpr std::size_t mr_in_place = 8;
    static constexpr std::size_t in_place_cols = 192;
    static constexpr std::size_t in_place_rows = 36;
    static constexpr std::size_t own_panel_rows = 144;
    static constexpr std::size_t in_place_rows_beside_a = 192;
    static constexpr std::size_t nr = 16;
    static constexpr std::size_t kc = 512;
    static constexpr std::size_t nc = 2048;
    static constexpr std::size_t panel_elements = 65536; // of B in L2 beside an A in place
    static constexpr std::size_t task_panels = 12;       // of A, in a task at most
    static constexpr std::size_t pack_work = 384;        // of a group of B, for each position
    // Of a row of tiles, for each position, in 16ths: so that a product for two threads takes one
    // of them 100 microseconds. Starting a loop costs 3 to 9, and a worker that sleeps or shares
    // its core with another program more.
    static constexpr std::size_t tile_work_16 = 64;
};

template <>
struct blocking<avx2_tile_kernel>
{
    static constexpr std::size_t mr = 6;
    static constexpr std::size_t mr_in_place = 6;
    static constexpr std::size_t in_place_cols = 96;
    static constexpr std::size_t in_place_rows = 24;
    static constexpr std::size_t own_panel_rows = 24;
    static constexpr std::size_t in_place_rows_beside_a = 64;
    static constexpr std::size_t nr = 8;
    static constexpr std::size_t kc = 256;
    static constexpr std::size_t nc = 1024;
    static constexpr std::size_t panel_elements = 24576;
    static constexpr std::size_t task_panels = 12;
    static constexpr std::size_t pack_work = 288;
    static constexpr std::size_t tile_work_16 = 32;
};

template <>
struct blocking<avx512_complex_tile_kernel> : blocking<avx512_tile_kernel>
{
    static constexpr std::size_t in_place_rows = 11; // its tiles take B apart each time
};

template <>
struct blocking<avx2_complex_tile_kernel> : blocking<avx2_tile_kernel>
{
    static constexpr std::size_t in_place_rows = 0;
    static constexpr std::size_t own_panel_rows = 0;
    static constexpr std::size_t in_place_rows_beside_a = 0;
};

// A is never packed and needs no choice of form.
template <class Base>
struct adjoint_blocking : blocking<Base>
{
    static constexpr std::size_t mr_in_place = blocking<Base>::mr;
    static constexpr std::size_t in_place_cols = 0;
    static constexpr std::size_t in_place_rows_beside_a = 0;
    static constexpr std::size_t kc = 256; // rows of A and B, which lie in place
};

template <>
struct blocking<avx512_adjoint_kernel> : adjoint_blocking<avx512_tile_kernel>
{
};

template <>
struct blocking<avx2_adjoint_kernel> : adjoint_blocking<avx2_tile_kernel>
{
};

template <>
struct blocking<avx512_complex_adjoint_kernel> : adjoint_blocking<avx512_tile_kernel>
{
};

template <>
struct blocking<avx2_complex_adjoint_kernel> : adjoint_blocking<avx2_tile_kernel>
{
};

template <>
struct blocking<vector_tile_kernel<double>>
{
    static constexpr std::size_t mr = gemm_mr;
    static constexpr std::size_t mr_in_place = gemm_mr;
    static constexpr std::size_t in_place_cols = 0;
    static constexpr std::size_t in_place_rows = 0;
    static constexpr std::size_t own_panel_rows = 0;
    static constexpr std::size_t in_place_rows_beside_a = 0;
    static constexpr std::size_t nr = gemm_nr<double>;
    static constexpr std::size_t kc = 256;
    static constexpr std::size_t nc = 1536;
    static constexpr std::size_t panel_elements = 0;
    static constexpr std::size_t task_panels = 16;
    static constexpr std::size_t pack_work = 64;
    static constexpr std::size_t tile_work_16 = 48;
};

template <>
struct blocking<vector_tile_kernel<std::complex<double>>>
{
    static constexpr std::size_t mr = gemm_mr;
    static constexpr std::size_t mr_in_place = gemm_mr;
    static constexpr std::size_t in_place_cols = 0;
    static constexpr std::size_t in_place_rows = 0;
    static constexpr std::size_t own_panel_rows = 0;
    static constexpr std::size_t in_place_rows_beside_a = 0;
    static constexpr std::size_t nr = gemm_nr<std::complex<double>>;
    static constexpr std::size_t kc = 256;
    static constexpr std::size_t nc = 768;
    static constexpr std::size_t panel_elements = 0;
    static constexpr std::size_t task_panels = 16;
    static constexpr std::size_t pack_work = 64;
    static constexpr std::size_t tile_work_16 = 24;
};

} // namespace numerical::detail
