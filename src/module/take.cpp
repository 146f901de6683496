#include "module/functions.hpp"

#include "binding/owned_ref.hpp"
#include "numerical/take.hpp"

#include <array>
#include <stdexcept>
#include <variant>

// The strided copy that Python's indexing rests on.

namespace numerical::boundary {
namespace {

// Appends the integers of a sequence, or whatever has __index__; false with the error set.
bool read_integers(PyObject* sequence, std::vector<long>& out)
{
    const Py_ssize_t count = PySequence_Size(sequence);
    if (count < 0)
        return false;
    out.resize(static_cast<std::size_t>(count));
    for (Py_ssize_t i = 0; i < count; ++i) {
        const binding::owned_ref item(PySequence_GetItem(sequence, i));
        if (!item)
            return false;
        const Py_ssize_t value = PyNumber_AsSsize_t(item.get(), PyExc_OverflowError);
        if (value == -1 && PyErr_Occurred() != nullptr)
            return false;
        out[static_cast<std::size_t>(i)] = value;
    }
    return true;
}

// The ranges of all axes; false with IndexError set if one leaves its axis.
bool read_ranges(const std::array<std::vector<long>, 4>& numbers,
                 const std::vector<std::size_t>& shape, std::vector<axis_range>& ranges)
{
    const auto& [starts, steps, counts, keep] = numbers;
    for (const std::vector<long>& one : numbers)
        if (one.size() != shape.size())
            throw std::runtime_error("_take: one range per axis");
    ranges.reserve(shape.size());
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        ranges.push_back({starts[axis], steps[axis], counts[axis], keep[axis] != 0});
        if (!lies_within(ranges.back(), shape[axis])) {
            PyErr_SetString(PyExc_IndexError, "_take: a range leaves its axis");
            return false;
        }
    }
    return true;
}

template <class T>
PyObject* taken(const tensor<T>& a, const std::array<std::vector<long>, 4>& numbers)
{
    std::vector<axis_range> ranges;
    if (!read_ranges(numbers, a.shape, ranges))
        return nullptr;
    for (const axis_range& range : ranges)
        if (range.kept)
            return wrap(take(a, ranges));
    return number(take_first(a, ranges));
}

} // namespace

PyObject* module_take(PyObject*, PyObject* args)
{
    PyObject* object = nullptr;
    std::array<PyObject*, 4> sequences{};
    if (!binding::parse_arguments(args, "OOOOO", &object, &sequences[0], &sequences[1],
                                  &sequences[2], &sequences[3]))
        return nullptr;
    const any_tensor* a = as_tensor(object);
    if (a == nullptr)
        return nullptr;
    std::array<std::vector<long>, 4> numbers;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        if (!read_integers(sequences[i], numbers[i]))
            return nullptr;
    return std::visit([&](const auto& of_type) { return taken(of_type, numbers); }, *a);
}

} // namespace numerical::boundary
