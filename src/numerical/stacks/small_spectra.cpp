#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"

#include <algorithm>

namespace numerical {
namespace {

using detail::jacobi_kernels;
using detail::lane_kernel;
using detail::lane_results;
using real_stack = matrix_stack<double>;

// The kernel of the operation for all matrices, otherwise(i) for those that it can't do.
template <class Otherwise>
void run_jacobi(lane_kernel jacobi_kernels::*operation, std::size_t count, const real_stack& a,
                const lane_results<double>& results, const Otherwise& otherwise)
{
    const jacobi_kernels& kernels = detail::jacobi_kernels_for(count);
    detail::first_failure failures;
    const auto finish = [&](std::size_t i, bool trusted) {
        if (!trusted)
            failures.attempt(i, [&] { otherwise(i); });
    };
    const std::size_t longest = std::max(a.rows, a.cols);
    detail::run_in_lanes<double>({kernels.*operation, kernels.width, a.rows, a.cols, longest},
                                 count, a, a, results, finish);
    failures.rethrow();
}

// The matrix of one place as a stack.
real_stack alone(const real_stack& a, std::size_t i)
{
    return {a.at(i), a.rows, a.cols, 0};
}

// f() of a stack of one matrix: its failure is told by the caller's stack.
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

void stacks::small_eigh(std::size_t count, const real_stack& a, double* values, double* vectors)
{
    const std::size_t n = a.rows;
    run_jacobi(&jacobi_kernels::eigh, count, a, {values, n, vectors, n * n}, [&](std::size_t i) {
        unwrapped([&] {
            eigh(1, alone(a, i), eigen_method::divide_and_conquer, values + i * n,
                 vectors + i * n * n);
        });
    });
}

void stacks::small_eigenvalues(std::size_t count, const real_stack& a, double* values)
{
    run_jacobi(&jacobi_kernels::eigenvalues, count, a, {values, a.rows}, [&](std::size_t i) {
        unwrapped([&] { eigenvalues(1, alone(a, i), values + i * a.rows); });
    });
}

void stacks::small_svd(std::size_t count, const real_stack& a, double* u, double* values,
                       double* vh)
{
    const std::size_t k = std::min(a.rows, a.cols);
    const lane_results<double> results{values, k, u, a.rows * k, vh, k * a.cols};
    run_jacobi(&jacobi_kernels::svd, count, a, results, [&](std::size_t i) {
        unwrapped([&] {
            svd(1, alone(a, i), svd_method::divide_and_conquer, results.second_at(i), results.at(i),
                results.third_at(i));
        });
    });
}

void stacks::small_singular_values(std::size_t count, const real_stack& a, double* values)
{
    const std::size_t k = std::min(a.rows, a.cols);
    run_jacobi(&jacobi_kernels::singular_values, count, a, {values, k}, [&](std::size_t i) {
        unwrapped([&] { singular_values(1, alone(a, i), values + i * k); });
    });
}

void stacks::small_pinv(std::size_t count, const real_stack& a, double* inverses)
{
    const std::size_t size = a.rows * a.cols;
    run_jacobi(&jacobi_kernels::pinv, count, a, {inverses, size}, [&](std::size_t i) {
        unwrapped([&] { pinv(1, alone(a, i), inverses + i * size); });
    });
}

} // namespace numerical
