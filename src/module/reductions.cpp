#include "module/functions.hpp"

#include "numerical/elementwise/reductions.hpp"

#include <functional>
#include <string_view>
#include <variant>

// Sums, means and extremes. The interpreter lock is held throughout.

namespace numerical::boundary {
namespace {

// A negative axis means the whole tensor: counting from the end is not done at this level.
struct whole_or_axis
{
    Py_ssize_t axis;

    bool whole() const { return axis < 0; }

    std::size_t index() const { return static_cast<std::size_t>(axis); }
};

template <class T>
PyObject* sum_of(const tensor<T>& a, whole_or_axis along)
{
    return along.whole() ? number(sum(a)) : wrap(sum_along(a, along.index()));
}

template <class T>
PyObject* mean_of(const tensor<T>& a, whole_or_axis along)
{
    return along.whole() ? number(mean(a)) : wrap(mean_along(a, along.index()));
}

template <class C>
PyObject* extreme_of(const any_tensor& value, whole_or_axis along, const C& compare)
{
    const auto* a = std::get_if<tensor<double>>(&value);
    if (a == nullptr) {
        PyErr_SetString(PyExc_TypeError,
                        "max and min take a float64 tensor: complex128 has no order");
        return nullptr;
    }
    return along.whole() ? number(extreme(*a, compare))
                         : wrap(detail::extremes_along(*a, along.index(), compare));
}

} // namespace

PyObject* module_reduce(PyObject*, PyObject* args)
{
    const char* given = nullptr;
    PyObject* object = nullptr;
    whole_or_axis along{};
    if (!binding::parse_arguments(args, "sOn", &given, &object, &along.axis))
        return nullptr;
    const any_tensor* a = as_tensor(object);
    if (a == nullptr)
        return nullptr;
    const std::string_view name = given;
    if (name == "sum")
        return std::visit([&](const auto& of_type) { return sum_of(of_type, along); }, *a);
    if (name == "mean")
        return std::visit([&](const auto& of_type) { return mean_of(of_type, along); }, *a);
    if (name == "max")
        return extreme_of(*a, along, std::greater<double>());
    if (name == "min")
        return extreme_of(*a, along, std::less<double>());
    PyErr_SetString(PyExc_ValueError, "_reduce: op is sum, mean, max or min");
    return nullptr;
}

} // namespace numerical::boundary
