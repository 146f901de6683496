#pragma once

// Common to all functions of matrices: arguments that are stacks of shape (..., M, N), results
// allocated once for the whole stack, and failures that name the matrix.

#include "binding/fastcall.hpp"
#include "numerical/checks.hpp"
#include "numerical/stacks/matrix_stack.hpp"
#include "numerical/storage.hpp"
#include "package/operand.hpp"
#include "package/parameters.hpp"

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

namespace numerical::package {

// The shape of an argument, split: matrices of rows × cols, `count` of them at the places of the
// leading axes.
struct stack_shape
{
    shape_list lead;
    std::size_t rows;
    std::size_t cols;
    std::size_t count;

    bool is_single() const { return lead.empty(); }
};

// ValueError "svd takes a matrix or a stack of them, not a tensor of rank 1".
stack_shape stack_of(const operand& a, const char* function);

// The same; ValueError "inv takes square matrices, not shape (2, 3)".
stack_shape square_stack_of(const operand& a, const char* function);

// The matrices of a tensor of that shape, in their order.
template <class T>
matrix_stack<T> dense(const tensor<T>& a, const stack_shape& of)
{
    return {.first = a.data.data(), .rows = of.rows, .cols = of.cols, .step = of.rows * of.cols};
}

inline shape_list joined(shape_list lead, std::initializer_list<std::size_t> last)
{
    lead.insert(lead.end(), last);
    return lead;
}

// A tensor of the leading axes and `last`, whose elements are to be written before they are read.
template <class T>
tensor<T> unset_stack(const shape_list& lead, std::initializer_list<std::size_t> last)
{
    shape_list shape = joined(lead, last);
    const std::size_t count = detail::element_count(shape);
    return tensor<T>(std::move(shape), detail::uninitialized<T>(count));
}

// Calls body(), without the interpreter lock if there are enough elements for that to pay.
template <class Body>
void computed(std::size_t elements, const Body& body)
{
    const boundary::gil_release released(elements >= boundary::gil_release_threshold);
    body();
}

// The results as a tuple. Takes over all references; null with the error set if one is null.
PyObject* tuple_of(std::initializer_list<PyObject*> items);
PyObject* pair_of(PyObject* first, PyObject* second);
PyObject* triple_of(PyObject* first, PyObject* second, PyObject* third);

// For use in a handler: translates the current exception to Python's, a stack_error by its cause. A
// numerical.error gets a note with the operands and a hint, and for a stack one with the index of
// the matrix. Always returns null.
PyObject* translated_failure(std::initializer_list<PyObject*> operands, const shape_list& lead);

// Calls body() and translates its failures in this way.
template <class Body>
PyObject* telling(std::initializer_list<PyObject*> operands, const shape_list& lead,
                  const Body& body)
{
    try {
        return body();
    } catch (...) {
        return translated_failure(operands, lead);
    }
}

// of_type(a, shape) for the one argument of the function, square matrices.
template <class F>
PyObject* of_square(const binding::signature<1>& signature, const binding::call_arguments& call,
                    const F& of_type)
{
    const auto [given] = signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, signature.function);
    return telling({given}, of.lead,
                   [&] { return by_type(a, [&](const auto& x) { return of_type(x, of); }); });
}

} // namespace numerical::package
