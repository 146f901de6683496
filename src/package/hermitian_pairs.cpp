#include "package/hermitian_pairs.hpp"

#include "module/functions.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/selected.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stack_error.hpp"
#include "numerical/strided/broadcast.hpp"
#include "package/matrices.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

enum class results { pairs, values };

// The second matrices of a call, if there are any, and the selected part of the spectrum.
struct request
{
    pencil_form form;
    eigen_selection selection;
    std::optional<std::size_t> count; // of values, if known beforehand
};

// The two numbers of a tuple.
double bound_of(PyObject* pair, Py_ssize_t place)
{
    return real_parameter(PyTuple_GetItem(pair, place), "subset_by_value", 0.0);
}

request request_of(PyObject* type, PyObject* places, PyObject* interval, std::size_t order)
{
    const auto form = static_cast<pencil_form>(integer_parameter(type, "type"));
    if (!is_absent(places)) {
        const aligned_vector<std::ptrdiff_t> range = integers_parameter(places, "subset_by_index");
        const auto first = static_cast<std::size_t>(range.at(0));
        const auto last = static_cast<std::size_t>(range.at(1));
        return {form, eigen_selection::by_place(first, last), last - first};
    }
    if (!is_absent(interval))
        return {form, eigen_selection::by_value(bound_of(interval, 0), bound_of(interval, 1)), {}};
    return {form, eigen_selection::all(), order};
}

// The matrices of one problem of the stack.
template <class T>
struct problem_stack
{
    shape_list lead;
    std::size_t order;
    matrix_stack<T> a;
    const matrix_stack<T>* b; // null without a second matrix

    std::size_t count() const { return detail::element_count(lead); }

    eigenpairs<T> pairs(std::size_t i, const request& wanted) const
    {
        if (b == nullptr)
            return selected_eigenpairs(a.copy_of(i), wanted.selection);
        return selected_eigenpairs(a.copy_of(i), b->copy_of(i), wanted.form, wanted.selection);
    }

    aligned_vector<double> values(std::size_t i, const request& wanted) const
    {
        if (b == nullptr)
            return selected_eigenvalues(a.copy_of(i), wanted.selection);
        return selected_eigenvalues(a.copy_of(i), b->copy_of(i), wanted.form, wanted.selection);
    }
};

// Calls find(i) for each problem, without the interpreter lock.
template <class T, class F>
void for_each_problem(const problem_stack<T>& problems, const F& find)
{
    const std::size_t n = problems.order;
    computed(problems.count() * n * n, [&] {
        detail::first_failure failures;
        detail::run_one_by_one(problems.count(), 8 * n * n * n + 8192, failures, find);
        failures.rethrow();
    });
}

// Solves one problem whose number of values isn't known beforehand.
template <class T>
PyObject* single_pairs(const problem_stack<T>& problems, const request& wanted)
{
    eigenpairs<T> found{{}, {0, 0, {}}};
    for_each_problem(problems, [&](std::size_t i) { found = problems.pairs(i, wanted); });
    const std::size_t k = found.values.size();
    return pair_of(wrap(tensor<double>({k}, std::move(found.values))),
                   wrap(tensor<T>({problems.order, k}, std::move(found.vectors.data))));
}

template <class T>
PyObject* single_values(const problem_stack<T>& problems, const request& wanted)
{
    aligned_vector<double> found;
    for_each_problem(problems, [&](std::size_t i) { found = problems.values(i, wanted); });
    const std::size_t k = found.size();
    return wrap(tensor<double>({k}, std::move(found)));
}

template <class T>
PyObject* stacked_pairs(const problem_stack<T>& problems, const request& wanted)
{
    const std::size_t n = problems.order;
    const std::size_t k = wanted.count.value();
    tensor<double> values = unset_stack<double>(problems.lead, {k});
    tensor<T> vectors = unset_stack<T>(problems.lead, {n, k});
    for_each_problem(problems, [&](std::size_t i) {
        const eigenpairs<T> found = problems.pairs(i, wanted);
        std::copy(found.values.begin(), found.values.end(), values.data.data() + i * k);
        std::copy(found.vectors.data.begin(), found.vectors.data.end(),
                  vectors.data.data() + i * n * k);
    });
    return pair_of(wrap(std::move(values)), wrap(std::move(vectors)));
}

