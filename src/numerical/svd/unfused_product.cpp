#include "numerical/svd/unfused_product.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/unfused_tile.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

namespace numerical::detail {
namespace {

constexpr std::size_t block_depth = 256;
constexpr std::size_t block_rows = 512; // few enough for A's block to stay in a cache

template <class T>
constexpr std::size_t tile_columns = unfused_tile_doubles * sizeof(double) / sizeof(T);

// What adds to a tile of so many rows.
template <class T>
struct tile_kernel
{
    std::size_t rows;
    void (*add)(std::size_t depth, const T* a, const T* b, T* c, std::size_t ldc);
};

constexpr std::size_t greatest_rows = avx512_unfused_rows;
constexpr std::size_t portable_rows = 4;

template <class T>
void add_to_portable_tile(std::size_t depth, const T* a, const T* b, T* c, std::size_t ldc)
{
    for (std::size_t r = 0; r < portable_rows; ++r)
        for (std::size_t p = 0; p < depth; ++p)
            for (std::size_t j = 0; j < tile_columns<T>; ++j)
                c[r * ldc + j] += a[p * portable_rows + r] * b[p * tile_columns<T> + j];
}

template <class T>
constexpr tile_kernel<T> portable_tile{portable_rows, add_to_portable_tile<T>};

void avx2_complex_tile(std::size_t depth, const complex* a, const complex* b, complex* c,
                       std::size_t ldc)
{
    avx2_unfused_complex_tile(depth, reinterpret_cast<const double*>(a),
                              reinterpret_cast<const double*>(b), reinterpret_cast<double*>(c),
                              2 * ldc);
}

void avx512_complex_tile(std::size_t depth, const complex* a, const complex* b, complex* c,
                         std::size_t ldc)
{
    avx512_unfused_complex_tile(depth, reinterpret_cast<const double*>(a),
                                reinterpret_cast<const double*>(b), reinterpret_cast<double*>(c),
                                2 * ldc);
}

tile_kernel<double> kernel_on(int path, const double*)
{
    if (path == avx512_path)
        return {avx512_unfused_rows, avx512_unfused_tile};
    return path == avx2_path ? tile_kernel<double>{avx2_unfused_rows, avx2_unfused_tile}
                             : portable_tile<double>;
}

tile_kernel<complex> kernel_on(int path, const complex*)
{
    if (path == avx512_path)
        return {avx512_unfused_rows, avx512_complex_tile};
    return path == avx2_path ? tile_kernel<complex>{avx2_unfused_rows, avx2_complex_tile}
                             : portable_tile<complex>;
}

enum class right_form { direct, adjoint };

// C += A·B or A·Bᴴ, in tiles.
template <class T, right_form form>
class tiled_product
{
public:
    tiled_product(block_view<const T> left, block_view<const T> right, block_view<T> product,
                  tile_kernel<T> tile)
        : a(left), b(right), c(product), kernel(tile)
    {
    }

    void run()
    {
        for (std::size_t p0 = 0; p0 < a.cols; p0 += block_depth)
            for (std::size_t from = 0; from < c.rows; from += block_rows)
                add_block(from, std::min(from + block_rows, c.rows), p0,
                          std::min(block_depth, a.cols - p0));
    }

private:
    block_view<const T> a;
    block_view<const T> b;
    block_view<T> c;
    tile_kernel<T> kernel;
    std::vector<T> rows;
    std::vector<T> columns;

