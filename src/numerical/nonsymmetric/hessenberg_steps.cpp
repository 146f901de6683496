#include "numerical/nonsymmetric/hessenberg_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/nonsymmetric/hessenberg_panel.hpp"
#include "numerical/nonsymmetric/hessenberg_step.hpp"
#include "numerical/nonsymmetric/rows_above.hpp"
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

    void reduce();

    std::vector<reflector_block<T>> take_blocks() { return above.take_blocks(); }

private:
    void form_reflector(std::size_t k);
    void pass(std::size_t k);
    void run_rows(std::size_t k, std::size_t strip, std::size_t from, std::size_t to);
    void follow(std::size_t k);
    void reduce_column(std::size_t k);
    void reduce_columns(std::size_t from, std::size_t to);
    bool reduces_alone(std::size_t k, std::size_t threads) const;
    std::size_t end_of_columns(std::size_t from, std::size_t work_of_others) const;
    std::size_t reduce_beside_round(std::size_t k, std::size_t threads);
    void finish();
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

    rows_above<T> above;
    bool shares_passes = true;

    T* row(std::size_t i) { return store.data() + i * stride; }

    T* adjoint(std::size_t k) { return adjoints.data() + k * padded; }

    T* v() { return vectors.data(); }

    // A·v of column k's reflector, as long as the next one's is formed.
    T* y(std::size_t k) { return v() + (1 + k % 2) * padded; }

    T* column() { return v() + 3 * padded; }

    T* z() { return column() + padded; }

    T* u(std::size_t strip) { return z() + (strip + 1) * padded; }
};

// Who reads a strip in the first pass has it in cache then.
template <class T>
step_reducer<T>::step_reducer(block_view<T> matrix)
    : a(matrix), n(matrix.rows), padded(round_up(n, line_elements<T>)),
      stride(spread_stride<T>(padded)), store(uninitialized<T>(n * stride)), subdiagonal(n),
      adjoints(uninitialized<T>(n * padded)), vectors(zeros<T>((5 + most_strips) * padded)),
      above({store.data(), n, n, stride}, {adjoints.data(), n, padded, padded})
{
    const strip_rows strips = strips_of<T>(n);
    const auto copy_strip = [&](std::size_t s) {
        for (std::size_t i = strips.begin(s); i < std::min(strips.begin(s + 1), n); ++i) {
            std::copy_n(a.row(i), n, row(i));
            std::fill(row(i) + n, row(i) + padded, T(0));
            column()[i] = a(i, 0);
        }
    };
    parallel_for(strips.count, work_of_strip<T>(n), copy_strip);
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
    const bool is_shared = shares_passes && allowed_threads() != 1;
    const std::size_t to_its_end = is_shared ? strips.count / 4 : strips.count - 1;
    const auto run_strip = [&](std::size_t index) {
        const std::size_t s = upwards ? index ^ to_its_end : index;
        run_rows(k, s, k + strips.begin(s), std::min(k + strips.begin(s + 1), n));
    };
    parallel_for(strips.count, shares_passes ? work_of_strip<T>(n - k) : 0, run_strip);
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
void step_reducer<T>::copy_back(std::size_t from, std::size_t to)
{
    for (std::size_t i = from; i < to; ++i) {
        set_zero(a.row(i), i);
        if (i > 0)
            a(i, i - 1) = subdiagonal[i - 1];
        std::copy(row(i) + i, row(i) + n, a.row(i) + i);
    }
}

// Half of the rows take an eighth of the passes' time, about as much as the rows above have yet to
// take. With more threads these take less; passes that aren't shared leave the others idle anyway.
// All passes of a small matrix are such, but then the rounds wouldn't repay their starts.
template <class T>
bool step_reducer<T>::reduces_alone(std::size_t k, std::size_t threads) const
{
    if (threads == 1 || strips_of<T>(n).count == 1)
        return false;
    const std::size_t rows = n - k;
    const std::size_t half = n / 2;
    return strips_of<T>(rows).count == 1 || work_of_strip<T>(rows) == 0 ||
           (threads - 1) * rows * rows * rows <= half * half * half;
}

// Whole blocks of columns, whose passes take about as long as the other threads need for the given
// work.
template <class T>
std::size_t step_reducer<T>::end_of_columns(std::size_t from, std::size_t work_of_others) const
{
    constexpr std::size_t work_of_column = 16384; // its vectors
    std::size_t to = from;
    std::size_t work = 0;
    do {
        const std::size_t rows = n - to;
        work += reflectors_of_block * (4 * rows * rows + work_of_column);
        to = std::min(to + reflectors_of_block, n - 1);
    } while (to < n - 1 && work < work_of_others);
    return to;
}

template <class T>
void step_reducer<T>::reduce_columns(std::size_t from, std::size_t to)
{
    for (std::size_t k = from; k < to; ++k)
        reduce_column(k);
}

// Reduces columns from k on, up to the one that it gives, beside a round of the rows above.
template <class T>
std::size_t step_reducer<T>::reduce_beside_round(std::size_t k, std::size_t threads)
{
    above.make_known(k);
    const std::size_t tasks = above.tasks();
    const std::size_t work = parts<T> * parts<T> * above.work();
    const std::size_t to = end_of_columns(k, above.work() / std::max<std::size_t>(threads - 1, 1));
    const auto run_task = [&](std::size_t task) { above.run_task(task); };
    const auto reduce = [&] { reduce_columns(k, to); };
    // A round of ten microseconds is worth its start, as the caller doesn't wait for it.
    parallel_for_beside(tasks, work / (4 * std::max<std::size_t>(tasks, 1)), run_task, reduce);
    above.end_round();
    return to;
}

// The first rows take longest.
template <class T>
void step_reducer<T>::finish()
{
    above.make_known(n - 1);
    parallel_for(above.tasks(), parts<T> * parts<T> * 8 * n * reflectors_of_block,
                 [&](std::size_t task) { above.run_task(task); });
    above.end_round();
    const std::size_t strips = above.strips();
    const auto finish_strip = [&](std::size_t index) {
        const std::size_t strip = strips - 1 - longest_at_ends(index, strips);
        above.multiply_strip(strip);
        const std::size_t from = strip * reflectors_of_block;
        copy_back(from, std::min(from + reflectors_of_block, n));
    };
    parallel_for(strips, parts<T> * parts<T> * n * n * reflectors_of_block / 16, finish_strip);
}

// On more than one thread, the others see to the rows above while the caller reduces the last
// columns, whose passes are short, alone.
template <class T>
void step_reducer<T>::reduce()
{
    const std::size_t threads = allowed_threads();
    std::size_t k = 0;
    while (k < n - 1 && !reduces_alone(k, threads)) {
        const std::size_t to = std::min(k + reflectors_of_block, n - 1);
        reduce_columns(k, to);
        k = to;
    }
    shares_passes = false;
    while (k < n - 1)
        k = reduce_beside_round(k, threads);
    finish();
}

} // namespace

template <class T>
std::vector<reflector_block<T>> reduce_hessenberg_by_steps(block_view<T> a)
{
    step_reducer<T> steps(a);
    steps.reduce();
    return steps.take_blocks();
}

template std::vector<reflector_block<double>> reduce_hessenberg_by_steps(block_view<double>);
template std::vector<reflector_block<complex>> reduce_hessenberg_by_steps(block_view<complex>);

} // namespace numerical::detail
