#include "package/matrix_functions.hpp"

#include "numerical/matrix_functions/exponential.hpp"
#include "numerical/matrix_functions/logarithm.hpp"
#include "numerical/matrix_functions/matrix_equations.hpp"
#include "numerical/matrix_functions/square_root.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/nonsymmetric/reduction_to_schur.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "package/matrices.hpp"

#include <algorithm>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace numerical::package {
namespace {

using boundary::wrap;

// Products and a solution, some twelve products in all at least.
std::size_t work_of(const stack_shape& of)
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
        detail::run_one_by_one(of.count, work_of(of), failures, [&](std::size_t i) {
            const matrix<T> one = matrix_exponential(dense(a, of).copy_of(i));
            std::copy(one.data.begin(), one.data.end(), results.data.begin() + i * step);
        });
        failures.rethrow();
    });
    return wrap(std::move(results));
}

// One square matrix; ValueError "sqrtm takes one matrix, not a stack of shape (2, 3, 3)".
void require_one_square(const operand& a, const char* function)
{
    if (!square_stack_of(a, function).is_single())
        binding::fail(PyExc_ValueError, std::string(function) +
                                            " takes one matrix, not a stack of shape " +
                                            detail::shape_text(a.shape()));
}

template <class T>
PyObject* wrapped(matrix<T>&& result)
{
    return wrap(tensor<T>(std::move(result)));
}

template <class... T>
PyObject* wrapped(std::variant<T...>&& result)
{
    return std::visit([](auto&& one) { return wrapped(std::move(one)); }, std::move(result));
}

// of_matrix(A) for the one argument of the function, without the interpreter lock.
template <class F>
PyObject* of_one_square(const binding::signature<1>& signature, const binding::call_arguments& call,
                        const F& of_matrix)
{
    const auto [given] = signature.bind(call);
    const operand a(given);
    require_one_square(a, signature.function);
    return telling({given}, {}, [&] {
        return by_type(a, [&](const auto& x) {
            auto result = [&] {
                const boundary::gil_release released(x.data.size() >=
                                                     boundary::gil_release_threshold);
                return of_matrix(boundary::matrix_from(x));
            }();
            return wrapped(std::move(result));
        });
    });
}

// ValueError "solve_sylvester takes q of shape (3, 2), not (2, 3)".
void require_right_side(const operand& q, const shape_list& shape, const char* function)
{
    if (q.shape() != shape)
        binding::fail(PyExc_ValueError, std::string(function) + " takes q of shape " +
                                            detail::shape_text(shape) + ", not " +
                                            detail::shape_text(q.shape()));
}

// solve(A, Q) for the two arguments of a Lyapunov equation.
template <class F>
PyObject* of_lyapunov(const binding::signature<2>& signature, const binding::call_arguments& call,
                      const F& solve)
{
    const auto [given_a, given_q] = signature.bind(call);
    operand a(given_a);
    operand q(given_q);
    require_one_square(a, signature.function);
    require_right_side(q, a.shape(), signature.function);
    return telling({given_a, given_q}, {}, [&] {
        return by_type(a, q, [&](const auto& x, const auto& y) {
            auto result = [&] {
                const boundary::gil_release released(x.data.size() >=
                                                     boundary::gil_release_threshold);
                return solve(boundary::matrix_from(x), boundary::matrix_from(y));
            }();
            return wrapped(std::move(result));
        });
    });
}

template <class T>
PyObject* ordered(const tensor<T>& t, const tensor<T>& q, const std::vector<bool>& selected)
{
    schur_factors<T> factors{boundary::matrix_from(t), boundary::matrix_from(q), {}};
    const std::size_t moved = [&] {
        const boundary::gil_release released(t.data.size() >= boundary::gil_release_threshold);
        return order_schur_form(factors, selected);
    }();
    return triple_of(wrapped(std::move(factors.t)), wrapped(std::move(factors.q)),
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
    return of_one_square(signature, call, [](auto&& a) { return square_root(std::move(a)); });
}

PyObject* logm(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"logm", {"a"}};
    return of_one_square(signature, call, [](auto&& a) { return logarithm(std::move(a)); });
}

PyObject* solve_sylvester(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"solve_sylvester", {"a", "b", "q"}};
    const auto [given_a, given_b, given_q] = signature.bind(call);
    operand a(given_a);
    operand b(given_b);
    operand q(given_q);
    require_one_square(a, signature.function);
    require_one_square(b, signature.function);
    require_right_side(q, {a.shape()[0], b.shape()[0]}, signature.function);
    if (a.is_complex() || b.is_complex() || q.is_complex())
        for (operand* each : {&a, &b, &q})
            each->make_complex();
    return telling({given_a, given_b, given_q}, {}, [&] {
        return by_type(a, [&]<class T>(const tensor<T>& x) {
            matrix<T> result = [&] {
                const boundary::gil_release released(q.as<T>().data.size() >=
                                                     boundary::gil_release_threshold);
                return numerical::solve_sylvester(boundary::matrix_from(x),
                                                  boundary::matrix_from(b.as<T>()),
                                                  boundary::matrix_from(q.as<T>()));
            }();
            return wrapped(std::move(result));
        });
    });
}

PyObject* solve_continuous_lyapunov(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"solve_continuous_lyapunov", {"a", "q"}};
    return of_lyapunov(signature, call, [](auto&& a, const auto& q) {
        return numerical::solve_continuous_lyapunov(std::move(a), q);
    });
}

PyObject* solve_discrete_lyapunov(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"solve_discrete_lyapunov", {"a", "q"}};
    return of_lyapunov(signature, call, [](auto&& a, const auto& q) {
        return numerical::solve_discrete_lyapunov(std::move(a), q);
    });
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
    require_right_side(q, t.shape(), signature.function);
    const std::vector<double>& flags = chosen.as<double>().data;
    std::vector<bool> selected(flags.size());
    std::transform(flags.begin(), flags.end(), selected.begin(),
                   [](double flag) { return flag != 0; });
    return telling({given_t}, {}, [&] {
        return by_type(t, q, [&](const auto& x, const auto& y) { return ordered(x, y, selected); });
    });
}

} // namespace numerical::package
