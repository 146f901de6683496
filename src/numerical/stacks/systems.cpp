#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/scalar.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/storage.hpp"
#include "numerical/systems/vector_system.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace {

using detail::first_failure;
using detail::greatest_lane_order;
using detail::lane_job;
using detail::lane_kernels;

// Right-hand sides beside a matrix in the lanes' scratch.
constexpr std::size_t most_lane_columns = 32;

template <class T>
void require_square_for_lu(const matrix_stack<T>& a)
{
    if (a.rows != a.cols)
        throw dimension_error("LU decomposition requires a square matrix");
}

template <class T>
lu_decomposition<T> regular_lu(const matrix_stack<T>& a, std::size_t i, const char* singular_text)
{
    lu_decomposition<T> lu(a.view_of(i));
    if (lu.singular)
        throw singular_matrix_error(singular_text);
    return lu;
}

template <class T>
std::size_t work_of_lu(const matrix_stack<T>& a, std::size_t columns)
{
    return a.rows * a.rows * (a.rows + columns) * sizeof(T) / sizeof(double) / 4 + 512;
}

lane_job system_job(detail::lane_kernel kernel, const lane_kernels& kernels, std::size_t order,
                    std::size_t columns)
{
    return {.kernel = kernel,
            .width = kernels.width,
            .rows = order,
            .cols = columns,
            .depth = order,
            .least_live = detail::least_live_of_factorization(order, kernels.width)};
}

// Solves every matrix as one(i) does, in lanes if the matrices and right-hand sides are small.
template <class T, class F>
void run_systems(const lane_job& job, std::size_t count, const matrix_stack<T>& a,
                 const matrix_stack<T>& b, T* results, const F& one)
{
    first_failure failures;
    const std::size_t elements = job.rows * job.cols;
    if (elements != 0 && job.rows <= greatest_lane_order<T> && job.cols <= most_lane_columns) {
        const auto finish = [&](std::size_t i, bool trusted) {
            if (!trusted)
                failures.attempt(i, [&] { one(i); });
        };
        detail::run_in_lanes<T>(job, count, a, b, {results, elements}, finish);
    } else {
        detail::run_one_by_one(count, work_of_lu(a, job.cols), failures, one);
    }
    failures.rethrow();
}

template <class T>
void require_right_sides(const matrix_stack<T>& a, const matrix_stack<T>& b, const char* text)
{
    require_square_for_lu(a);
    if (a.rows != b.rows)
        throw dimension_error(text);
}

// of_diagonal(i, sign, diagonal) of U for the matrices that lanes can do, one(i) for all others.
template <class T, class OfDiagonal, class One>
void run_diagonals(std::size_t count, const matrix_stack<T>& a, const OfDiagonal& of_diagonal,
                   const One& one)
{
    require_square_for_lu(a);
    first_failure failures;
    const std::size_t n = a.rows;
    if (n == 0 || n > greatest_lane_order<T>) {
        detail::run_one_by_one(count, work_of_lu(a, 0), failures, one);
        return failures.rethrow();
    }
    const lane_kernels& kernels = detail::lane_kernels_for(T());
    const std::size_t stride = n + 1; // the sign is the last
    aligned_vector<T> diagonals = detail::uninitialized<T>(count * stride);
    const auto finish = [&](std::size_t i, bool trusted) {
        const T* const diagonal = diagonals.data() + i * stride;
        if (trusted)
            of_diagonal(i, detail::real_part(diagonal[n]) > 0 ? 1 : -1, diagonal);
        else
            failures.attempt(i, [&] { one(i); });
    };
    detail::run_in_lanes<T>(system_job(kernels.lu_diagonal, kernels, n, 0), count, a, a,
                            {diagonals.data(), stride}, finish);
    failures.rethrow();
}

} // namespace

