#include "numerical/nonsymmetric/hessenberg_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/nonsymmetric/hessenberg_panel.hpp"
#include "numerical/nonsymmetric/hessenberg_step.hpp"
#include "numerical/runtime/longest_at_ends.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// A pass is cut in strips of rows, each with sums of its own, whatever the number of threads: from
// where it takes about two microseconds, and in more strips where it takes ten.
constexpr std::size_t most_strips = 4;

template <class T>
constexpr std::size_t least_rows_of_two_strips = std::is_same_v<T, double> ? 176 : 88;

template <class T>
constexpr std::size_t least_rows_of_four_strips = std::is_same_v<T, double> ? 400 : 200;

// Of two strips. The other thread has the second one, and fetches the vectors that the caller has
// written.
constexpr double share_of_first_strip = 0.55;

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

struct strip_rows
{
    std::size_t count;
    std::size_t first; // the others have `height` rows, but for the last one's rest
    std::size_t height;

    // Strip s is [begin(s), begin(s + 1)) of the rows.
    std::size_t begin(std::size_t s) const { return s == 0 ? 0 : first + (s - 1) * height; }
};

template <class T>
strip_rows strips_of(std::size_t rows)
{
    if (rows < least_rows_of_two_strips<T>)
        return {.count = 1, .first = rows, .height = 0};
    if (rows < least_rows_of_four_strips<T>) {
        const auto share =
            static_cast<std::size_t>(static_cast<double>(rows) * share_of_first_strip);
        const std::size_t first = round_up(share, 4);
        return {.count = 2, .first = first, .height = rows - first};
    }
    const std::size_t height = round_up(ceil_div(rows, most_strips), 4);
    return {.count = most_strips, .first = height, .height = height};
}

// On the scale of parallel_for. Short passes are shared where that pays.
template <class T>
std::size_t work_of_strip(std::size_t rows)
{
    constexpr std::size_t least_shared = std::size_t{1} << 17;
    constexpr std::size_t of_shared = std::size_t{1} << 16;
    const bool is_long = parts<T> * parts<T> * rows * rows >= least_shared;
    return is_long || short_loops_pay() ? of_shared : 0;
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
    aligned_vector<T> adjoints;    // row k is vᴴ of column k's reflector, from left_of(k) or k on

    // In rows of `padded` elements: the last reflector's v, two y, the entries of the next column,
    // zᴴ, and each strip's sums for the next zᴴ.
    aligned_vector<T> vectors;

    T* row(std::size_t i) { return store.data() + i * stride; }

    T* adjoint(std::size_t k) { return adjoints.data() + k * padded; }

    T* v() { return vectors.data(); }

    // A·v of column k's reflector, as long as the next one's is formed.
    T* y(std::size_t k) { return v() + (1 + k % 2) * padded; }

    T* column() { return v() + 3 * padded; }

    T* z() { return column() + padded; }

    T* u(std::size_t strip) { return z() + (strip + 1) * padded; }
};

template <class T>
step_reducer<T>::step_reducer(block_view<T> matrix)
    : a(matrix), n(matrix.rows), padded(round_up(n, line_elements<T>)),
      stride(spread_stride<T>(padded)), store(uninitialized<T>(n * stride)), subdiagonal(n),
      adjoints(uninitialized<T>(n * padded)), vectors(zeros<T>((5 + most_strips) * padded))
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
    const std::size_t first = std::min(left_of(k), k); // row k takes no part in the products
    aligned_vector<T> below = copy_of(column() + k + 1, n - k - 1);
    if (is_zero_beyond_first(below)) {
        subdiagonal[k] = below[0];
        set_zero(adjoint(k) + first, padded - first);
        set_zero(v() + k, n - k);
        return;
    }
    subdiagonal[k] = householder_in_place(below);
    set_zero(adjoint(k) + first, k + 1 - first);
    std::copy(below.begin(), below.end(), v() + k + 1);
    std::transform(below.begin(), below.end(), adjoint(k) + k + 1,
                   [](const T& each) { return conjugate(each); });
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
              .x = as_doubles(adjoint(k)),
              .y = as_doubles(y(k + 1)),
              .product = as_doubles(y(k)),
              .u = as_doubles(u(strip)),
              .copied = as_doubles(column())});
}

// Rows from k on are brought up to date, the products formed and column k + 1 copied. As passes
// go up and down in turn, L2 still holds the rows that a thread begins with.
template <class T>
void step_reducer<T>::pass(std::size_t k)
{
    const strip_rows strips = strips_of<T>(n - k);
    if (strips.count == 1)
        return run_rows(k, 0, k, n);
    const bool upwards = k % 2 != 0;
    const std::size_t to_its_end = allowed_threads() == 1 ? strips.count - 1 : strips.count / 4;
    const auto run_strip = [&](std::size_t index) {
        const std::size_t s = upwards ? index ^ to_its_end : index;
        run_rows(k, s, k + strips.begin(s), std::min(k + strips.begin(s + 1), n));
    };
    parallel_for(strips.count, work_of_strip<T>(n - k), run_strip);
    const std::size_t left = left_of(k);
    for (std::size_t s = 1; s < strips.count; ++s)
        scaled_add_on(path, as_doubles(u(0) + left), as_doubles(u(s) + left), 1.0,
                      parts<T> * (padded - left));
}

// H·A·H is A - v·zᴴ - 2·y·vᴴ with y = A·v and zᴴ = 2·vᴴ·A - 4·(vᴴy)·vᴴ.
template <class T>
void step_reducer<T>::follow(std::size_t k)
{
    const std::size_t left = left_of(k);
    const T projection = plain_dot(adjoint(k) + k + 1, y(k) + k + 1, n - k - 1);
    subtract_scaled_on(path, u(0) + left, adjoint(k) + left, 2.0 * projection, padded - left);
    set_zero(z() + left, k + 1 - left);
    for (std::size_t j = k + 1; j < padded; ++j)
        z()[j] = 2.0 * u(0)[j];
}

template <class T>
void step_reducer<T>::reduce_column(std::size_t k)
{
    if (k > 0) {
        const std::array<T, 2> of_column{z()[k], 2.0 * adjoint(k - 1)[k]};
        const auto to_y = static_cast<std::size_t>(y(k - 1) - v());
        subtract_products_on(path, column() + k, of_column.data(), v() + k, to_y, 2, n - k);
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

// The first rows take longest.
template <class T>
void step_reducer<T>::finish(const std::vector<reflector_block<T>>& blocks)
{
    const std::size_t strips = ceil_div(n, rows_above);
    const auto finish_rows = [&](std::size_t strip) {
        const std::size_t from = (strips - 1 - longest_at_ends(strip, strips)) * rows_above;
        const std::size_t to = std::min(from + rows_above, n);
        for (const reflector_block<T>& block : blocks)
            if (block.offset - 1 + block.count > from)
                multiply_rows(block, from, to);
        copy_back(from, to);
    };
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
