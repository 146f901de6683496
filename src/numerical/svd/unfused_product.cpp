#include "numerical/svd/unfused_product.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace numerical::detail {
namespace {

constexpr std::size_t tile_rows = 4;
constexpr std::size_t block_depth = 256;
constexpr std::size_t block_rows = 64; // A's block stays in the L1 and L2 caches

template <class T>
constexpr std::size_t tile_columns = 8 * sizeof(double) / sizeof(T);

template <class T>
struct product
{
    std::size_t m;
    std::size_t n;
    std::size_t k;
    const T* a;
    std::size_t lda;
    const T* b;
    std::size_t ldb;
    T* c;
    std::size_t ldc;
};

void run_tile(std::size_t depth, const double* a, const double* b, double* c, std::size_t ldc)
{
    avx2_unfused_tile(depth, a, b, c, ldc);
}

void run_tile(std::size_t depth, const complex* a, const complex* b, complex* c, std::size_t ldc)
{
    avx2_unfused_complex_tile(depth, reinterpret_cast<const double*>(a),
                              reinterpret_cast<const double*>(b), reinterpret_cast<double*>(c),
                              2 * ldc);
}

// Rows [from, from + 4) of A, positions [p0, p0 + depth), a position's elements together; zeros
// beyond the last row.
template <class T>
void pack_rows(const product<T>& of, std::size_t from, std::size_t p0, std::size_t depth, T* packed)
{
    for (std::size_t p = 0; p < depth; ++p)
        for (std::size_t r = 0; r < tile_rows; ++r)
            packed[p * tile_rows + r] = from + r < of.m ? of.a[(from + r) * of.lda + p0 + p] : T(0);
}

// Columns [from, from + width) of B, positions [p0, p0 + depth), zeros up to a tile's columns.
template <class T>
void pack_columns(const product<T>& of, std::size_t from, std::size_t p0, std::size_t depth,
                  T* packed)
{
    const std::size_t width = std::min(tile_columns<T>, of.n - from);
    for (std::size_t p = 0; p < depth; ++p) {
        T* const to = packed + p * tile_columns<T>;
        std::copy_n(of.b + (p0 + p) * of.ldb + from, width, to);
        std::fill(to + width, to + tile_columns<T>, T(0));
    }
}

// A tile that reaches over the edge of C, by way of a full one.
template <class T>
void run_edge_tile(std::size_t depth, const T* a, const T* b, T* c, std::size_t ldc,
                   std::size_t rows, std::size_t cols)
{
    std::array<T, tile_rows * tile_columns<T>> tile{};
    for (std::size_t i = 0; i < rows; ++i)
        std::copy_n(c + i * ldc, cols, tile.data() + i * tile_columns<T>);
    run_tile(depth, a, b, tile.data(), tile_columns<T>);
    for (std::size_t i = 0; i < rows; ++i)
        std::copy_n(tile.data() + i * tile_columns<T>, cols, c + i * ldc);
}

// Rows [from, to) of C gain the products of positions [p0, p0 + depth).
template <class T>
void add_block(const product<T>& of, std::size_t from, std::size_t to, std::size_t p0,
               std::size_t depth)
{
    std::vector<T> rows((to - from + tile_rows - 1) / tile_rows * tile_rows * depth);
    for (std::size_t i = from; i < to; i += tile_rows)
        pack_rows(of, i, p0, depth, rows.data() + (i - from) * depth);
    std::vector<T> columns(depth * tile_columns<T>);
    for (std::size_t j = 0; j < of.n; j += tile_columns<T>) {
        pack_columns(of, j, p0, depth, columns.data());
        const std::size_t width = std::min(tile_columns<T>, of.n - j);
        for (std::size_t i = from; i < to; i += tile_rows) {
            const T* const panel = rows.data() + (i - from) * depth;
            T* const corner = of.c + i * of.ldc + j;
            if (i + tile_rows <= to && width == tile_columns<T>)
                run_tile(depth, panel, columns.data(), corner, of.ldc);
            else
                run_edge_tile(depth, panel, columns.data(), corner, of.ldc,
                              std::min(tile_rows, to - i), width);
        }
    }
}

template <class T>
void add_in_tiles(const product<T>& of)
{
    for (std::size_t p0 = 0; p0 < of.k; p0 += block_depth)
        for (std::size_t from = 0; from < of.m; from += block_rows)
            add_block(of, from, std::min(from + block_rows, of.m), p0,
                      std::min(block_depth, of.k - p0));
}

template <class T>
void add_row_by_row(const product<T>& of)
{
    for (std::size_t i = 0; i < of.m; ++i)
        for (std::size_t p = 0; p < of.k; ++p) {
            const T scale = of.a[i * of.lda + p];
            for (std::size_t j = 0; j < of.n; ++j)
                of.c[i * of.ldc + j] += scale * of.b[p * of.ldb + j];
        }
}

// Tiles multiply by the quick formula; where that makes a NaN the full product may not.
bool has_nan(const product<complex>& of)
{
    for (std::size_t i = 0; i < of.m; ++i)
        for (std::size_t j = 0; j < of.n; ++j) {
            const complex& z = of.c[i * of.ldc + j];
            if (std::isnan(z.real()) || std::isnan(z.imag()))
                return true;
        }
    return false;
}

} // namespace

template <>
void add_unfused_product(std::size_t m, std::size_t n, std::size_t k, const double* a,
                         std::size_t lda, const double* b, std::size_t ldb, double* c,
                         std::size_t ldc)
{
    const product<double> of{m, n, k, a, lda, b, ldb, c, ldc};
    if (gemm_path_current() == portable_path)
        add_row_by_row(of);
    else
        add_in_tiles(of);
}

template <>
void add_unfused_product(std::size_t m, std::size_t n, std::size_t k, const complex* a,
                         std::size_t lda, const complex* b, std::size_t ldb, complex* c,
                         std::size_t ldc)
{
    const product<complex> of{m, n, k, a, lda, b, ldb, c, ldc};
    if (gemm_path_current() != portable_path) {
        std::vector<complex> sums = reserved<complex>(m * n);
        for (std::size_t i = 0; i < m; ++i)
            sums.insert(sums.end(), c + i * ldc, c + i * ldc + n);
        const product<complex> aside{m, n, k, a, lda, b, ldb, sums.data(), n};
        add_in_tiles(aside);
        if (!has_nan(aside)) {
            for (std::size_t i = 0; i < m; ++i)
                std::copy_n(sums.data() + i * n, n, c + i * ldc);
            return;
        }
    }
    add_row_by_row(of);
}

} // namespace numerical::detail
