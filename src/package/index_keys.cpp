#include "package/index_keys.hpp"

#include "binding/attributes.hpp"
#include "binding/caster.hpp"
#include "binding/errors.hpp"
#include "binding/fastcall.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/number_kernels.hpp"
#include "numerical/elementwise/places.hpp"
#include "numerical/strided/broadcast.hpp"
#include "numerical/strided/take.hpp"
#include "package/int_arrays.hpp"
#include "package/masks.hpp"
#include "package/operand.hpp"
#include "package/parameters.hpp"
#include "package/positions.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using binding::fail;
using binding::not_null;
using binding::owned_ref;

// Deeper lists are taken to contain themselves; NumPy's arrays have no more axes either.
constexpr int deepest_list = 64;

// An array key before its axes are known.
struct read_array
{
    bool is_mask = false;
    shape_list shape;
    aligned_vector<std::ptrdiff_t> numbers; // positions; of a list of bools 0 and 1
    std::vector<aligned_vector<std::ptrdiff_t>> true_places; // of a mask, for each of its axes
};

template <class T>
read_array from_mask(const tensor<T>& mask)
{
    read_array array;
    array.is_mask = true;
    array.shape = mask.shape;
    if (!mask.shape.empty())
        array.true_places = unlocked(mask.data.size(), [&] { return true_places(mask); });
    return array;
}

[[noreturn]] void refuse_key(const std::string& kind)
{
    fail(PyExc_IndexError, "a tensor is indexed by ints, slices, Ellipsis, None, lists or arrays of"
                           " ints, and masks, not " +
                               kind);
}

bool is_bool(PyObject* object)
{
    if (PyBool_Check(object))
        return true;
    if (PyLong_CheckExact(object))
        return false;
    const std::string kind = binding::py_type_name(object);
    return kind == "bool_" || kind == "bool"; // NumPy's bools, which have __index__ as well
}

bool is_list(PyObject* object)
{
    constexpr unsigned long kinds = Py_TPFLAGS_LIST_SUBCLASS | Py_TPFLAGS_TUPLE_SUBCLASS;
    return (PyType_GetFlags(Py_TYPE(object)) & kinds) != 0;
}

// The integer value of the object, clamped to the range of Py_ssize_t, which exceeds every axis.
std::ptrdiff_t integer_of(PyObject* object)
{
    const Py_ssize_t value = PyNumber_AsSsize_t(object, nullptr);
    if (value == -1 && PyErr_Occurred() != nullptr)
        binding::throw_pending_error();
    return value;
}

[[noreturn]] void refuse_position(const std::string& place, std::size_t axis, std::size_t extent)
{
    fail(PyExc_IndexError, "index " + place + " is out of bounds for axis " + std::to_string(axis) +
                               " with size " + std::to_string(extent));
}

// Reads nested lists of ints or of bools, level by level.
class list_reader
{
public:
    read_array array;

    explicit list_reader(PyObject* list)
    {
        append_level(list, 0);
        array.is_mask = bools.value_or(false);
    }

private:
    std::optional<bool> bools;       // known from the first leaf on
    std::optional<std::size_t> rank; // known from the first level without lists on

    [[noreturn]] static void refuse_ragged()
    {
        fail(PyExc_IndexError, "the lists of an index are ragged");
    }

    void append_level(PyObject* list, std::size_t depth)
    {
        if (depth >= deepest_list)
            fail(PyExc_ValueError, "the lists of an index are nested more than 64 deep");
        const auto length = static_cast<std::size_t>(PySequence_Size(list));
        if (depth == array.shape.size())
            array.shape.push_back(length);
        else if (array.shape[depth] != length)
            refuse_ragged();
        if (length == 0)
            end_at(depth + 1);
        for (std::size_t i = 0; i < length; ++i) {
            const binding::sequence_item item(list, static_cast<Py_ssize_t>(i));
            if (!item)
                binding::throw_pending_error();
            append_item(item.get(), depth);
        }
    }

    void append_item(PyObject* item, std::size_t depth)
    {
        if (!is_list(item)) {
            end_at(depth + 1);
            append_leaf(item);
            return;
        }
        if (rank.value_or(depth + 2) < depth + 2)
            refuse_ragged();
        append_level(item, depth + 1);
    }

    void end_at(std::size_t depth)
    {
        if (rank.value_or(depth) != depth)
            refuse_ragged();
        rank = depth;
    }

