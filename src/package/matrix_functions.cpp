#include "package/matrix_functions.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix_functions/exponential.hpp"
#include "numerical/matrix_functions/hermitian.hpp"
#include "numerical/matrix_functions/logarithm.hpp"
#include "numerical/matrix_functions/square_root.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/nonsymmetric/reduction_to_schur.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "package/matrices.hpp"

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace numerical::package {
namespace {

using real_or_complex = std::variant<matrix<double>, matrix<complex>>;

// The work of products and a solution: at least that of some twelve products.
std::size_t work_of_function(const stack_shape& of)
{
    return 8 * of.rows * of.rows * of.rows + 8192;
}

template <class T>
PyObject* exponentials(const tensor<T>& a, const stack_shape& of)
{
    const std::size_t step = of.rows * of.cols;
    tensor<T> results = unset_stack<T>(of.lead, {of.rows, of.cols});
    computed(a.data.size(), [&] {
        detail::first_failure failures;
        detail::run_one_by_one(of.count, work_of_function(of), failures, [&](std::size_t i) {
            const matrix<T> one = matrix_exponential(dense(a, of).copy_of(i));
            std::copy(one.data.begin(), one.data.end(), results.data.begin() + i * step);
        });
        failures.rethrow();
    });
    return wrap(std::move(results));
}

// One square matrix; ValueError "schur takes one matrix, not a stack of shape (2, 3, 3)".
void require_one_square(const operand& a, const char* function)
{
    if (!square_stack_of(a, function).is_single())
        binding::fail(PyExc_ValueError, std::string(function) +
                                            " takes one matrix, not a stack of shape " +
                                            detail::shape_text(a.shape()));
}

template <class T>
PyObject* wrapped_matrix(matrix<T>&& result)
{
    return wrap(tensor<T>(std::move(result)));
}

// Matrices of real and of complex elements in a tensor: complex128 if any of them is.
PyObject* gathered(std::vector<real_or_complex>&& results, const stack_shape& of)
{
    const auto is_real = [](const real_or_complex& one) { return one.index() == 0; };
    const std::size_t step = of.rows * of.cols;
    const auto into = [&]<class U>(tensor<U> all) {
        for (std::size_t i = 0; i < results.size(); ++i)
            std::visit(
                [&]<class T>(const matrix<T>& one) {
                    if constexpr (std::is_convertible_v<T, U>)
                        std::copy(one.data.begin(), one.data.end(), all.data.begin() + i * step);
                },
                results[i]);
        return wrap(std::move(all));
    };
    if (std::all_of(results.begin(), results.end(), is_real))
        return into(unset_stack<double>(of.lead, {of.rows, of.cols}));
    return into(unset_stack<complex>(of.lead, {of.rows, of.cols}));
}

// Calls of_matrix(A) for each matrix of the one argument.
template <class F>
PyObject* of_squares(const binding::signature<1>& signature, const binding::call_arguments& call,
                     const F& of_matrix)
{
    const auto [given] = signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, signature.function);
    return telling({given}, of.lead, [&] {
        return by_type(a, [&](const auto& x) {
            std::vector<real_or_complex> results(of.count, matrix<double>(0, 0, {}));
            const auto one = [&](std::size_t i) {
                results[i] = of_matrix(dense(x, of).copy_of(i));
            };
            computed(x.data.size(), [&] {
                detail::first_failure failures;
                detail::run_one_by_one(of.count, work_of_function(of), failures, one);
                failures.rethrow();
            });
            return gathered(std::move(results), of);
        });
    });
}

template <class T>
PyObject* weighted_gram(const tensor<T>& b, const tensor<double>& f)
{
    matrix<T> sum(0, 0, {});
    computed(b.data.size(), [&] {
        sum =
            detail::spectral_sum_of_rows<T>({b.data.data(), b.shape[0], b.shape[1]}, f.data.data());
    });
    return wrapped_matrix(std::move(sum));
}

// ValueError "schur takes q of shape (3, 3), not (2, 2)".
void require_shape(const operand& q, const shape_list& shape, const char* function)
{
    if (q.shape() == shape)
        return;
    // Appended in place: g++ 12 warns without reason of a chain of + under the thread sanitizer.
    std::string said(function);
    said += " takes q of shape ";
    said += detail::shape_text(shape);
    said += ", not ";
    said += detail::shape_text(q.shape());
    binding::fail(PyExc_ValueError, said);
}

template <class T>
PyObject* ordered(const tensor<T>& t, const tensor<T>& q, const std::vector<bool>& selected)
{
    schur_factors<T> factors{boundary::matrix_from(t), boundary::matrix_from(q), {}};
    const std::size_t moved = [&] {
        const boundary::gil_release released(t.data.size() >= boundary::gil_release_threshold);
        return order_schur_form(factors, selected);
    }();
    return triple_of(wrapped_matrix(std::move(factors.t)), wrapped_matrix(std::move(factors.q)),
                     PyLong_FromSize_t(moved));
}

} // namespace

PyObject* expm(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"expm", {"a"}};
    const auto [given] = signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, signature.function);
    return telling({given}, of.lead,
                   [&] { return by_type(a, [&](const auto& x) { return exponentials(x, of); }); });
}

PyObject* sqrtm(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"sqrtm", {"a"}};
    return of_squares(signature, call,
                      [](auto a) -> real_or_complex { return square_root(std::move(a)); });
}

PyObject* logm(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"logm", {"a"}};
    return of_squares(signature, call,
                      [](auto a) -> real_or_complex { return logarithm(std::move(a)); });
}

PyObject* spectral_sum(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"spectral_sum", {"b", "f"}};
    const auto [given_b, given_f] = signature.bind(call);
    const operand b(given_b);
    const operand f(given_f);
    return by_type(b, [&](const auto& x) { return weighted_gram(x, f.as<double>()); });
}

PyObject* eigenvalues_of_schur(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"schur", {"t"}};
    const auto [given] = signature.bind(call);
    const operand t(given);
    require_one_square(t, signature.function);
    return by_type(t, [](const auto& x) {
        const auto n = x.shape[0];
        return wrap(tensor<complex>({n}, detail::diagonal_eigenvalues(boundary::matrix_from(x))));
    });
}

PyObject* order_schur(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"schur", {"t", "q", "selected"}};
    const auto [given_t, given_q, given_selected] = signature.bind(call);
    operand t(given_t);
    operand q(given_q);
    const operand chosen(given_selected);
    require_one_square(t, signature.function);
    require_shape(q, t.shape(), signature.function);
    const aligned_vector<double>& flags = chosen.as<double>().data;
    std::vector<bool> selected(flags.size());
    std::transform(flags.begin(), flags.end(), selected.begin(),
                   [](double flag) { return flag != 0; });
    return telling({given_t}, {}, [&] {
        return by_type(t, q, [&](const auto& x, const auto& y) { return ordered(x, y, selected); });
    });
}

} // namespace numerical::package
