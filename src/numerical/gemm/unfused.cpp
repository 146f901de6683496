#include "numerical/gemm/unfused.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/kernels/unfused.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// A direct product of at most this size doesn't repay the pool.
constexpr std::size_t serial_products_by_rows = 512;

// Rows of C that are one piece of work: a loaded row of B serves all of them.
constexpr std::size_t rows_of_piece = 4;

template <class T>
unfused_operands<T> operands_of(const product_operands<T>& p)
{
    const auto update = p.into == into_c::store ? unfused_update::overwrite : unfused_update::add;
    return {.rows = p.m,
            .cols = p.n,
            .depth = p.k,
            .a = p.a,
            .a_row = p.lda,
            .a_step = 1,
            .b = p.b,
            .ldb = p.ldb,
            .c = p.c,
            .ldc = p.ldc,
            .update = update};
}

} // namespace

template <class T>
void multiply_rows(const product_operands<T>& p)
{
    const int path = gemm_path_current();
    const unfused_operands<T> whole = operands_of(p);
    if (p.m * p.n * p.k <= serial_products_by_rows)
        return multiply_unfused(path, whole);
    const auto multiply_piece = [&](std::size_t piece) {
        const std::size_t i = piece * rows_of_piece;
        unfused_operands<T> rows = whole;
        rows.rows = std::min(p.m - i, rows_of_piece);
        rows.a += i * p.lda;
        rows.c += i * p.ldc;
        multiply_unfused(path, rows);
    };
    parallel_for(ceil_div(p.m, rows_of_piece), p.k * p.n, multiply_piece);
}

template <class T>
void gemm_rows(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
               std::size_t ldb, T* c, std::size_t ldc)
{
    multiply_rows<T>(
        {.m = m, .n = n, .k = k, .a = a, .lda = lda, .b = b, .ldb = ldb, .c = c, .ldc = ldc});
}

template <class T>
void subtract_unfused(int path, T* out, const T* coeffs, const T* rows, std::size_t row_stride,
                      std::size_t terms, std::size_t n)
{
    multiply_unfused<T>(path, {.rows = 1,
                               .cols = n,
                               .depth = terms,
                               .a = coeffs,
                               .a_row = terms,
                               .a_step = 1,
                               .b = rows,
                               .ldb = row_stride,
                               .c = out,
                               .ldc = n,
                               .update = unfused_update::subtract});
}

namespace {

constexpr std::size_t unfused_depth = 256;
constexpr std::size_t block_rows = 512; // few enough for A's block to stay in a cache

// Columns of a packed panel of B: a cache line.
template <class T>
constexpr std::size_t panel_columns = 64 / sizeof(T);

enum class right_form { direct, adjoint };

// C = A·B or A·Bᴴ by packed blocks.
template <class T, right_form form>
class packed_unfused_product
{
public:
    packed_unfused_product(block_view<const T> left, block_view<const T> right,
                           block_view<T> product)
        : path(gemm_path_current()),
          panel_rows(choose(path, unfused_tile_rows, unfused_tile_rows, avx512_unfused_tile_rows)),
          a(left), b(right), c(product)
    {
    }

    void run()
    {
        for (std::size_t p0 = 0; p0 < a.cols; p0 += unfused_depth)
            for (std::size_t from = 0; from < c.rows; from += block_rows)
                add_block(from, std::min(from + block_rows, c.rows), p0,
                          std::min(unfused_depth, a.cols - p0));
    }

private:
    int path;
    std::size_t panel_rows; // of A
    block_view<const T> a;
    block_view<const T> b;
    block_view<T> c;
    aligned_vector<T> rows;
    aligned_vector<T> columns;

