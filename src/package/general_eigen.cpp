#include "package/general_eigen.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "package/matrices.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

// The QR iteration takes about 25 n³ operations with vectors, far more than the copies around it.
std::size_t work_of_eigenproblem(const stack_shape& of)
{
    return 16 * of.rows * of.rows * of.rows + 8192;
}

bool is_real(const aligned_vector<complex>& numbers)
{
    return std::all_of(numbers.begin(), numbers.end(),
                       [](const complex& z) { return z.imag() == 0; });
}

aligned_vector<double> real_parts(const aligned_vector<complex>& numbers)
{
    aligned_vector<double> parts(numbers.size());
    std::transform(numbers.begin(), numbers.end(), parts.begin(),
                   [](const complex& z) { return z.real(); });
    return parts;
}

PyObject* wrapped_numbers(const shape_list& shape, aligned_vector<complex>&& numbers, bool as_real)
{
    if (as_real)
        return wrap(tensor<double>(shape, real_parts(numbers)));
    return wrap(tensor<complex>(shape, std::move(numbers)));
}

// Calls one(i) for each matrix of the stack.
template <class F>
void for_each_eigenproblem(const stack_shape& of, const F& one)
{
    computed(of.count * of.rows * of.cols, [&] {
        detail::first_failure failures;
        detail::run_one_by_one(of.count, work_of_eigenproblem(of), failures, one);
        failures.rethrow();
    });
}

// The vectors keep the storage in which they were computed.
template <class T>
PyObject* eig_of_one(const tensor<T>& a)
{
    general_eigenpairs pairs = [&] {
        const boundary::gil_release released(a.data.size() >= boundary::gil_release_threshold);
        return general_eigen(boundary::matrix_from(a), eigenvector_sides::right);
    }();
    const bool real = std::is_same_v<T, double> && is_real(pairs.values);
    return pair_of(wrapped_numbers({a.shape[0]}, std::move(pairs.values), real),
                   wrapped_numbers(a.shape, std::move(pairs.right.data), real));
}

template <class T>
PyObject* eig_of(const tensor<T>& a, const stack_shape& of)
{
    if (of.is_single())
        return eig_of_one(a);
    const std::size_t n = of.rows;
    aligned_vector<complex> values(of.count * n);
    aligned_vector<complex> vectors(of.count * n * n);
    for_each_eigenproblem(of, [&](std::size_t i) {
        const general_eigenpairs pairs =
            general_eigen(dense(a, of).copy_of(i), eigenvector_sides::right);
        std::copy(pairs.values.begin(), pairs.values.end(), values.begin() + i * n);
        std::copy(pairs.right.data.begin(), pairs.right.data.end(), vectors.begin() + i * n * n);
    });
    const bool real = std::is_same_v<T, double> && is_real(values);
    return pair_of(wrapped_numbers(joined(of.lead, {n}), std::move(values), real),
                   wrapped_numbers(joined(of.lead, {n, n}), std::move(vectors), real));
}

template <class T>
PyObject* eigvals_of(const tensor<T>& a, const stack_shape& of)
{
    aligned_vector<complex> values(of.count * of.rows);
    for_each_eigenproblem(of, [&](std::size_t i) {
        const aligned_vector<complex> found = general_eigenvalues(dense(a, of).copy_of(i));
        std::copy(found.begin(), found.end(), values.begin() + i * of.rows);
    });
    const bool real = std::is_same_v<T, double> && is_real(values);
    return wrapped_numbers(joined(of.lead, {of.rows}), std::move(values), real);
}

template <class T>
PyObject* pairs_of_both_sides(const tensor<T>& a)
{
    general_eigenpairs pairs = [&] {
        const boundary::gil_release released(a.data.size() >= boundary::gil_release_threshold);
        return general_eigen(boundary::matrix_from(a), eigenvector_sides::both);
    }();
    const bool real = std::is_same_v<T, double> && is_real(pairs.values);
    return triple_of(wrapped_numbers({a.shape[0]}, std::move(pairs.values), real),
                     wrapped_numbers(a.shape, std::move(pairs.left.data), real),
                     wrapped_numbers(a.shape, std::move(pairs.right.data), real));
}

