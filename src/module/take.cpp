#include "module/functions.hpp"

#include "binding/owned_ref.hpp"
#include "numerical/take.hpp"

#include <array>
#include <stdexcept>
#include <variant>

// The strided copy that Python's indexing rests on.

namespace numerical::boundary {
namespace {

// One number of every range, and how many the caller gave.
template <class Set>
bool read_integers(PyObject* sequence, std::vector<axis_range>& ranges, std::size_t& given,
                   const Set& set)
{
    const Py_ssize_t count = PySequence_Size(sequence);
    if (count < 0)
        return false;
    given = static_cast<std::size_t>(count);
    if (ranges.size() < given)
        ranges.resize(given);
    for (std::size_t i = 0; i < given; ++i) {
        const binding::owned_ref item(PySequence_GetItem(sequence, static_cast<Py_ssize_t>(i)));
        if (!item)
            return false;
        const Py_ssize_t value = PyNumber_AsSsize_t(item.get(), PyExc_OverflowError);
        if (value == -1 && PyErr_Occurred() != nullptr)
            return false;
        set(ranges[i], value);
    }
    return true;
}

// The ranges from the sequences of starts, steps, counts and keep, and how long each is; integers
// are whatever has __index__. False with the error set.
bool read_ranges(const std::array<PyObject*, 4>& sequences, std::vector<axis_range>& ranges,
                 std::array<std::size_t, 4>& given)
{
    const auto start = [](axis_range& range, long value) { range.start = value; };
    const auto step = [](axis_range& range, long value) { range.step = value; };
    const auto count = [](axis_range& range, long value) { range.count = value; };
    const auto kept = [](axis_range& range, long value) { range.kept = value != 0; };
    return read_integers(sequences[0], ranges, given[0], start) &&
           read_integers(sequences[1], ranges, given[1], step) &&
           read_integers(sequences[2], ranges, given[2], count) &&
           read_integers(sequences[3], ranges, given[3], kept);
}

template <class T>
PyObject* taken(const tensor<T>& a, const std::vector<axis_range>& ranges)
{
    bool any_kept = false;
    for (std::size_t axis = 0; axis < ranges.size(); ++axis) {
        if (!lies_within(ranges[axis], a.shape[axis])) {
            PyErr_SetString(PyExc_IndexError, "_take: a range leaves its axis");
            return nullptr;
        }
        any_kept |= ranges[axis].kept;
    }
    return any_kept ? wrap(take(a, ranges)) : number(take_first(a, ranges));
}

} // namespace

PyObject* module_take(PyObject*, PyObject* args)
{
    PyObject* object = nullptr;
    std::array<PyObject*, 4> sequences{};
    if (!binding::parse_objects(args, "OOOOO", &object, &sequences[0], &sequences[1], &sequences[2],
                                &sequences[3]))
        return nullptr;
    const any_tensor* a = as_tensor(object);
    if (a == nullptr)
        return nullptr;
    std::vector<axis_range> ranges;
    std::array<std::size_t, 4> given{};
    if (!read_ranges(sequences, ranges, given))
        return nullptr;
    return std::visit(
        [&](const auto& of_type) {
            for (const std::size_t count : given)
                if (count != of_type.shape.size())
                    throw std::runtime_error("_take: one range per axis");
            return taken(of_type, ranges);
        },
        *a);
}

} // namespace numerical::boundary