    void pack_rows(std::size_t from, std::size_t to, std::size_t p0, std::size_t depth);
    void pack_columns(std::size_t from, std::size_t to, std::size_t p0, std::size_t depth);
    void add_block(std::size_t from, std::size_t to, std::size_t p0, std::size_t depth);
};

// Rows [from, to) of A in panels, positions [p0, p0 + depth).
template <class T, right_form form>
void packed_unfused_product<T, form>::pack_rows(std::size_t from, std::size_t to, std::size_t p0,
                                                std::size_t depth)
{
    const std::size_t height = round_up(to - from, panel_rows);
    if (rows.size() < height * depth)
        rows = uninitialized<T>(height * depth);
    for (std::size_t i = from; i < to; i += panel_rows) {
        const std::size_t end = std::min(i + panel_rows, to);
        transpose_into<T>({.first = rows.data() + (i - from) * depth,
                           .rows = depth,
                           .cols = end - i,
                           .stride = panel_rows},
                          a.sub(i, end, p0, p0 + depth));
    }
}

// Columns [from, to) of B, positions [p0, p0 + depth), as one panel.
template <class T, right_form form>
void packed_unfused_product<T, form>::pack_columns(std::size_t from, std::size_t to, std::size_t p0,
                                                   std::size_t depth)
{
    columns.resize(depth * panel_columns<T>);
    const block_view<T> panel{
        .first = columns.data(), .rows = depth, .cols = to - from, .stride = panel_columns<T>};
    if constexpr (form == right_form::adjoint) {
        transpose_into<T>(panel, b.sub(from, to, p0, p0 + depth));
        for (T& element : columns)
            element = conjugate(element);
    } else {
        for (std::size_t p = 0; p < depth; ++p)
            std::copy_n(b.row(p0 + p) + from, to - from, panel.row(p));
    }
}

// Rows [from, to) of C gain the products of positions [p0, p0 + depth).
template <class T, right_form form>
void packed_unfused_product<T, form>::add_block(std::size_t from, std::size_t to, std::size_t p0,
                                                std::size_t depth)
{
    pack_rows(from, to, p0, depth);
    const auto update = p0 == 0 ? unfused_update::overwrite : unfused_update::add;
    for (std::size_t j = 0; j < c.cols; j += panel_columns<T>) {
        const std::size_t right = std::min(j + panel_columns<T>, c.cols);
        pack_columns(j, right, p0, depth);
        for (std::size_t i = from; i < to; i += panel_rows)
            multiply_unfused<T>(path, {.rows = std::min(panel_rows, to - i),
                                       .cols = right - j,
                                       .depth = depth,
                                       .a = rows.data() + (i - from) * depth,
                                       .a_row = 1,
                                       .a_step = panel_rows,
                                       .b = columns.data(),
                                       .ldb = panel_columns<T>,
                                       .c = &c(i, j),
                                       .ldc = c.stride,
                                       .update = update});
    }
}

template <right_form form, class T>
aligned_vector<T> product_of(block_view<const T> a, block_view<const T> b, std::size_t n)
{
    if (a.cols == 0)
        return zeros<T>(a.rows * n);
    aligned_vector<T> product = uninitialized<T>(a.rows * n);
    packed_unfused_product<T, form>(a, b, {product.data(), a.rows, n}).run();
    return product;
}

} // namespace

template <class T>
aligned_vector<T> unfused_product(block_view<const T> a,
                                  block_view<const std::type_identity_t<T>> b)
{
    return product_of<right_form::direct, T>(a, b, b.cols);
}

template <class T>
aligned_vector<T> unfused_product_with_adjoint(block_view<const T> a,
                                               block_view<const std::type_identity_t<T>> b)
{
    return product_of<right_form::adjoint, T>(a, b, b.rows);
}

template void multiply_rows(const product_operands<double>&);
template void multiply_rows(const product_operands<complex>&);
template void gemm_rows(std::size_t, std::size_t, std::size_t, const double*, std::size_t,
                        const double*, std::size_t, double*, std::size_t);
template void gemm_rows(std::size_t, std::size_t, std::size_t, const complex*, std::size_t,
                        const complex*, std::size_t, complex*, std::size_t);
template void subtract_unfused(int, double*, const double*, const double*, std::size_t, std::size_t,
                               std::size_t);
template void subtract_unfused(int, complex*, const complex*, const complex*, std::size_t,
                               std::size_t, std::size_t);
template aligned_vector<double> unfused_product(block_view<const double>, block_view<const double>);
template aligned_vector<complex> unfused_product(block_view<const complex>,
                                                 block_view<const complex>);
template aligned_vector<double> unfused_product_with_adjoint(block_view<const double>,
                                                             block_view<const double>);
template aligned_vector<complex> unfused_product_with_adjoint(block_view<const complex>,
                                                              block_view<const complex>);

} // namespace numerical::detail
