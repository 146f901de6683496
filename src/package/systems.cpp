#include "package/systems.hpp"

#include "module/functions.hpp"
#include "numerical/stacks/stacks.hpp"
#include "package/right_sides.hpp"

#include <string>

namespace numerical::package {
namespace {

template <class T>
PyObject* solve_stack(const tensor<T>& a, const stack_shape& of, const tensor<T>& b,
                      const right_sides& sides)
{
    tensor<T> x = unset_solutions<T>(sides, sides.rows);
    const stack_places from_a(of.lead, sides.lead, of.rows * of.cols);
    const stack_places from_b(sides.own, sides.lead, sides.rows * sides.cols);
    const auto left = from_a(a.data.data(), of.rows, of.cols);
    const auto right = from_b(b.data.data(), sides.rows, sides.cols);
    computed(a.data.size() + x.data.size(), [&] {
        if (sides.vectors)
            stacks::solve_vectors(sides.count(), left, right, x.data.data());
        else
            stacks::solve_matrices(sides.count(), left, right, x.data.data());
    });
    return wrap(std::move(x));
}

PyObject* solve_of(operand& a, operand& b, std::initializer_list<PyObject*> given)
{
    promote(a, b);
    if (a.rank() == 2 && b.rank() <= 2)
        return telling(given, {},
                       [&] { return wrap(boundary::solve_fastest(a.value(), b.value())); });
    const stack_shape of = square_stack_of(a, "solve");
    const right_sides sides = right_sides_of(of.lead, b.shape(), "solve");
    return telling(given, sides.lead, [&] {
        return by_type(a, b,
                       [&](const auto& x, const auto& y) { return solve_stack(x, of, y, sides); });
    });
}

template <class T>
PyObject* inverses(const tensor<T>& a, const stack_shape& of)
{
    tensor<T> inverses = unset_stack<T>(of.lead, {of.rows, of.cols});
    computed(a.data.size(), [&] { stacks::inverse(of.count, dense(a, of), inverses.data.data()); });
    return wrap(std::move(inverses));
}

template <class T>
PyObject* determinants(const tensor<T>& a, const stack_shape& of)
{
    tensor<T> results = unset_stack<T>(of.lead, {});
    computed(a.data.size(),
             [&] { stacks::determinant(of.count, dense(a, of), results.data.data()); });
    return number_or_tensor(std::move(results));
}

template <class T>
PyObject* signs_and_logs(const tensor<T>& a, const stack_shape& of)
{
    tensor<T> signs = unset_stack<T>(of.lead, {});
    tensor<double> logs = unset_stack<double>(of.lead, {});
    computed(a.data.size(),
             [&] { stacks::slogdet(of.count, dense(a, of), signs.data.data(), logs.data.data()); });
    return pair_of(number_or_tensor(std::move(signs)), number_or_tensor(std::move(logs)));
}

constexpr binding::signature<4> solve_signature{
    "solve", {"a", "b", "assume_a", "check_condition"}, 2, 2};
constexpr binding::signature<1> inv_signature{"inv", {"a"}};
constexpr binding::signature<1> det_signature{"det", {"a"}};
constexpr binding::signature<1> slogdet_signature{"slogdet", {"a"}};

} // namespace

PyObject* solve(const binding::call_arguments& call)
{
    const auto [given_a, given_b, assume_a, check] = solve_signature.bind(call);
    if (!is_absent(assume_a) || !is_absent(check))
        return PyObject_CallFunctionObjArgs(callbacks().solve_assuming, given_a, given_b,
                                            assume_a != nullptr ? assume_a : Py_None,
                                            check != nullptr ? check : Py_None, nullptr);
    operand a(given_a);
    operand b(given_b);
    return solve_of(a, b, {given_a, given_b});
}

PyObject* inv(const binding::call_arguments& call)
{
    return of_square(inv_signature, call,
                     [](const auto& a, const stack_shape& of) { return inverses(a, of); });
}

PyObject* det(const binding::call_arguments& call)
{
    return of_square(det_signature, call,
                     [](const auto& a, const stack_shape& of) { return determinants(a, of); });
}

PyObject* slogdet(const binding::call_arguments& call)
{
    return of_square(slogdet_signature, call,
                     [](const auto& a, const stack_shape& of) { return signs_and_logs(a, of); });
}

} // namespace numerical::package
