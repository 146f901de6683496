#include "module/functions.hpp"

#include "numerical/elementwise/arithmetic.hpp"
#include "numerical/elementwise/unary.hpp"

#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

// Arithmetic and functions of single elements. The interpreter lock is held throughout.

namespace numerical::boundary {
namespace {

std::optional<arithmetic_operation> operation_of(std::string_view name)
{
    switch (name.size() == 1 ? name[0] : '\0') {
    case '+':
        return arithmetic_operation::add;
    case '-':
        return arithmetic_operation::subtract;
    case '*':
        return arithmetic_operation::multiply;
    case '/':
        return arithmetic_operation::divide;
    case '^':
        return arithmetic_operation::power;
    default:
        return std::nullopt;
    }
}

template <class T>
tensor<T> binary_on(arithmetic_operation operation, const tensor<T>& a, const any_tensor& b)
{
    const auto* right = std::get_if<tensor<T>>(&b);
    if (right == nullptr)
        throw std::runtime_error("element-wise operands must share one dtype");
    return arithmetic(operation, a, *right);
}

template <class T>
PyObject* unary_on(std::string_view name, const tensor<T>& a)
{
    std::optional<any_tensor> result = unary(name, a);
    if (!result) {
        PyErr_SetString(PyExc_ValueError,
                        "_unary: name is exp, log, sqrt, sin, cos, tan, tanh or abs");
        return nullptr;
    }
    return wrap(std::move(*result));
}

} // namespace

PyObject* module_binary(PyObject*, PyObject* args)
{
    const char* name = nullptr;
    PyObject* left = nullptr;
    PyObject* right = nullptr;
    if (!binding::parse_text_and_objects(args, "sOO", &name, &left, &right))
        return nullptr;
    const std::optional<arithmetic_operation> operation = operation_of(name);
    if (!operation) {
        PyErr_SetString(PyExc_ValueError, "_binary: op is one of + - * / ^ (power)");
        return nullptr;
    }
    const any_tensor* a = as_tensor(left);
    if (a == nullptr)
        return nullptr;
    const any_tensor* b = as_tensor(right);
    if (b == nullptr)
        return nullptr;
    return std::visit([&](const auto& of_type) { return wrap(binary_on(*operation, of_type, *b)); },
                      *a);
}

PyObject* module_negate(PyObject*, PyObject* args)
{
    PyObject* object = nullptr;
    if (!binding::parse_objects(args, "O", &object))
        return nullptr;
    const any_tensor* a = as_tensor(object);
    if (a == nullptr)
        return nullptr;
    return std::visit([](const auto& of_type) { return wrap(negative(of_type)); }, *a);
}

PyObject* module_unary(PyObject*, PyObject* args)
{
    const char* name = nullptr;
    PyObject* object = nullptr;
    if (!binding::parse_text_and_objects(args, "sO", &name, &object))
        return nullptr;
    const any_tensor* a = as_tensor(object);
    if (a == nullptr)
        return nullptr;
    return std::visit([&](const auto& of_type) { return unary_on(name, of_type); }, *a);
}

} // namespace numerical::boundary
