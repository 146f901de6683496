#include "numerical/nonsymmetric/hessenberg_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/nonsymmetric/hessenberg_panel.hpp"
#include "numerical/nonsymmetric/hessenberg_step.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace numerical::detail {
namespace {

// A pass is cut in strips of rows, each with sums of its own, whatever the number of threads: where
// it is worth the while of two of them.
constexpr std::size_t strips_of_pass = 4;
constexpr std::size_t least_rows_of_strips = 128;

// Rows that are multiplied by blocks of reflectors together, and reflectors of a block.
constexpr std::size_t rows_above = 32;
constexpr std::size_t reflectors_of_block = 32;

template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(double);

hessenberg_kernel kernel_of(int path, double)
{
    return choose(path, run_hessenberg_step, avx2_run_hessenberg_step, avx512_run_hessenberg_step);
}

hessenberg_kernel kernel_of(int path, complex)
{
    return choose(path, run_complex_hessenberg_step, avx2_run_complex_hessenberg_step,
                  avx512_run_complex_hessenberg_step);
}

template <class T>
class step_reducer
{
public:
    explicit step_reducer(block_view<T> matrix);

    void reduce_column(std::size_t k);

    // After all columns.
    std::vector<reflector_block<T>> reflector_blocks();
    void finish(const std::vector<reflector_block<T>>& blocks);

private:
    void form_reflector(std::size_t k);
    void pass(std::size_t k);
    void run_rows(std::size_t k, std::size_t strip, std::size_t from, std::size_t to);
    void follow(std::size_t k);
    reflector_block<T> block_of_columns(std::size_t from, std::size_t to);
    void multiply_rows(const reflector_block<T>& block, std::size_t from, std::size_t to);
    void copy_back(std::size_t from, std::size_t to);

    // Where the line of column k + 1 begins, from which on a pass goes.
    static std::size_t left_of(std::size_t k)
    {
        return (k + 1) / line_elements<T> * line_elements<T>;
    }

    const int path = gemm_path_current();
    const hessenberg_kernel run_step = kernel_of(path, T());
    const block_view<T> a;
    const std::size_t n;
    const std::size_t padded; // whole lines; zeros beyond n
    const std::size_t stride;
    aligned_vector<T> store;       // A, column k below the diagonal up to date until its own pass
    aligned_vector<T> subdiagonal; // of H
    aligned_vector<T> adjoints;    // row k is vᴴ of column k's reflector, from left_of(k) on

    // In rows of `padded` elements: twice the vector of the next reflector, y, the entries of the
    // next column, zᴴ, and each strip's sums for the next zᴴ.
    aligned_vector<T> vectors;

    T* row(std::size_t i) { return store.data() + i * stride; }

    T* adjoint(std::size_t k) { return adjoints.data() + k * padded; }

    T* x() { return vectors.data(); }

    T* y() { return x() + padded; }

    T* column() { return y() + padded; }

    T* z() { return column() + padded; }

