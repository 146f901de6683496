#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/svd/rank.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace {

using complex = std::complex<double>;
using detail::jacobi_kernels;
using detail::lane_kernel;
using detail::lane_results;

template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(double);

template <class T>
double* parts_of(T* elements)
{
    return detail::as_doubles(elements);
}

// The kernel of the operation for all matrices, otherwise(i) for those that it can't do.
template <class T, class Otherwise>
void run_jacobi(lane_kernel jacobi_kernels::*operation, std::size_t count, const matrix_stack<T>& a,
                const lane_results<double>& results, const Otherwise& otherwise)
{
    const jacobi_kernels& kernels = detail::jacobi_kernels_for(T(), count);
    detail::first_failure failures;
    const auto finish = [&](std::size_t i, bool trusted) {
        if (!trusted)
            failures.attempt(i, [&] { otherwise(i); });
    };
    const std::size_t longest = std::max(a.rows, a.cols);
    detail::run_in_lanes<T>({.kernel = kernels.*operation,
                             .width = kernels.width,
                             .rows = a.rows,
                             .cols = a.cols,
                             .depth = longest},
                            count, a, a, results, finish);
    failures.rethrow();
}

// The matrix of one place as a stack.
template <class T>
matrix_stack<T> alone(const matrix_stack<T>& a, std::size_t i)
{
    return {.first = a.at(i), .rows = a.rows, .cols = a.cols, .step = 0};
}

// f() for a stack of one matrix; its failure is reported by the caller's stack.
template <class F>
void unwrapped(const F& f)
{
    try {
        f();
    } catch (const stack_error& error) {
        std::rethrow_exception(error.cause());
    }
}

} // namespace

bool stacks::is_small(std::size_t order)
{
    return order >= least_small_order && order <= greatest_small_order;
}

bool stacks::is_small(std::size_t rows, std::size_t cols)
{
    return is_small(std::min(rows, cols)) && std::max(rows, cols) <= greatest_small_length;
}

template <class T>
void stacks::small_eigh(std::size_t count, const matrix_stack<T>& a, double* values, T* vectors)
{
    const std::size_t n = a.rows;
    const lane_results<double> results{
        .first = values, .step = n, .second = parts_of(vectors), .second_step = n * n * parts<T>};
    run_jacobi(&jacobi_kernels::eigh, count, a, results, [&](std::size_t i) {
        unwrapped([&] {
            eigh(1, alone(a, i), eigen_method::divide_and_conquer, values + i * n,
                 vectors + i * n * n);
        });
    });
}

template <class T>
void stacks::small_eigenvalues(std::size_t count, const matrix_stack<T>& a, double* values)
{
    run_jacobi(&jacobi_kernels::eigenvalues, count, a, {values, a.rows}, [&](std::size_t i) {
        unwrapped([&] { eigenvalues(1, alone(a, i), values + i * a.rows); });
    });
}

template <class T>
void stacks::small_svd(std::size_t count, const matrix_stack<T>& a, T* u, double* values, T* vh)
{
    const std::size_t k = std::min(a.rows, a.cols);
    const lane_results<double> results{.first = values,
                                       .step = k,
                                       .second = parts_of(u),
                                       .second_step = a.rows * k * parts<T>,
                                       .third = parts_of(vh),
                                       .third_step = k * a.cols * parts<T>};
    run_jacobi(&jacobi_kernels::svd, count, a, results, [&](std::size_t i) {
        unwrapped([&] {
            svd(1, alone(a, i), svd_method::divide_and_conquer, u + i * a.rows * k, values + i * k,
                vh + i * k * a.cols);
        });
    });
}

template <class T>
void stacks::small_singular_values(std::size_t count, const matrix_stack<T>& a, double* values)
{
    const std::size_t k = std::min(a.rows, a.cols);
    run_jacobi(&jacobi_kernels::singular_values, count, a, {values, k}, [&](std::size_t i) {
        unwrapped([&] { singular_values(1, alone(a, i), values + i * k); });
    });
}

// An untrusted matrix takes its rank from the single call, and leaves values of no use.
template <class T>
void stacks::small_matrix_rank(std::size_t count, const matrix_stack<T>& a, std::size_t* ranks)
{
    constexpr std::size_t unknown = static_cast<std::size_t>(-1);
    const std::size_t k = std::min(a.rows, a.cols);
    aligned_vector<double> values(count * k);
    std::fill_n(ranks, count, unknown);
    run_jacobi(&jacobi_kernels::singular_values, count, a, {values.data(), k},
               [&](std::size_t i) { unwrapped([&] { matrix_rank(1, alone(a, i), ranks + i); }); });
    for (std::size_t i = 0; i < count; ++i)
        if (ranks[i] == unknown) {
            const double* const first = values.data() + i * k;
            ranks[i] = detail::count_above_threshold({first, first + k}, a.rows, a.cols);
        }
}

template <class T>
void stacks::small_pinv(std::size_t count, const matrix_stack<T>& a, T* inverses)
{
    const std::size_t size = a.rows * a.cols;
    run_jacobi(
        &jacobi_kernels::pinv, count, a, {parts_of(inverses), size * parts<T>},
        [&](std::size_t i) { unwrapped([&] { pinv(1, alone(a, i), inverses + i * size); }); });
}

template void stacks::small_eigh(std::size_t, const matrix_stack<double>&, double*, double*);
template void stacks::small_eigenvalues(std::size_t, const matrix_stack<double>&, double*);
template void stacks::small_svd(std::size_t, const matrix_stack<double>&, double*, double*,
                                double*);
template void stacks::small_singular_values(std::size_t, const matrix_stack<double>&, double*);
template void stacks::small_matrix_rank(std::size_t, const matrix_stack<double>&, std::size_t*);
template void stacks::small_pinv(std::size_t, const matrix_stack<double>&, double*);
template void stacks::small_eigh(std::size_t, const matrix_stack<complex>&, double*, complex*);
template void stacks::small_eigenvalues(std::size_t, const matrix_stack<complex>&, double*);
template void stacks::small_svd(std::size_t, const matrix_stack<complex>&, complex*, double*,
                                complex*);
template void stacks::small_singular_values(std::size_t, const matrix_stack<complex>&, double*);
template void stacks::small_matrix_rank(std::size_t, const matrix_stack<complex>&, std::size_t*);
template void stacks::small_pinv(std::size_t, const matrix_stack<complex>&, complex*);

} // namespace numerical
