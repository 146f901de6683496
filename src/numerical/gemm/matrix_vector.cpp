#include "numerical/gemm/matrix_vector.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/gemv_transposed.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/task_share.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/gemm/vector_product.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <type_traits>

namespace numerical::detail {
namespace {

// What comes from memory for an element, and counts as work.
template <class T>
constexpr std::size_t doubles = sizeof(T) / sizeof(double);

template <class T>
void gemv(int path, std::size_t rows, std::size_t cols, const T* a, const T* x, T* y)
{
    constexpr bool real = std::is_same_v<T, double>;
    const auto avx2 = real ? avx2_gemv : avx2_complex_gemv;
    const auto avx512 = real ? avx512_gemv : avx512_complex_gemv;
    (path == avx512_path ? avx512 : avx2)(as_doubles(y), as_doubles(a), cols, rows, as_doubles(x),
                                          cols);
}

} // namespace

// Each index writes the elements of its own rows, whole groups of a kernel.
template <class T>
void matrix_times_vector(std::size_t rows, std::size_t cols, const T* a, const T* x, T* y)
{
    const int path = gemm_path_current();
    if (path == portable_path)
        return gemm_new<T>(rows, 1, cols, a, cols, x, 1, y, 1);
    constexpr std::size_t group = 4;
    constexpr std::size_t doubles_of_task = 32768; // a quarter of what a thread is worth
    const std::size_t doubles_of_row = doubles<T> * cols;
    const std::size_t task_rows = round_up(doubles_of_task / (doubles_of_row + 1) + 1, group);
    const auto multiply_some = [&](std::size_t t) {
        const std::size_t first = t * task_rows;
        gemv(path, std::min(rows - first, task_rows), cols, a + first * cols, x, y + first);
    };
    parallel_for(ceil_div(rows, task_rows), task_rows * doubles_of_row / products_per_unit,
                 multiply_some);
}

template <>
void vector_times_matrix(std::size_t rows, std::size_t cols, const double* x, const double* a,
                         double* y)
{
    gemm_new<double>(1, cols, rows, x, rows, a, cols, y, cols);
}

// Each index writes its own columns, whole lines. Its part of y stays in L1 while the rows pass by;
// long runs of a row are best for the hardware prefetcher.
template <>
void vector_times_matrix(std::size_t rows, std::size_t cols, const complex* x, const complex* a,
                         complex* y)
{
    const int path = gemm_path_current();
    if (path == portable_path)
        return gemm_new<complex>(1, cols, rows, x, rows, a, cols, y, cols);
    constexpr share_limits columns{32, 1024};
    const std::size_t doubles_of_column = doubles<complex> * rows;
    const std::size_t task_cols = share_of_task(cols, doubles_of_column, columns);
    const auto kernel =
        path == avx512_path ? avx512_complex_gemv_transposed : avx2_complex_gemv_transposed;
    const auto multiply_some = [&](std::size_t t) {
        const std::size_t first = t * task_cols;
        const std::size_t n = std::min(cols - first, task_cols);
        set_zero(y + first, n);
        kernel(as_doubles(y + first), as_doubles(a + first), cols, rows, as_doubles(x), n);
    };
    parallel_for(ceil_div(cols, task_cols), task_cols * doubles_of_column / products_per_unit,
                 multiply_some);
}

template <>
double vector_times_vector(std::size_t n, const double* a, const double* b)
{
    return chunked_dot(a, b, n);
}

template <>
complex vector_times_vector(std::size_t n, const complex* a, const complex* b)
{
    const int path = gemm_path_current();
    if (path == portable_path)
        return chunked_dot(a, b, n);
    constexpr std::size_t run = 16384;
    complex sum = 0;
    if (n <= run) {
        gemv(path, 1, n, a, b, &sum);
        return sum;
    }
    aligned_vector<complex> partial(ceil_div(n, run));
    const auto sum_run = [&](std::size_t i) {
        const std::size_t first = i * run;
        gemv(path, 1, std::min(n - first, run), a + first, b + first, &partial[i]);
    };
    parallel_for(partial.size(), doubles<complex> * run, sum_run);
    for (const complex& part : partial)
        sum += part;
    return sum;
}

template void matrix_times_vector(std::size_t, std::size_t, const double*, const double*, double*);
template void matrix_times_vector(std::size_t, std::size_t, const complex*, const complex*,
                                  complex*);

} // namespace numerical::detail
