#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/eigen/eigenvalues.hpp"
#include "numerical/errors.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/values_only.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>

namespace numerical {
namespace {

using complex = std::complex<double>;
using detail::first_failure;

template <class T>
using eigen_of = std::conditional_t<std::is_same_v<T, double>, symmetric_eigen, hermitian_eigen>;

// All methods take some times the products of a multiplication.
template <class T>
std::size_t work_of_spectrum(const matrix_stack<T>& a)
{
    return 4 * a.rows * a.cols * std::min(a.rows, a.cols) + 8192;
}

template <class T>
void require_square(const matrix_stack<T>& a)
{
    if (a.rows != a.cols)
        throw dimension_error(std::is_same_v<T, double>
                                  ? "symmetric eigendecomposition requires a square matrix"
                                  : "Hermitian eigendecomposition requires a square matrix");
}

} // namespace

template <class T>
void stacks::eigh(std::size_t count, const matrix_stack<T>& a, eigen_method method, double* values,
                  T* vectors)
{
    require_square(a);
    const std::size_t n = a.rows;
    first_failure failures;
    detail::run_one_by_one(count, work_of_spectrum(a), failures, [&](std::size_t i) {
        const eigen_of<T> eigen(a.copy_of(i), method, eigen_blocks::fastest);
        std::copy(eigen.values.begin(), eigen.values.end(), values + i * n);
        std::copy(eigen.vectors.data.begin(), eigen.vectors.data.end(), vectors + i * n * n);
    });
    failures.rethrow();
}

template <class T>
void stacks::eigenvalues(std::size_t count, const matrix_stack<T>& a, double* values)
{
    require_square(a);
    first_failure failures;
    detail::run_one_by_one(count, work_of_spectrum(a), failures, [&](std::size_t i) {
        const aligned_vector<double> found = numerical::eigenvalues_of(a.at(i), a.rows);
        std::copy(found.begin(), found.end(), values + i * a.rows);
    });
    failures.rethrow();
}

template <class T>
void stacks::svd(std::size_t count, const matrix_stack<T>& a, svd_method method, T* u,
                 double* values, T* vh)
{
    const std::size_t k = std::min(a.rows, a.cols);
    first_failure failures;
    detail::run_one_by_one(count, work_of_spectrum(a), failures, [&](std::size_t i) {
        const svd_decomposition<T> svd(a.copy_of(i), method, svd_blocks::fastest);
        const matrix<T> right = detail::adjoint(svd.v);
        std::copy(svd.u.data.begin(), svd.u.data.end(), u + i * a.rows * k);
        std::copy(svd.values.begin(), svd.values.end(), values + i * k);
        std::copy(right.data.begin(), right.data.end(), vh + i * k * a.cols);
    });
    failures.rethrow();
}

template <class T>
void stacks::singular_values(std::size_t count, const matrix_stack<T>& a, double* values)
{
    const std::size_t k = std::min(a.rows, a.cols);
    first_failure failures;
    detail::run_one_by_one(count, work_of_spectrum(a), failures, [&](std::size_t i) {
        const aligned_vector<double> found = singular_values_only(a.view_of(i));
        std::copy(found.begin(), found.end(), values + i * k);
    });
    failures.rethrow();
}

template void stacks::eigh(std::size_t, const matrix_stack<double>&, eigen_method, double*,
                           double*);
template void stacks::eigenvalues(std::size_t, const matrix_stack<double>&, double*);
template void stacks::svd(std::size_t, const matrix_stack<double>&, svd_method, double*, double*,
                          double*);
template void stacks::singular_values(std::size_t, const matrix_stack<double>&, double*);
template void stacks::eigh(std::size_t, const matrix_stack<complex>&, eigen_method, double*,
                           complex*);
template void stacks::eigenvalues(std::size_t, const matrix_stack<complex>&, double*);
template void stacks::svd(std::size_t, const matrix_stack<complex>&, svd_method, complex*, double*,
                          complex*);
template void stacks::singular_values(std::size_t, const matrix_stack<complex>&, double*);

} // namespace numerical
