#pragma once

// What the package's functions accept as a tensor: a Tensor, a number, or any object that the
// package's conversion (numerical.asarray) accepts.

#include "binding/owned_ref.hpp"
#include "binding/python.hpp"
#include "module/tensor_object.hpp"

#include <optional>
#include <variant>

namespace numerical::package {

namespace binding = marlinth::binding;
using complex = std::complex<double>;
using boundary::number;
using boundary::wrap;

// Whether the object is a Tensor; it may still be uninitialized.
bool is_tensor(PyObject* object);

// The value of a Tensor; TypeError "uninitialized numerical.Tensor".
const any_tensor& value_of(PyObject* tensor);

// Whether the object is a float, an int or a complex, or of a class derived from one.
bool is_number(PyObject* object);

// An argument as a tensor. A Tensor is borrowed: it must outlive the operand.
class operand
{
public:
    // By the package's conversion if the object is neither a Tensor nor a number; its exceptions
    // propagate.
    explicit operand(PyObject* object);

    // The same in the dtype, if one is given, as asarray(object, dtype).
    operand(PyObject* object, PyObject* dtype);

    operand(const operand&) = delete;
    operand& operator=(const operand&) = delete;

    const any_tensor& value() const { return *held; }

    bool is_complex() const { return held->index() == 1; }

    const shape_list& shape() const { return boundary::shape_of(*held); }

    std::size_t rank() const { return shape().size(); }

    // The complex128 tensor; widens a float64 one.
    void make_complex();

    template <class T>
    const tensor<T>& as() const
    {
        return *std::get_if<tensor<T>>(held);
    }

private:
    operand(binding::owned_ref in_dtype, PyObject* object);

    const any_tensor* held;
    std::optional<any_tensor> own; // of a number, or widened
    binding::owned_ref converted;
};

// The operands in one dtype: complex128 if one of them is.
void promote(operand& a, operand& b);

// Calls f with the operand's tensor, of double or complex elements.
template <class F>
PyObject* by_type(const operand& a, const F& f)
{
    return a.is_complex() ? f(a.as<complex>()) : f(a.as<double>());
}

template <class F>
PyObject* by_type(operand& a, operand& b, const F& f)
{
    promote(a, b);
    return a.is_complex() ? f(a.as<complex>(), b.as<complex>()) : f(a.as<double>(), b.as<double>());
}

// A result of rank 0 as a Python number, any other as a new Tensor.
template <class T>
PyObject* number_or_tensor(tensor<T>&& result)
{
    return result.shape.empty() ? boundary::number(result.data[0])
                                : boundary::wrap(std::move(result));
}

// The package's Python functions that the native ones call back, and its two dtypes, each a
// borrowed reference that lives as long as the process; null before the package has set them.
struct callback_table
{
    PyObject* asarray = nullptr;        // asarray(object) -> Tensor
    PyObject* defers_to = nullptr;      // defers_to(object) -> whether its operators come first
    PyObject* annotate = nullptr;       // annotate(failure, operands): adds a note to the exception
    PyObject* solve_assuming = nullptr; // solve_assuming(a, b, assume_a, check_condition)
    PyObject* float64 = nullptr;        // what Tensor.dtype gives
    PyObject* complex128 = nullptr;
};

callback_table& callbacks();

} // namespace numerical::package