    T* u(std::size_t strip) { return z() + (strip + 1) * padded; }
};

template <class T>
step_reducer<T>::step_reducer(block_view<T> matrix)
    : a(matrix), n(matrix.rows), padded(round_up(n, line_elements<T>)),
      stride(spread_stride<T>(padded)), store(uninitialized<T>(n * stride)), subdiagonal(n),
      adjoints(uninitialized<T>(n * padded)), vectors(zeros<T>((4 + strips_of_pass) * padded))
{
    for (std::size_t i = 0; i < n; ++i) {
        std::copy_n(a.row(i), n, row(i));
        std::fill(row(i) + n, row(i) + padded, T(0));
        column()[i] = a(i, 0);
    }
}

// From the entries of column k below the diagonal.
template <class T>
void step_reducer<T>::form_reflector(std::size_t k)
{
    const std::size_t left = left_of(k);
    x()[k] = T(0); // row k takes no part in the products
    aligned_vector<T> below = copy_of(column() + k + 1, n - k - 1);
    if (is_zero_beyond_first(below)) {
        subdiagonal[k] = below[0];
        set_zero(adjoint(k) + left, padded - left);
        set_zero(x() + left, padded - left);
        return;
    }
    subdiagonal[k] = householder_in_place(below);
    set_zero(adjoint(k) + left, k + 1 - left);
    set_zero(x() + left, k + 1 - left);
    for (std::size_t i = k + 1; i < n; ++i) {
        x()[i] = 2.0 * below[i - k - 1];
        adjoint(k)[i] = conjugate(below[i - k - 1]);
    }
    set_zero(adjoint(k) + n, padded - n);
}

template <class T>
void step_reducer<T>::run_rows(std::size_t k, std::size_t strip, std::size_t from, std::size_t to)
{
    const std::size_t left = left_of(k);
    const T* const last = k == 0 ? z() : adjoint(k - 1); // zeros before the first reflector
    set_zero(u(strip) + left, padded - left);
    run_step({.matrix = as_doubles(store.data()),
              .stride = stride,
              .from = from,
              .to = to,
              .left = left,
              .right = padded,
              .column = k + 1,
              .upwards = k % 2 != 0},
             {.v = as_doubles(last),
              .z = as_doubles(z()),
              .x = as_doubles(x()),
              .y = as_doubles(y()),
              .u = as_doubles(u(strip)),
              .copied = as_doubles(column())});
}

// Rows from k on are brought up to date, the products formed and column k + 1 copied. As passes
// go up and down in turn, L2 still holds the rows that a thread begins with.
template <class T>
void step_reducer<T>::pass(std::size_t k)
{
    const std::size_t rows = n - k;
    if (rows < least_rows_of_strips) {
        run_rows(k, 0, k, n);
        return;
    }
    const std::size_t height = round_up(ceil_div(rows, strips_of_pass), 4);
    const bool upwards = k % 2 != 0;
    const std::size_t to_its_end = allowed_threads() == 1 ? strips_of_pass - 1 : 1;
    const auto run_strip = [&](std::size_t index) {
        const std::size_t s = upwards ? index ^ to_its_end : index;
        run_rows(k, s, k + s * height, std::min(k + (s + 1) * height, n));
    };
    parallel_for(strips_of_pass, 8 * parts<T> * parts<T> * rows * height, run_strip);
    const std::size_t left = left_of(k);
    for (std::size_t s = 1; s < strips_of_pass; ++s)
        scaled_add_on(path, as_doubles(u(0) + left), as_doubles(u(s) + left), 1.0,
                      parts<T> * (padded - left));
}

// H·A·H is A - v·zᴴ - y·vᴴ with y = 2·A·v and zᴴ = 2·vᴴ·A - 2·(vᴴy)·vᴴ.
template <class T>
void step_reducer<T>::follow(std::size_t k)
{
    const std::size_t left = left_of(k);
    const T* const v = adjoint(k);
    const T projection = plain_dot(v + k + 1, y() + k + 1, n - k - 1);
    subtract_scaled_on(path, u(0) + left, v + left, 2.0 * projection, padded - left);
    set_zero(z() + left, k + 1 - left);
    std::copy_n(u(0) + k + 1, padded - k - 1, z() + k + 1);
}

template <class T>
void step_reducer<T>::reduce_column(std::size_t k)
{
    if (k > 0) {
        const std::array<T, 2> of_column{0.5 * z()[k], adjoint(k - 1)[k]};
        subtract_products_on(path, column() + k, of_column.data(), x() + k, padded, 2, n - k);
    }
    const T diagonal = column()[k];
    form_reflector(k);
    pass(k);
    row(k)[k] = diagonal;
    follow(k);
}

template <class T>
reflector_block<T> step_reducer<T>::block_of_columns(std::size_t from, std::size_t to)
{
    const std::size_t first = from + 1;
    const std::size_t count = to - from;
    for (std::size_t k = from; k < to; ++k)
        set_zero(adjoint(k) + first, k - from);
    aligned_vector<T> vectors_of_block = uninitialized<T>((n - first) * count);
    adjoint_into<T>({vectors_of_block.data(), n - first, count},
                    {adjoint(from) + first, count, n - first, padded});
    return block_of_reflectors<T>(std::move(vectors_of_block), first, n - first, count);
}

template <class T>
std::vector<reflector_block<T>> step_reducer<T>::reflector_blocks()
{
    std::vector<reflector_block<T>> blocks(ceil_div(n - 2, reflectors_of_block));
    const auto form_block = [&](std::size_t b) {
        const std::size_t from = b * reflectors_of_block;
        blocks[b] = block_of_columns(from, std::min(from + reflectors_of_block, n - 2));
    };
    parallel_for(blocks.size(), parts<T> * parts<T> * 8 * n * reflectors_of_block, form_block);
    return blocks;
}

// C := C·Q for the rows [from, to), C -= ((C·V)·T)·Vᴴ, but row i only from its own reflector on,
// which those before it have reached in the passes: T being triangular, its products with these
// are left out.
template <class T>
void step_reducer<T>::multiply_rows(const reflector_block<T>& block, std::size_t from,
                                    std::size_t to)
{
    const std::size_t count = block.count;
    const std::size_t first = block.offset - 1;
    T* const rows = row(from) + block.offset;
    aligned_vector<T> products = uninitialized<T>((to - from) * count);
    aligned_vector<T> minus_y = uninitialized<T>((to - from) * count);
    gemm_new<T>(to - from, count, block.rows, rows, stride, block.vectors.data(), count,
                products.data(), count);
    for (std::size_t i = from; i < to; ++i)
        if (i > first)
            set_zero(products.data() + (i - from) * count, std::min(i - first, count));
    gemm_new<T>(to - from, count, count, products.data(), count, block.factor.data(), count,
                minus_y.data(), count);
    negate_run(minus_y.data(), minus_y.data(), minus_y.size());
    gemm<T>(to - from, block.rows, count, minus_y.data(), count, adjoint(first) + block.offset,
            padded, rows, stride);
}

template <class T>
void step_reducer<T>::copy_back(std::size_t from, std::size_t to)
{
    for (std::size_t i = from; i < to; ++i) {
        set_zero(a.row(i), i);
        if (i > 0)
            a(i, i - 1) = subdiagonal[i - 1];
        std::copy(row(i) + i, row(i) + n, a.row(i) + i);
    }
}

// The first rows take longest, those in the middle least: the last ones are mostly copied.
template <class T>
void step_reducer<T>::finish(const std::vector<reflector_block<T>>& blocks)
{
    const auto finish_rows = [&](std::size_t strip) {
        const std::size_t from = strip * rows_above;
        const std::size_t to = std::min(from + rows_above, n);
        for (const reflector_block<T>& block : blocks)
            if (block.offset - 1 + block.count > from)
                multiply_rows(block, from, to);
        copy_back(from, to);
    };
    const std::size_t strips = ceil_div(n, rows_above);
    parallel_for(strips, parts<T> * parts<T> * n * n * rows_above / 16, finish_rows);
}

} // namespace

template <class T>
std::vector<reflector_block<T>> reduce_hessenberg_by_steps(block_view<T> a)
{
    step_reducer<T> steps(a);
    for (std::size_t k = 0; k + 1 < a.rows; ++k)
        steps.reduce_column(k);
    auto blocks = steps.reflector_blocks();
    steps.finish(blocks);
    return blocks;
}

template std::vector<reflector_block<double>> reduce_hessenberg_by_steps(block_view<double>);
template std::vector<reflector_block<complex>> reduce_hessenberg_by_steps(block_view<complex>);

} // namespace numerical::detail
