#include "package/subscript.hpp"

#include "binding/caster.hpp"

#include "binding/class.hpp"
#include "module/tensor_object.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/masks.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/take.hpp"
#include "package/index_keys.hpp"
#include "package/int_arrays.hpp"
#include "package/masks.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace numerical::package {
namespace {

using binding::fail;

// The `count` elements from place `from` on. Many are shared, unless that would keep more than
// twice their memory alive.
template <class T>
element_store<T> stretch_of(const tensor<T>& a, std::size_t from, std::size_t count)
{
    constexpr std::size_t copied_sooner = 512;
    if (count > copied_sooner && 2 * count >= a.data.held())
        return a.data.part(from, count);
    return detail::copy_of(a.data.data() + from, count);
}

// The part of the tensor at one index of the first axis.
template <class T>
PyObject* row_at(const tensor<T>& a, std::ptrdiff_t place)
{
    const auto at = static_cast<std::size_t>(position_on(place, 0, a.shape[0]));
    if (a.shape.size() == 1)
        return number(a.data[at]);
    const std::size_t size = a.strides[0];
    return wrap_new(shape_list(a.shape.begin() + 1, a.shape.end()), stretch_of(a, at * size, size));
}

// The element of a matrix.
template <class T>
PyObject* element_at(const tensor<T>& a, std::ptrdiff_t row, std::ptrdiff_t column)
{
    const auto i = static_cast<std::size_t>(position_on(row, 0, a.shape[0]));
    const auto j = static_cast<std::size_t>(position_on(column, 1, a.shape[1]));
    return number(a.data[i * a.shape[1] + j]);
}

// The result with axes of extent 1 where the index has None.
template <class T>
tensor<T> with_new_axes(tensor<T>&& a, const index_keys& keys)
{
    shape_list shape;
    auto extent = a.shape.begin();
    for (const index_key& key : keys.keys) {
        if (key.kind == key_kind::new_axis)
            shape.push_back(1);
        else if (key.kind == key_kind::range)
            shape.push_back(*extent++);
    }
    return tensor<T>(std::move(shape), std::move(a.data));
}

bool is_whole_axis(const axis_range& range, std::size_t extent)
{
    return range.kept && range.step == 1 && static_cast<std::size_t>(range.count) == extent;
}

// Whether the ranges select contiguous elements: single places on the first axes, a range of the
// next axis, and all of the others.
template <class T>
bool is_stretch(const tensor<T>& a, std::span<const axis_range> ranges)
{
    std::size_t axis = 0;
    while (axis < ranges.size() && ranges[axis].count == 1)
        ++axis;
    if (axis < ranges.size() && ranges[axis].step == 1)
        ++axis;
    while (axis < ranges.size() && is_whole_axis(ranges[axis], a.shape[axis]))
        ++axis;
    return axis == ranges.size();
}

// The elements of such ranges, and their shape.
template <class T>
element_store<T> stretch_in_ranges(const tensor<T>& a, std::span<const axis_range> ranges,
                                   shape_list& shape)
{
    std::size_t from = 0;
    std::size_t count = 1;
    for (std::size_t axis = 0; axis < ranges.size(); ++axis) {
        const auto extent = static_cast<std::size_t>(ranges[axis].count);
        from += static_cast<std::size_t>(ranges[axis].start) * a.strides[axis];
        count *= extent;
        if (ranges[axis].kept)
            shape.push_back(extent);
    }
    return stretch_of(a, count == 0 ? 0 : from, count);
}

template <class T>
tensor<T> selected(const tensor<T>& a, std::span<const axis_range> ranges)
{
    if (!is_stretch(a, ranges))
        return take(a, ranges);
    shape_list shape;
    element_store<T> elements = stretch_in_ranges(a, ranges, shape);
    return tensor<T>(std::move(shape), std::move(elements));
}

std::size_t count_of(std::span<const axis_range> ranges)
{
    std::size_t count = 1;
    for (const axis_range& range : ranges)
        count *= static_cast<std::size_t>(range.count);
    return count;
}

// A Python number if no axis is left.
template <class T>
PyObject* taken(const tensor<T>& a, std::span<const axis_range> ranges)
{
    const bool any_kept = std::any_of(ranges.begin(), ranges.end(),
                                      [](const axis_range& range) { return range.kept; });
    if (!any_kept)
        return number(take_first(a, ranges));
    if (!is_stretch(a, ranges))
        return wrap(unlocked(count_of(ranges), [&] { return take(a, ranges); }));
    shape_list shape;
    element_store<T> elements = stretch_in_ranges(a, ranges, shape);
    return wrap_new(std::move(shape), std::move(elements));
}

template <class T>
PyObject* ranges_of(const tensor<T>& a, const index_keys& keys)
{
    detail::short_list<axis_range> ranges(a.shape.size());
    for (const index_key& key : keys.keys)
        if (key.kind != key_kind::new_axis)
            ranges.push_back(key.range);
    if (keys.keys.size() == ranges.size())
        return taken(a, ranges.span());
    return wrap(with_new_axes(selected(a, ranges.span()), keys));
}

template <class T>
PyObject* by_keys(const tensor<T>& a, PyObject* key)
{
    const index_keys keys = read_keys(key, a.shape);
    if (keys.arrays.empty())
        return ranges_of(a, keys);
    const selection from = select(keys, a.shape, a.strides);
    return wrap(unlocked(detail::element_count(from.shape), [&] { return gather(a, from); }));
}

// A Python int; false for any other key, and for an int beyond any axis, for which the general code
// raises the error.
bool read_int(PyObject* key, Py_ssize_t& out)
{
    if (!PyLong_CheckExact(key))
        return false;
    out = PyLong_AsSsize_t(key);
    if (out != -1 || PyErr_Occurred() == nullptr)
        return true;
    PyErr_Clear();
    return false;
}

// What an int or a slice selects from an axis; false for any other key.
bool read_range(PyObject* key, std::size_t axis, std::size_t extent, axis_range& out)
{
    if (PySlice_Check(key)) {
        out = range_of(key, extent);
        return true;
    }
    Py_ssize_t place = 0;
    if (!read_int(key, place))
        return false;
    out = {.start = position_on(place, axis, extent), .step = 1, .count = 1, .kept = false};
    return true;
}

// The ranges of an index of ints and slices alone, for the first axes; false for any other index.
bool read_ranges(PyObject* key, const shape_list& shape, detail::short_list<axis_range>& ranges)
{
    const bool several = PyTuple_CheckExact(key);
    const std::size_t given = several ? static_cast<std::size_t>(PyTuple_Size(key)) : 1;
    if (given > shape.size())
        return false;
    for (std::size_t axis = 0; axis < given; ++axis) {
        axis_range range{};
        PyObject* item = several ? PyTuple_GetItem(key, static_cast<Py_ssize_t>(axis)) : key;
        if (!read_range(item, axis, shape[axis], range))
            return false;
        ranges.push_back(range);
    }
    for (std::size_t axis = given; axis < shape.size(); ++axis)
        ranges.push_back(
            {.start = 0, .step = 1, .count = static_cast<long>(shape[axis]), .kept = true});
    return true;
}

// A slice of a vector.
template <class T>
PyObject* slice_of_vector(const tensor<T>& a, PyObject* slice)
{
    const axis_range range = range_of(slice, a.data.size());
    const auto count = static_cast<std::size_t>(range.count);
    if (range.step != 1)
        return wrap(unlocked(count, [&] { return take(a, std::span(&range, 1)); }));
    return wrap_new(shape_list{count}, stretch_of(a, static_cast<std::size_t>(range.start), count));
}

bool is_whole(PyObject* key)
{
    Py_ssize_t start = 0;
    Py_ssize_t stop = 0;
    Py_ssize_t step = 0;
    return PySlice_Check(key) && PySlice_Unpack(key, &start, &stop, &step) == 0 && start == 0 &&
           stop == PY_SSIZE_T_MAX && step == 1;
}

// The axis of an index of one Positions after whole slices, as t[:, order]; null for others.
struct places_on_axis
{
    const positions* places = nullptr;
    std::size_t axis = 0;
};

places_on_axis read_places_on_axis(PyObject* key, std::size_t rank)
{
    if (!PyTuple_CheckExact(key))
        return {positions_in(key), 0};
    const auto last = static_cast<std::size_t>(PyTuple_Size(key)) - 1;
    if (last >= rank) // an empty tuple as well
        return {};
    for (std::size_t i = 0; i < last; ++i)
        if (!is_whole(PyTuple_GetItem(key, static_cast<Py_ssize_t>(i))))
            return {};
    return {positions_in(PyTuple_GetItem(key, static_cast<Py_ssize_t>(last))), last};
}

// A mask of the tensor's own shape; nothing for any other key.
std::optional<boolean_operand> whole_mask(PyObject* key, const shape_list& shape)
{
    if (!is_tensor(key) || shape.empty() || boundary::shape_of(key) != shape)
        return std::nullopt;
    return mask_of(key);
}

// The places of single elements, given by one array for each axis of the tensor: Positions or
// arrays of ints of one shape. Nothing for any other index.
std::optional<std::vector<positions>> read_points(PyObject* key, std::size_t rank)
{
    if (!PyTuple_CheckExact(key) || rank == 0 ||
        static_cast<std::size_t>(PyTuple_Size(key)) != rank)
        return std::nullopt;
    std::vector<positions> points;
    for (std::size_t axis = 0; axis < rank; ++axis) {
        PyObject* item = PyTuple_GetItem(key, static_cast<Py_ssize_t>(axis));
        const positions* places = positions_in(item);
        std::optional<positions> of_axis = places != nullptr ? *places : int64_array(item);
        if (!of_axis || of_axis->shape != (axis == 0 ? *of_axis : points[0]).shape)
            return std::nullopt;
        points.push_back(std::move(*of_axis));
    }
    return points;
}

// The elements at these places, which have been checked against the axes.
template <class T>
tensor<T> points_of(const tensor<T>& a, std::vector<positions>&& points)
{
    aligned_vector<std::ptrdiff_t> offsets(points[0].data.size());
    for (std::size_t axis = 0; axis < points.size(); ++axis) {
        const auto extent = static_cast<std::ptrdiff_t>(a.shape[axis]);
        const auto stride = static_cast<std::ptrdiff_t>(a.strides[axis]);
        const std::ptrdiff_t* places = points[axis].data.data();
        for (std::size_t i = 0; i < offsets.size(); ++i)
            offsets[i] += (places[i] + (places[i] < 0 ? extent : 0)) * stride;
    }
    aligned_vector<T> data = detail::uninitialized<T>(offsets.size());
    std::transform(offsets.begin(), offsets.end(), data.begin(), [&a](std::ptrdiff_t offset) {
        return a.data[static_cast<std::size_t>(offset)];
    });
    return tensor<T>(std::move(points[0].shape), std::move(data));
}

template <class T>
PyObject* at_points(const tensor<T>& a, std::vector<positions>&& points)
{
    for (std::size_t axis = 0; axis < points.size(); ++axis)
        check_places(points[axis], axis, a.shape[axis]);
    return wrap(unlocked(points[0].data.size(), [&] { return points_of(a, std::move(points)); }));
}

// The elements at places of an axis.
template <class T>
PyObject* at_places(const tensor<T>& a, std::size_t axis, const positions& places)
{
    const counted from = check_places(places, axis, a.shape[axis]);
    const std::size_t count =
        a.shape[axis] == 0 ? 0 : a.data.size() / a.shape[axis] * places.data.size();
    return wrap(unlocked(count, [&] { return gather_along(a, axis, places, from); }));
}

// The whole tensor with an axis of extent 1 before the others.
template <class T>
tensor<T> with_leading_axis(const tensor<T>& a)
{
    shape_list shape = a.shape;
    shape.insert(shape.begin(), 1);
    return reshaped_share(a, std::move(shape));
}

// The most frequent indices are handled without reading keys into lists: ints and slices, places of
// an axis or of single elements, a mask.
template <class T>
PyObject* item_of(const tensor<T>& a, PyObject* key)
{
    Py_ssize_t first = 0;
    Py_ssize_t second = 0;
    if (!a.shape.empty() && read_int(key, first))
        return row_at(a, first);
    if (a.shape.size() == 2 && PyTuple_CheckExact(key) && PyTuple_Size(key) == 2 &&
        read_int(PyTuple_GetItem(key, 0), first) && read_int(PyTuple_GetItem(key, 1), second))
        return element_at(a, first, second);
    if (a.shape.size() == 1 && PySlice_Check(key))
        return slice_of_vector(a, key);
    if (key == Py_None)
        return wrap(with_leading_axis(a));
    detail::short_list<axis_range> ranges(a.shape.size());
    if (read_ranges(key, a.shape, ranges))
        return taken(a, ranges.span());
    if (const auto [places, axis] = read_places_on_axis(key, a.shape.size());
        places != nullptr && !a.shape.empty())
        return at_places(a, axis, *places);
    if (const std::optional<boolean_operand> mask = whole_mask(key, a.shape))
        return wrap(unlocked(a.data.size(),
                             [&] { return gather_masked(a, **mask, count_of_true(**mask)); }));
    if (const std::optional<positions> places = int64_array(key); places && !a.shape.empty())
        return at_places(a, 0, *places);
    if (std::optional<std::vector<positions>> points = read_points(key, a.shape.size()))
        return at_points(a, std::move(*points));
    return by_keys(a, key);
}

std::optional<update_operation> operation_of(const std::string& name)
{
    if (name == "set")
        return update_operation::set;
    if (name == "add")
        return update_operation::add;
    if (name == "multiply")
        return update_operation::multiply;
    if (name == "min")
        return update_operation::minimum;
    if (name == "max")
        return update_operation::maximum;
    return std::nullopt;
}

// A selection by ranges alone, expressed as one by arrays.
selection any_selection(const index_keys& keys, const shape_list& shape, const shape_list& strides)
{
    selection at = select(keys, shape, strides);
    if (at.loops.empty()) { // one element: a table of one offset, without an axis
        at.table.assign(1, 0);
        at.loops.push_back({1, 0, true});
    }
    return at;
}

constexpr binding::signature<4> updated_signature{"updated", {"t", "index", "values", "operation"}};

} // namespace

PyObject* subscript(PyObject* self, PyObject* key)
{
    return std::visit([&](const auto& a) { return item_of(a, key); }, value_of(self));
}

PyObject* subscript_positions(const positions& a, PyObject* key)
{
    return item_of(a, key);
}

PyObject* updated_copy(const binding::call_arguments& call)
{
    const auto [object, key, new_values, name] = updated_signature.bind(call);
    const std::optional<update_operation> operation = operation_of(binding::to_text(name));
    if (!operation)
        fail(PyExc_ValueError, "an update is set, add, multiply, min or max");
    operand target(object);
    operand values(new_values);
    const bool ordered =
        *operation == update_operation::minimum || *operation == update_operation::maximum;
    if (ordered && (target.is_complex() || values.is_complex()))
        fail(PyExc_ValueError, "min and max are for float64: complex128 has no order");
    return by_type(target, values, [&, key = key](const auto& a, const auto& b) {
        const index_keys keys = read_keys(key, a.shape);
        const selection at = any_selection(keys, a.shape, a.strides);
        return wrap(unlocked(a.data.size(), [&] { return updated(a, at, *operation, b); }));
    });
}

} // namespace numerical::package
