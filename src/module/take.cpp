#include "module/functions.hpp"

#include "binding/owned_ref.hpp"
#include "numerical/short_list.hpp"
#include "numerical/strided/take.hpp"

#include <array>
#include <span>
#include <stdexcept>
#include <variant>

// The strided copy behind Python's indexing.

namespace numerical::boundary {
namespace {

// The value of an int, or of any object with __index__; false with the error set.
bool read_integer(PyObject* item, Py_ssize_t& value)
{
    value = PyLong_AsSsize_t(item);
    if (value != -1 || PyErr_Occurred() == nullptr)
        return true;
    PyErr_Clear();
    value = PyNumber_AsSsize_t(item, PyExc_OverflowError);
    return value != -1 || PyErr_Occurred() == nullptr;
}

// One number of every range, and how many the caller gave. Numbers beyond the axes are read as
// well, since an item that isn't an integer is reported before a wrong number of items.
template <class Set>
bool read_integers(PyObject* sequence, std::span<axis_range> ranges, std::size_t& given,
                   const Set& set)
{
    const Py_ssize_t count = PySequence_Size(sequence);
    if (count < 0)
        return false;
    given = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < given; ++i) {
        const binding::sequence_item item(sequence, static_cast<Py_ssize_t>(i));
        Py_ssize_t value = 0;
        if (!item || !read_integer(item.get(), value))
            return false;
        if (i < ranges.size())
            set(ranges[i], value);
    }
    return true;
}

// The ranges from the sequences of starts, steps, counts and keep, and how long each is. False with
// the error set.
bool read_ranges(const std::array<PyObject*, 4>& sequences, std::span<axis_range> ranges,
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
PyObject* taken(const tensor<T>& a, std::span<const axis_range> ranges)
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
    const std::size_t rank = shape_of(*a).size();
    detail::short_list<axis_range> ranges(rank);
    for (std::size_t axis = 0; axis < rank; ++axis)
        ranges.push_back({});
    std::array<std::size_t, 4> given{};
    if (!read_ranges(sequences, ranges.span(), given))
        return nullptr;
    for (const std::size_t count : given)
        if (count != rank)
            throw std::runtime_error("_take: one range per axis");
    return std::visit([&](const auto& of_type) { return taken(of_type, ranges.span()); }, *a);
}

} // namespace numerical::boundary