template <class T>
PyObject* stacked_values(const problem_stack<T>& problems, const request& wanted)
{
    const std::size_t k = wanted.count.value();
    tensor<double> values = unset_stack<double>(problems.lead, {k});
    for_each_problem(problems, [&](std::size_t i) {
        const aligned_vector<double> found = problems.values(i, wanted);
        std::copy(found.begin(), found.end(), values.data.data() + i * k);
    });
    return wrap(std::move(values));
}

template <class T>
PyObject* solved(const problem_stack<T>& problems, const request& wanted, results what)
{
    if (problems.lead.empty())
        return what == results::pairs ? single_pairs(problems, wanted)
                                      : single_values(problems, wanted);
    return what == results::pairs ? stacked_pairs(problems, wanted)
                                  : stacked_values(problems, wanted);
}

shape_list broadcast_lead(const stack_shape& a, const stack_shape& b)
{
    try {
        return broadcast_shape(a.lead, b.lead);
    } catch (const std::exception& failure) {
        binding::fail(PyExc_ValueError, failure.what());
    }
}

PyObject* of_one(PyObject* given, const operand& a, const stack_shape& of, const request& wanted,
                 results what)
{
    return telling({given}, of.lead, [&] {
        return by_type(a, [&]<class T>(const tensor<T>& x) {
            return solved<T>({.lead = of.lead, .order = of.rows, .a = dense(x, of), .b = nullptr},
                             wanted, what);
        });
    });
}

PyObject* of_pair(std::initializer_list<PyObject*> given, operand& a, operand& b,
                  const request& wanted, results what, const char* function)
{
    const stack_shape of_a = square_stack_of(a, function);
    const stack_shape of_b = square_stack_of(b, function);
    if (of_a.rows != of_b.rows)
        binding::fail(PyExc_ValueError,
                      std::string(function) + " takes a and b of one order, not shapes " +
                          detail::shape_text(a.shape()) + " and " + detail::shape_text(b.shape()));
    const shape_list lead = broadcast_lead(of_a, of_b);
    const std::size_t n = of_a.rows;
    const stack_places from_a(of_a.lead, lead, n * n);
    const stack_places from_b(of_b.lead, lead, n * n);
    return telling(given, lead, [&] {
        return by_type(a, b, [&]<class T>(const tensor<T>& x, const tensor<T>& y) {
            const matrix_stack<T> right = from_b(y.data.data(), n, n);
            return solved<T>(
                {.lead = lead, .order = n, .a = from_a(x.data.data(), n, n), .b = &right}, wanted,
                what);
        });
    });
}

PyObject* selected(const binding::signature<5>& signature, const binding::call_arguments& call,
                   results what, const char* function)
{
    const auto [given_a, given_b, type, places, interval] = signature.bind(call);
    operand a(given_a);
    const stack_shape of = square_stack_of(a, function);
    const request wanted = request_of(type, places, interval, of.rows);
    if (is_absent(given_b))
        return of_one(given_a, a, of, wanted, what);
    operand b(given_b);
    return of_pair({given_a, given_b}, a, b, wanted, what, function);
}

constexpr binding::signature<5> selected_eigh_signature{"selected_eigh",
                                                        {"a", "b", "type", "places", "interval"}};
constexpr binding::signature<5> selected_eigvalsh_signature{
    "selected_eigvalsh", {"a", "b", "type", "places", "interval"}};

} // namespace

PyObject* selected_eigh(const binding::call_arguments& call)
{
    return selected(selected_eigh_signature, call, results::pairs, "eigh");
}

PyObject* selected_eigvalsh(const binding::call_arguments& call)
{
    return selected(selected_eigvalsh_signature, call, results::values, "eigvalsh");
}

} // namespace numerical::package