template <class T>
PyObject* pair_of_matrices(matrix<T>&& first, matrix<T>&& second)
{
    return pair_of(wrap(tensor<T>(std::move(first))), wrap(tensor<T>(std::move(second))));
}

template <class T>
schur_factors<T> factored(const tensor<T>& a)
{
    const boundary::gil_release released(a.data.size() >= boundary::gil_release_threshold);
    return schur_form(boundary::matrix_from(a), schur_vectors::compute);
}

PyObject* schur_of(const tensor<complex>& a, bool)
{
    schur_factors<complex> factors = factored(a);
    return pair_of_matrices(std::move(factors.t), std::move(factors.q));
}

PyObject* schur_of(const tensor<double>& a, bool as_complex)
{
    schur_factors<double> factors = factored(a);
    if (!as_complex)
        return pair_of_matrices(std::move(factors.t), std::move(factors.q));
    schur_factors<complex> triangular = complex_schur_form(factors);
    return pair_of_matrices(std::move(triangular.t), std::move(triangular.q));
}

template <class T>
PyObject* hessenberg_factors_of(const tensor<T>& a)
{
    hessenberg_factors<T> factors = [&] {
        const boundary::gil_release released(a.data.size() >= boundary::gil_release_threshold);
        return hessenberg_form(boundary::matrix_from(a));
    }();
    return pair_of_matrices(std::move(factors.h), std::move(factors.q));
}

template <class T>
PyObject* hessenberg_matrix_of(const tensor<T>& a)
{
    matrix<T> h = [&] {
        const boundary::gil_release released(a.data.size() >= boundary::gil_release_threshold);
        return hessenberg_matrix(boundary::matrix_from(a));
    }();
    return wrap(tensor<T>(std::move(h)));
}

// A single square matrix; ValueError "schur takes one matrix, not a stack of shape (2, 3, 3)".
stack_shape one_square(const operand& a, const char* function)
{
    stack_shape of = square_stack_of(a, function);
    if (!of.is_single())
        binding::fail(PyExc_ValueError, std::string(function) +
                                            " takes one matrix, not a stack of shape " +
                                            detail::shape_text(a.shape()));
    return of;
}

} // namespace

PyObject* eig(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"eig", {"a"}};
    return of_square(signature, call,
                     [](const auto& a, const stack_shape& of) { return eig_of(a, of); });
}

PyObject* eigvals(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"eigvals", {"a"}};
    return of_square(signature, call,
                     [](const auto& a, const stack_shape& of) { return eigvals_of(a, of); });
}

PyObject* eig_both(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"eig", {"a"}};
    const auto [given] = signature.bind(call);
    const operand a(given);
    one_square(a, signature.function);
    return telling({given}, {}, [&] {
        return by_type(a, [](const auto& x) { return pairs_of_both_sides(x); });
    });
}

PyObject* schur(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"schur", {"a", "complex"}};
    const auto [given, as_complex] = signature.bind(call);
    const operand a(given);
    one_square(a, signature.function);
    const bool complex_form = flag_parameter(as_complex);
    return telling({given}, {}, [&] {
        return by_type(a, [&](const auto& x) { return schur_of(x, complex_form); });
    });
}

PyObject* hessenberg(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"hessenberg", {"a", "calc_q"}};
    const auto [given, calc_q] = signature.bind(call);
    const operand a(given);
    one_square(a, signature.function);
    const bool with_basis = flag_parameter(calc_q);
    return telling({given}, {}, [&] {
        return by_type(a, [&](const auto& x) {
            return with_basis ? hessenberg_factors_of(x) : hessenberg_matrix_of(x);
        });
    });
}

} // namespace numerical::package
