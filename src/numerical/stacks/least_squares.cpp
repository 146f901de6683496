#include "numerical/svd/least_squares.hpp"

#include "numerical/errors.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/values_only.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace {

using complex = std::complex<double>;
using detail::first_failure;

template <class T>
std::size_t work_of_svd(const matrix_stack<T>& a)
{
    return 4 * a.rows * a.cols * std::min(a.rows, a.cols) + 8192;
}

} // namespace

template <class T>
void stacks::pinv(std::size_t count, const matrix_stack<T>& a, T* inverses)
{
    first_failure failures;
    detail::run_one_by_one(count, work_of_svd(a), failures, [&](std::size_t i) {
        const matrix<T> inverse = pseudo_inverse(a.view_of(i));
        std::copy(inverse.data.begin(), inverse.data.end(), inverses + i * a.rows * a.cols);
    });
    failures.rethrow();
}

template <class T>
void stacks::matrix_rank(std::size_t count, const matrix_stack<T>& a, std::size_t* ranks)
{
    first_failure failures;
    detail::run_one_by_one(count, work_of_svd(a), failures,
                           [&](std::size_t i) { ranks[i] = rank_by_values(a.view_of(i)); });
    failures.rethrow();
}

template <class T>
void stacks::lstsq(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* x)
{
    if (a.rows != b.rows)
        throw dimension_error("lstsq: right-hand side size differs from the matrix");
    first_failure failures;
    detail::run_one_by_one(count, work_of_svd(a), failures, [&](std::size_t i) {
        const matrix<T> solution = numerical::lstsq(a.copy_of(i), b.copy_of(i));
        std::copy(solution.data.begin(), solution.data.end(), x + i * a.cols * b.cols);
    });
    failures.rethrow();
}

template void stacks::pinv(std::size_t, const matrix_stack<double>&, double*);
template void stacks::matrix_rank(std::size_t, const matrix_stack<double>&, std::size_t*);
template void stacks::lstsq(std::size_t, const matrix_stack<double>&, const matrix_stack<double>&,
                            double*);
template void stacks::pinv(std::size_t, const matrix_stack<complex>&, complex*);
template void stacks::matrix_rank(std::size_t, const matrix_stack<complex>&, std::size_t*);
template void stacks::lstsq(std::size_t, const matrix_stack<complex>&, const matrix_stack<complex>&,
                            complex*);

} // namespace numerical