    void append_leaf(PyObject* item)
    {
        const bool boolean = is_bool(item);
        if (!boolean && PyIndex_Check(item) == 0)
            refuse_key("a list of " + binding::py_type_name(item));
        if (bools.value_or(boolean) != boolean)
            fail(PyExc_IndexError, "a list in an index holds either ints or bools, not both");
        bools = boolean;
        array.numbers.push_back(boolean ? (flag_parameter(item) ? 1 : 0) : integer_of(item));
    }
};

read_array from_list(PyObject* list)
{
    read_array array = std::move(list_reader(list).array);
    if (!array.is_mask)
        return array;
    return from_mask(
        booleans(std::move(array.shape),
                 aligned_vector<std::uint8_t>(array.numbers.begin(), array.numbers.end())));
}

void append_values(const any_tensor& values, read_array& into)
{
    into.shape = boundary::shape_of(values);
    const element_store<double>& data = std::get<tensor<double>>(values).data;
    into.numbers.reserve(data.size());
    for (const double x : data)
        into.numbers.push_back(static_cast<std::ptrdiff_t>(x));
}

read_array from_tensor(PyObject* object)
{
    const std::optional<boolean_operand> mask = mask_of(object);
    if (!mask || (*mask)->shape.empty())
        fail(PyExc_IndexError, "a tensor in an index is a mask of zeros and ones, as a comparison"
                               " gives; name positions by a list or an array of ints");
    return from_mask(**mask);
}

// The letter for the kind of an array interface's elements, 0 if there is none.
char kind_of(PyObject* object)
{
    static PyObject* const name = not_null(PyUnicode_InternFromString("__array_interface__"));
    const owned_ref interface = binding::optional_attribute(object, name);
    if (!interface)
        return 0;
    const owned_ref typestr(not_null(PyMapping_GetItemString(interface.get(), "typestr")));
    const std::string text = binding::to_text(typestr.get());
    return text.size() > 1 ? text[1] : '?';
}

read_array from_array(PyObject* object)
{
    if (std::optional<positions> places = int64_array(object))
        return {.is_mask = false,
                .shape = std::move(places->shape),
                .numbers = std::move(places->data),
                .true_places = {}};
    const char kind = kind_of(object);
    if (kind == 0)
        refuse_key(binding::py_type_name(object));
    if (kind != 'b' && kind != 'i' && kind != 'u')
        refuse_key("an array of other numbers");
    const owned_ref values(
        not_null(PyObject_CallFunctionObjArgs(callbacks().asarray, object, nullptr)));
    if (kind == 'b')
        return from_mask(std::get<tensor<double>>(value_of(values.get())));
    read_array array;
    append_values(value_of(values.get()), array);
    return array;
}

read_array from_positions(const positions& places)
{
    return {.is_mask = false,
            .shape = places.shape,
            .numbers = {places.data.begin(), places.data.end()},
            .true_places = {}};
}

read_array array_of(PyObject* key)
{
    if (is_list(key))
        return from_list(key);
    if (is_tensor(key))
        return from_tensor(key);
    const positions* places = positions_in(key);
    return places != nullptr ? from_positions(*places) : from_array(key);
}

bool is_array(PyObject* key)
{
    return is_list(key) || is_tensor(key) ||
           (PyIndex_Check(key) != 0 && PySequence_Check(key) != 0) ||
           (PyIndex_Check(key) == 0 && !PySlice_Check(key) && key != Py_None && key != Py_Ellipsis);
}

// Reads the keys from left to right, axis by axis.
class reader
{
public:
    reader(std::vector<PyObject*> given, const shape_list& of_shape) : shape(of_shape)
    {
        for (PyObject* key : given)
            arrays.push_back(is_array(key) ? std::optional(array_of(key)) : std::nullopt);
        expand(std::move(given));
    }

    index_keys take() { return std::move(out); }

private:
    const shape_list& shape;
    std::vector<std::optional<read_array>> arrays; // for each given key
    std::size_t axis = 0;
    index_keys out;

    std::size_t axes_of(PyObject* key, std::size_t i) const
    {
        if (key == Py_None || key == Py_Ellipsis)
            return 0;
        return arrays[i] && arrays[i]->is_mask ? arrays[i]->shape.size() : 1;
    }

