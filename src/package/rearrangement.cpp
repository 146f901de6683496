#include "package/rearrangement.hpp"

#include "binding/caster.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/storage.hpp"
#include "numerical/streamed_copy.hpp"
#include "numerical/strided/selection.hpp"
#include "package/index_keys.hpp"
#include "package/parameters.hpp"
#include "package/positions.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using binding::fail;

std::size_t product(shape_list::const_iterator first, shape_list::const_iterator last)
{
    return std::accumulate(first, last, std::size_t{1}, std::multiplies<>());
}

// The extent times the count; a size that no tensor can have if the product overflows.
std::size_t multiplied(std::size_t extent, std::size_t count)
{
    std::size_t product = 0;
    return __builtin_mul_overflow(extent, count, &product) ? ~std::size_t{0} : product;
}

// Repeats the first `length` elements at `to` until there are `count` copies. Everything written so
// far is copied, so that the copies grow; long ones go past the caches.
template <class T>
void copy_on(T* to, std::size_t length, std::size_t count)
{
    std::size_t done = length;
    while (done < length * count) {
        const std::size_t copied = std::min(done, length * count - done);
        detail::block_writer<T>(copied).copy(to, copied, to + done);
        done += copied;
    }
}

// One block of the axes from `axis` on, repeated; returns the end of what it wrote.
template <class T>
T* tile_axis(const T*& from, const shape_list& shape, const shape_list& counts, std::size_t axis,
             T* to)
{
    T* const first = to;
    if (axis + 1 >= shape.size()) {
        const std::size_t run = shape.empty() ? 1 : shape.back();
        to = std::copy_n(from, run, to);
        from += run;
    } else {
        for (std::size_t i = 0; i < shape[axis]; ++i)
            to = tile_axis(from, shape, counts, axis + 1, to);
    }
    const auto length = static_cast<std::size_t>(to - first);
    const std::size_t count = shape.empty() ? 1 : counts[axis];
    copy_on(first, length, count);
    return first + length * count;
}

// The numbers, preceded by ones up to the rank.
shape_list led_by_ones(const shape_list& numbers, std::size_t rank)
{
    shape_list led(rank - numbers.size(), 1);
    led.insert(led.end(), numbers.begin(), numbers.end());
    return led;
}

template <class T>
tensor<T> tiles_of(const tensor<T>& a, const shape_list& given_counts)
{
    const std::size_t rank = std::max(a.shape.size(), given_counts.size());
    const shape_list shape = led_by_ones(a.shape, rank);
    const shape_list counts = led_by_ones(given_counts, rank);
    shape_list extents;
    for (std::size_t axis = 0; axis < rank; ++axis)
        extents.push_back(multiplied(shape[axis], counts[axis]));
    return unlocked(tensor_size(extents), [&] {
        aligned_vector<T> data = detail::uninitialized<T>(detail::element_count(extents));
        const T* from = a.data.data();
        if (!data.empty())
            tile_axis(from, shape, counts, 0, data.data());
        return tensor<T>(std::move(extents), std::move(data));
    });
}

template <class T>
tensor<T> repetitions_of(const tensor<T>& a, std::size_t axis, std::size_t count)
{
    shape_list shape = a.shape;
    shape[axis] = multiplied(shape[axis], count);
    const std::size_t inner = a.strides[axis];
    return unlocked(tensor_size(shape), [&] {
        aligned_vector<T> data = detail::uninitialized<T>(detail::element_count(shape));
        const T* from = a.data.data();
        for (T* to = data.data(); to != data.data() + data.size(); from += inner) {
            if (inner == 1) {
                to = std::fill_n(to, count, *from);
                continue;
            }
            std::copy_n(from, inner, to);
            copy_on(to, inner, count);
            to += inner * count;
        }
        return tensor<T>(std::move(shape), std::move(data));
    });
}

// Rotates each run of elements by `tail`, so that its last `tail` elements come first.
template <class T>
tensor<T> rolled_stretches(const tensor<T>& a, std::size_t stretch, std::size_t tail)
{
    aligned_vector<T> data = detail::uninitialized<T>(a.data.size());
    for (std::size_t first = 0; first < data.size(); first += stretch) {
        const T* const from = a.data.data() + first;
        std::copy_n(from + stretch - tail, tail, data.data() + first);
        std::copy_n(from, stretch - tail, data.data() + first + tail);
    }
    return tensor<T>(a.shape, std::move(data));
}

} // namespace

PyObject* tiled(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"tiled", {"a", "counts"}};
    const auto [given, counts_given] = signature.bind(call);
    const operand a(given);
    const shape_list counts = shape_parameter(counts_given, "repetitions");
    return by_type(a, [&](const auto& x) { return wrap(tiles_of(x, counts)); });
}

PyObject* repeated(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"repeated", {"a", "count", "axis"}};
    const auto [given, count_given, axis_given] = signature.bind(call);
    const operand a(given);
    const std::size_t axis = axis_parameter(axis_given, a.rank());
    const std::ptrdiff_t count = integer_parameter(count_given, "count");
    if (count < 0)
        fail(PyExc_ValueError, "count must not be negative, not " + std::to_string(count));
    return by_type(a, [&](const auto& x) {
        return wrap(repetitions_of(x, axis, static_cast<std::size_t>(count)));
    });
}

PyObject* rolled(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"rolled", {"a", "shift", "axis"}};
    const auto [given, places, axis_given] = signature.bind(call);
    const operand a(given);
    const bool flat = axis_given == Py_None;
    const std::size_t axis = flat ? 0 : axis_parameter(axis_given, a.rank());
    const shape_list& shape = a.shape();
    const auto split = shape.begin() + static_cast<std::ptrdiff_t>(axis);
    const std::size_t extent = flat ? product(shape.begin(), shape.end()) : shape[axis];
    const std::size_t inner = flat ? 1 : product(split + 1, shape.end());
    const std::ptrdiff_t shift = integer_parameter(places, "shift");
    if (shift < 0 || shift > static_cast<std::ptrdiff_t>(extent))
        fail(PyExc_ValueError, "rolled: the shift is within the axis");
    return by_type(a, [&](const auto& x) {
        return wrap(unlocked(x.data.size(), [&] {
            return rolled_stretches(x, extent * inner, static_cast<std::size_t>(shift) * inner);
        }));
    });
}

PyObject* taken_along(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"taken_along", {"a", "places", "axis"}};
    const auto [given, places_given, axis_given] = signature.bind(call);
    const operand a(given);
    const std::size_t axis = axis_parameter(axis_given, a.rank());
    const positions* places = positions_in(places_given);
    if (places == nullptr)
        fail(PyExc_TypeError, "taken_along takes Positions");
    shape_list expected = a.shape();
    if (places->shape.size() == expected.size())
        expected[axis] = places->shape[axis];
    if (places->shape != expected)
        fail(PyExc_ValueError, "taken_along takes places of the tensor's shape but for the axis");
    check_places(*places, axis, a.shape()[axis]);
    return by_type(a, [&](const auto& x) {
        return wrap(
            unlocked(places->data.size(), [&] { return gather_each_along(x, axis, *places); }));
    });
}

} // namespace numerical::package