    void pack_rows(std::size_t from, std::size_t to, std::size_t p0, std::size_t depth);
    void pack_columns(std::size_t from, std::size_t p0, std::size_t depth);
    void add_block(std::size_t from, std::size_t to, std::size_t p0, std::size_t depth);
};

// Rows [from, to) of A in panels of a tile's rows, positions [p0, p0 + depth); zeros beyond the
// last row.
template <class T, right_form form>
void tiled_product<T, form>::pack_rows(std::size_t from, std::size_t to, std::size_t p0,
                                       std::size_t depth)
{
    const std::size_t tile_rows = kernel.rows;
    const std::size_t panels = (to - from + tile_rows - 1) / tile_rows;
    if (rows.size() < panels * tile_rows * depth)
        rows = uninitialized<T>(panels * tile_rows * depth);
    for (std::size_t i = from; i < to; i += tile_rows) {
        const std::size_t height = std::min(tile_rows, to - i);
        T* const panel = rows.data() + (i - from) * depth;
        if (height < tile_rows)
            std::fill_n(panel, depth * tile_rows, T(0));
        transpose_into<T>({panel, depth, height, tile_rows}, a.sub(i, i + height, p0, p0 + depth));
    }
}

// A tile's columns of B from `from` on, positions [p0, p0 + depth); zeros beyond the last one.
template <class T, right_form form>
void tiled_product<T, form>::pack_columns(std::size_t from, std::size_t p0, std::size_t depth)
{
    const std::size_t width = std::min(tile_columns<T>, c.cols - from);
    columns.resize(depth * tile_columns<T>);
    if (width < tile_columns<T>)
        std::fill(columns.begin(), columns.end(), T(0));
    const block_view<T> packed{columns.data(), depth, width, tile_columns<T>};
    if constexpr (form == right_form::adjoint) {
        transpose_into<T>(packed, b.sub(from, from + width, p0, p0 + depth));
        for (T& element : columns)
            element = conjugate(element);
    } else {
        for (std::size_t p = 0; p < depth; ++p)
            std::copy_n(b.row(p0 + p) + from, width, packed.row(p));
    }
}

// A tile that reaches over the edge of C, by way of a full one.
template <class T>
void run_edge_tile(tile_kernel<T> kernel, std::size_t depth, const T* a, const T* b,
                   block_view<T> c)
{
    std::array<T, greatest_rows * tile_columns<T>> tile{};
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(c.row(i), c.cols, tile.data() + i * tile_columns<T>);
    kernel.add(depth, a, b, tile.data(), tile_columns<T>);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(tile.data() + i * tile_columns<T>, c.cols, c.row(i));
}

// Rows [from, to) of C gain the products of positions [p0, p0 + depth).
template <class T, right_form form>
void tiled_product<T, form>::add_block(std::size_t from, std::size_t to, std::size_t p0,
                                       std::size_t depth)
{
    pack_rows(from, to, p0, depth);
    for (std::size_t j = 0; j < c.cols; j += tile_columns<T>) {
        pack_columns(j, p0, depth);
        const std::size_t right = std::min(j + tile_columns<T>, c.cols);
        for (std::size_t i = from; i < to; i += kernel.rows) {
            const T* const panel = rows.data() + (i - from) * depth;
            const block_view<T> tile = c.sub(i, std::min(i + kernel.rows, to), j, right);
            if (tile.rows == kernel.rows && tile.cols == tile_columns<T>)
                kernel.add(depth, panel, columns.data(), tile.first, tile.stride);
            else
                run_edge_tile(kernel, depth, panel, columns.data(), tile);
        }
    }
}

template <class T>
bool has_nan(const std::vector<T>& a)
{
    return std::any_of(a.begin(), a.end(), [](const T& x) {
        return std::isnan(std::real(x)) || std::isnan(std::imag(x));
    });
}

template <right_form form, class T>
std::vector<T> product_of(block_view<const T> a, block_view<const T> b, std::size_t n)
{
    const int path = gemm_path_current();
    std::vector<T> product = zeros<T>(a.rows * n);
    const block_view<T> c{product.data(), a.rows, n, n};
    tiled_product<T, form>(a, b, c, kernel_on(path, a.first)).run();
    if constexpr (std::is_same_v<T, complex>)
        if (path != portable_path && has_nan(product)) {
            std::fill(product.begin(), product.end(), T(0));
            tiled_product<T, form>(a, b, c, portable_tile<T>).run();
        }
    return product;
}

} // namespace

template <class T>
std::vector<T> unfused_product(block_view<const T> a, block_view<const std::type_identity_t<T>> b)
{
    return product_of<right_form::direct, T>(a, b, b.cols);
}

template <class T>
std::vector<T> unfused_product_with_adjoint(block_view<const T> a,
                                            block_view<const std::type_identity_t<T>> b)
{
    return product_of<right_form::adjoint, T>(a, b, b.rows);
}

template std::vector<double> unfused_product(block_view<const double>, block_view<const double>);
template std::vector<complex> unfused_product(block_view<const complex>, block_view<const complex>);
template std::vector<double> unfused_product_with_adjoint(block_view<const double>,
                                                          block_view<const double>);
template std::vector<complex> unfused_product_with_adjoint(block_view<const complex>,
                                                           block_view<const complex>);

} // namespace numerical::detail