    // Ellipsis, or the end of the index, represents all axes without a key.
    void expand(std::vector<PyObject*> given)
    {
        std::size_t indexed = 0;
        for (std::size_t i = 0; i < given.size(); ++i)
            indexed += axes_of(given[i], i);
        if (indexed > shape.size())
            fail(PyExc_IndexError, "too many indices: the tensor has " +
                                       std::to_string(shape.size()) + " axes, " +
                                       std::to_string(indexed) + " were indexed");
        const auto ellipses = std::count(given.begin(), given.end(), Py_Ellipsis);
        if (ellipses > 1)
            fail(PyExc_IndexError, "an index can have one ellipsis only");
        const std::size_t whole = shape.size() - indexed;
        for (std::size_t i = 0; i < given.size(); ++i) {
            if (given[i] == Py_Ellipsis)
                add_ellipsis(whole);
            else
                add(given[i], arrays[i]);
        }
        if (ellipses == 0)
            add_whole(whole);
    }

    void add_ellipsis(std::size_t axes)
    {
        if (axes == 0)
            out.empty_ellipsis = out.keys.size();
        add_whole(axes);
    }

    void add_whole(std::size_t axes)
    {
        for (std::size_t i = 0; i < axes; ++i)
            add_range(
                {.start = 0, .step = 1, .count = static_cast<long>(shape[axis]), .kept = true});
    }

    void add_range(const axis_range& range)
    {
        out.keys.push_back({.kind = key_kind::range, .range = range, .axis = axis++});
    }

    void add_integer(std::ptrdiff_t place)
    {
        const std::ptrdiff_t at = position_on(place, axis, shape[axis]);
        out.keys.push_back({.kind = key_kind::integer,
                            .range = {.start = at, .step = 1, .count = 1, .kept = false},
                            .axis = axis++});
    }

    void add(PyObject* key, std::optional<read_array>& array)
    {
        if (key == Py_None)
            out.keys.push_back({.kind = key_kind::new_axis});
        else if (array)
            add_array(std::move(*array));
        else if (PySlice_Check(key))
            add_range(range_of(key, shape[axis]));
        else if (is_bool(key))
            refuse_key(binding::py_type_name(key));
        else
            add_number(key);
    }

    void add_number(PyObject* key)
    {
        const std::ptrdiff_t place = integer_of(key);
        constexpr auto beyond = std::numeric_limits<std::ptrdiff_t>::max();
        if (place == beyond || place == -beyond - 1) { // named as it was given
            const owned_ref text(PyObject_Str(key));
            if (text.get() == nullptr) { // Python refuses to print the longest ints
                PyErr_Clear();
                refuse_position("beyond 2**63", axis, shape[axis]);
            }
            refuse_position(binding::as_utf8(text.get()), axis, shape[axis]);
        }
        add_integer(place);
    }

    void add_array(read_array array)
    {
        if (array.is_mask) {
            add_mask(std::move(array));
            return;
        }
        if (array.shape.empty()) {
            add_integer(array.numbers[0]);
            return;
        }
        out.keys.push_back({.kind = key_kind::array, .axis = axis++, .array = out.arrays.size()});
        out.arrays.push_back({std::move(array.shape), std::move(array.numbers)});
    }

    // The places of a mask as an array of positions for each of its axes.
    void add_mask(read_array mask)
    {
        const auto first = shape.begin() + static_cast<std::ptrdiff_t>(axis);
        if (!std::equal(mask.shape.begin(), mask.shape.end(), first) || mask.shape.empty())
            fail(PyExc_IndexError, "a mask of shape " + detail::shape_text(mask.shape) +
                                       " doesn't fit the axes from " + std::to_string(axis) +
                                       " on of shape " + detail::shape_text(shape));
        for (aligned_vector<std::ptrdiff_t>& places : mask.true_places) {
            const std::size_t count = places.size();
            out.keys.push_back(
                {.kind = key_kind::array, .axis = axis++, .array = out.arrays.size()});
            out.arrays.push_back({{count}, std::move(places)});
        }
    }
};

shape_list common_shape(const index_keys& keys)
{
    shape_list common;
    for (const position_array& array : keys.arrays) {
        try {
            common = broadcast_shape(common, array.shape);
        } catch (const std::exception&) {
            fail(PyExc_IndexError, "the arrays of an index don't broadcast together: shapes " +
                                       detail::shape_text(common) + " and " +
                                       detail::shape_text(array.shape));
        }
    }
    return common;
}

// Adds the offsets that one array gives to the places of the table.
void add_to_table(const position_array& array, const shape_list& common, std::ptrdiff_t stride,
                  aligned_vector<std::ptrdiff_t>& table)
{
    if (array.shape == common) {
        for (std::size_t i = 0; i < table.size(); ++i)
            table[i] += array.places[i] * stride;
        return;
    }
    const shape_list strides = detail::broadcast_strides(array.shape, common.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        std::size_t rest = i;
        std::size_t from = 0;
        for (std::size_t axis = common.size(); axis-- > 0;) {
            from += rest % common[axis] * strides[axis];
            rest /= common[axis];
        }
        table[i] += array.places[from] * stride;
    }
}