template <class T>
void stacks::solve_vectors(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b,
                           T* x)
{
    require_right_sides(a, b, "solve: right-hand side size differs from the matrix");
    static_assert(greatest_order_by_elements<T> >= greatest_lane_order<T>);
    const auto one = [&](std::size_t i) {
        const auto lu = regular_lu(a, i, "solve: matrix is singular");
        const aligned_vector<T> solution = solve_vector(lu, detail::copy_of(b.at(i), b.rows));
        std::copy(solution.begin(), solution.end(), x + i * a.rows);
    };
    const lane_kernels& kernels = detail::lane_kernels_for(T());
    run_systems(system_job(kernels.solve_vector, kernels, a.rows, 1), count, a, b, x, one);
}

template <class T>
void stacks::solve_matrices(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b,
                            T* x)
{
    require_right_sides(a, b, "solve: right-hand side row count differs from the matrix");
    const auto one = [&](std::size_t i) {
        const auto lu = regular_lu(a, i, "solve: matrix is singular");
        const aligned_vector<T> solution =
            lu.solve_matrix(b.at(i), b.cols, block_sums::in_any_order);
        std::copy(solution.begin(), solution.end(), x + i * a.rows * b.cols);
    };
    const lane_kernels& kernels = detail::lane_kernels_for(T());
    run_systems(system_job(kernels.solve_matrix, kernels, a.rows, b.cols), count, a, b, x, one);
}

template <class T>
void stacks::inverse(std::size_t count, const matrix_stack<T>& a, T* inverses)
{
    require_square_for_lu(a);
    const auto one = [&](std::size_t i) {
        regular_lu(a, i, "inverse: matrix is singular")
            .write_inverse(inverses + i * a.rows * a.rows, block_sums::in_any_order);
    };
    const lane_kernels& kernels = detail::lane_kernels_for(T());
    run_systems(system_job(kernels.inverse, kernels, a.rows, a.rows), count, a, a, inverses, one);
}

template <class T>
void stacks::determinant(std::size_t count, const matrix_stack<T>& a, T* determinants)
{
    const auto of_diagonal = [&](std::size_t i, std::int32_t sign, const T* diagonal) {
        determinants[i] = detail::determinant_of_diagonal(sign, diagonal, a.rows, 1);
    };
    const auto one = [&](std::size_t i) {
        determinants[i] = numerical::determinant(lu_decomposition<T>(a.view_of(i)));
    };
    run_diagonals(count, a, of_diagonal, one);
}

template <class T>
void stacks::slogdet(std::size_t count, const matrix_stack<T>& a, T* signs, double* logs)
{
    const auto keep = [&](std::size_t i, const sign_and_log<T>& found) {
        signs[i] = found.sign;
        logs[i] = found.log;
    };
    const auto of_diagonal = [&](std::size_t i, std::int32_t sign, const T* diagonal) {
        keep(i, detail::slogdet_of_diagonal(sign, diagonal, a.rows, 1));
    };
    const auto one = [&](std::size_t i) {
        keep(i, numerical::slogdet(lu_decomposition<T>(a.view_of(i))));
    };
    run_diagonals(count, a, of_diagonal, one);
}

using complex = std::complex<double>;

template void stacks::solve_vectors(std::size_t, const matrix_stack<double>&,
                                    const matrix_stack<double>&, double*);
template void stacks::solve_matrices(std::size_t, const matrix_stack<double>&,
                                     const matrix_stack<double>&, double*);
template void stacks::inverse(std::size_t, const matrix_stack<double>&, double*);
template void stacks::determinant(std::size_t, const matrix_stack<double>&, double*);
template void stacks::slogdet(std::size_t, const matrix_stack<double>&, double*, double*);
template void stacks::solve_vectors(std::size_t, const matrix_stack<complex>&,
                                    const matrix_stack<complex>&, complex*);
template void stacks::solve_matrices(std::size_t, const matrix_stack<complex>&,
                                     const matrix_stack<complex>&, complex*);
template void stacks::inverse(std::size_t, const matrix_stack<complex>&, complex*);
template void stacks::determinant(std::size_t, const matrix_stack<complex>&, complex*);
template void stacks::slogdet(std::size_t, const matrix_stack<complex>&, complex*, double*);

} // namespace numerical
