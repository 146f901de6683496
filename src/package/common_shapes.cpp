#include "numerical/elementwise/sequence.hpp"
#include "numerical/storage.hpp"
#include "package/common_forms.hpp"
#include "package/common_operands.hpp"
#include "package/creation.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

namespace numerical::package::common_forms {
namespace {

using boundary::shape_of;

// Larger tensors are left to the general function: their work outweighs the call, and they may be
// refused.
constexpr std::size_t most_elements = std::size_t{1} << 20;

PyObject* shared(const any_tensor& value, const shape_list& shape)
{
    return std::visit([&](const auto& a) { return wrap(reshaped_share(a, shape)); }, value);
}

std::size_t size_of(const any_tensor& value)
{
    return std::visit([](const auto& a) { return a.data.size(); }, value);
}

constexpr Py_ssize_t least_refused = Py_ssize_t{1} << 60; // even if another extent is 0

// The given extents, of which one may be -1; false if an item isn't an int or isn't an extent.
template <class Items>
bool read_extents(const Items& items, std::size_t from, shape_list& shape)
{
    for (std::size_t i = from; i < items.size(); ++i) {
        Py_ssize_t extent = 0;
        if (!int_in(items[i], extent) || extent < -1 || extent >= least_refused)
            return false;
        shape.push_back(static_cast<std::size_t>(extent));
    }
    return true;
}

bool read_shape(PyObject* object, shape_list& shape)
{
    if (const listed_items items(object); items)
        return read_extents(items, 0, shape);
    return read_extents(arguments(&object, 1), 0, shape);
}

constexpr auto open_extent = static_cast<std::size_t>(-1);

// The product of the extents except -1; nothing if it exceeds `most`.
std::optional<std::size_t> known_product(const shape_list& shape, std::size_t most)
{
    std::size_t product = 1;
    for (const std::size_t extent : shape) {
        if (extent == open_extent)
            continue;
        if (extent != 0 && product > most / extent)
            return std::nullopt;
        product *= extent;
    }
    return product;
}

// The tensor in this shape, after the extent -1 has been filled in.
PyObject* in_shape(const any_tensor& value, shape_list&& shape)
{
    const std::size_t size = size_of(value);
    const std::optional<std::size_t> known = known_product(shape, size);
    if (!known)
        return nullptr;
    const auto open = std::count(shape.begin(), shape.end(), open_extent);
    if (open == 0)
        return *known == size ? shared(value, shape) : nullptr;
    if (open != 1 || *known == 0 || size % *known != 0)
        return nullptr;
    *std::find(shape.begin(), shape.end(), open_extent) = size / *known;
    return shared(value, shape);
}

PyObject* filled(arguments given, double value)
{
    shape_list shape;
    if (given.size() != 1 || !read_shape(given[0], shape) ||
        std::count(shape.begin(), shape.end(), open_extent) != 0)
        return nullptr;
    const std::optional<std::size_t> count = known_product(shape, most_elements);
    if (!count)
        return nullptr;
    return wrap(unlocked(*count, [&] { return filled_with(value, std::move(shape)); }));
}

} // namespace

PyObject* reshape(arguments given)
{
    if (given.size() != 2)
        return nullptr;
    const any_tensor* a = tensor_in(given[0]);
    shape_list shape;
    return a != nullptr && read_shape(given[1], shape) ? in_shape(*a, std::move(shape)) : nullptr;
}

PyObject* reshape_method(arguments given)
{
    if (given.size() == 2)
        return reshape(given);
    const any_tensor* a = tensor_in(given[0]);
    shape_list shape;
    return given.size() > 2 && a != nullptr && read_extents(given, 1, shape)
               ? in_shape(*a, std::move(shape))
               : nullptr;
}

PyObject* ravel(arguments given)
{
    const any_tensor* a = given.size() == 1 ? tensor_in(given[0]) : nullptr;
    if (a == nullptr)
        return nullptr;
    if (shape_of(*a).size() != 1)
        return shared(*a, shape_list{size_of(*a)});
    Py_INCREF(given[0]); // it is one already
    return given[0];
}

PyObject* copied(arguments given)
{
    const any_tensor* a = given.size() == 1 ? tensor_in(given[0]) : nullptr;
    return a == nullptr ? nullptr : shared(*a, shape_of(*a));
}

PyObject* squeeze(arguments given)
{
    const any_tensor* a = given.size() == 1 ? tensor_in(given[0]) : nullptr;
    if (a == nullptr)
        return nullptr;
    shape_list shape;
    for (const std::size_t extent : shape_of(*a))
        if (extent != 1)
            shape.push_back(extent);
    return shared(*a, shape);
}

PyObject* expand_dims(arguments given)
{
    const any_tensor* a = given.size() == 2 ? tensor_in(given[0]) : nullptr;
    Py_ssize_t place = 0;
    if (a == nullptr || !int_in(given[1], place))
        return nullptr;
    shape_list shape = shape_of(*a);
    const auto rank = static_cast<Py_ssize_t>(shape.size());
    if (place < -rank - 1 || place > rank)
        return nullptr;
    shape.insert(shape.begin() + (place < 0 ? place + rank + 1 : place), 1);
    return shared(*a, shape);
}

PyObject* zeros(arguments given)
{
    return filled(given, 0.0);
}

PyObject* ones(arguments given)
{
    return filled(given, 1.0);
}

PyObject* arange(arguments given)
{
    double numbers[3] = {0.0, 0.0, 1.0}; // start, stop, step
    const std::size_t first = given.size() == 1 ? 1 : 0;
    if (given.empty() || given.size() > 3)
        return nullptr;
    for (std::size_t i = 0; i < given.size(); ++i)
        if (!real_in(given[i], numbers[first + i]))
            return nullptr;
    const double start = numbers[0];
    const double stop = numbers[1];
    const double step = numbers[2];
    const double count = (stop - start) / step;
    if (!std::isfinite(step) || !(std::fabs(count) < most_elements))
        return nullptr;
    const auto elements = static_cast<std::size_t>(std::ceil(std::max(count, 0.0)));
    return wrap(unlocked(elements, [&] { return numerical::arange(start, stop, step); }));
}

PyObject* eye(arguments given)
{
    constexpr Py_ssize_t most_order = 1024;
    Py_ssize_t n = 0;
    if (given.size() != 1 || !int_in(given[0], n) || n < 0 || n > most_order)
        return nullptr;
    const auto order = static_cast<std::size_t>(n);
    return wrap(unlocked(order * order, [&] { return numerical::eye<double>(order); }));
}

} // namespace numerical::package::common_forms