bool is_advanced(const index_key& key)
{
    return key.kind == key_kind::array || key.kind == key_kind::integer;
}

// Whether a slice, a new axis or an Ellipsis, even one for no axis, is between two of the arrays
// and ints.
bool are_apart(const index_keys& index)
{
    const std::vector<index_key>& keys = index.keys;
    const auto first = std::find_if(keys.begin(), keys.end(), is_advanced);
    if (first == keys.end())
        return false;
    const auto last = std::find_if(keys.rbegin(), keys.rend(), is_advanced).base();
    const auto ellipsis = keys.begin() + static_cast<std::ptrdiff_t>(index.empty_ellipsis);
    return (first < ellipsis && ellipsis < last) || !std::all_of(first, last, is_advanced);
}

} // namespace

positions read_places(PyObject* object)
{
    read_array array = array_of(object);
    if (array.is_mask)
        fail(PyExc_IndexError, "positions are ints: nonzero gives those of a mask");
    return positions(std::move(array.shape), std::move(array.numbers));
}

axis_range range_of(PyObject* slice, std::size_t extent)
{
    Py_ssize_t start = 0;
    Py_ssize_t stop = 0;
    Py_ssize_t step = 0;
    if (PySlice_Unpack(slice, &start, &stop, &step) < 0)
        binding::throw_pending_error();
    const Py_ssize_t count =
        PySlice_AdjustIndices(static_cast<Py_ssize_t>(extent), &start, &stop, step);
    return {.start = start, .step = step, .count = count, .kept = true};
}

std::ptrdiff_t position_on(std::ptrdiff_t place, std::size_t axis, std::size_t extent)
{
    const auto size = static_cast<std::ptrdiff_t>(extent);
    if (place < -size || place >= size)
        refuse_position(std::to_string(place), axis, extent);
    return place < 0 ? place + size : place;
}

counted check_places(const positions& places, std::size_t axis, std::size_t extent)
{
    const detail::place_bounds bounds =
        detail::numbers_in_force().bounds_of(places.data.data(), places.data.size(), extent);
    if (bounds.outside)
        for (const std::ptrdiff_t place : places.data)
            position_on(place, axis, extent);
    return bounds.negative ? counted::from_either_end : counted::from_front;
}

index_keys read_keys(PyObject* key, const shape_list& shape)
{
    std::vector<PyObject*> given;
    if (PyTuple_Check(key)) {
        for (Py_ssize_t i = 0; i < PyTuple_Size(key); ++i)
            given.push_back(PyTuple_GetItem(key, i));
    } else {
        given.push_back(key);
    }
    return reader(std::move(given), shape).take();
}

selection select(const index_keys& keys, const shape_list& shape, const shape_list& strides)
{
    const shape_list common = common_shape(keys);
    selection out;
    out.table.assign(detail::element_count(common), 0);
    out.table_rank = common.size();
    const auto add_table = [&] {
        out.table_axis = out.shape.size();
        out.shape.insert(out.shape.end(), common.begin(), common.end());
        out.loops.push_back({out.table.size(), 0, true});
    };
    bool placed = are_apart(keys);
    if (placed)
        add_table();
    for (const index_key& key : keys.keys) {
        const auto stride =
            key.kind == key_kind::new_axis ? 0 : static_cast<std::ptrdiff_t>(strides[key.axis]);
        if (is_advanced(key) && !std::exchange(placed, true))
            add_table();
        switch (key.kind) {
        case key_kind::array: {
            position_array checked = keys.arrays[key.array];
            for (std::ptrdiff_t& place : checked.places)
                place = position_on(place, key.axis, shape[key.axis]);
            add_to_table(checked, common, stride, out.table);
            break;
        }
        case key_kind::integer:
            out.origin += key.range.start * stride;
            break;
        case key_kind::new_axis:
            out.shape.push_back(1);
            out.loops.push_back({1, 0, false});
            break;
        case key_kind::range:
            out.origin += key.range.count == 0 ? 0 : key.range.start * stride;
            out.shape.push_back(static_cast<std::size_t>(key.range.count));
            out.loops.push_back({static_cast<std::size_t>(key.range.count),
                                 distance_in(key.range, strides[key.axis]), false});
            break;
        }
    }
    return out;
}

} // namespace numerical::package
