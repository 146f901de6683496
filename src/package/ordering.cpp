#include "package/ordering.hpp"

#include "binding/caster.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/places.hpp"
#include "numerical/elementwise/sorting.hpp"
#include "numerical/strided/selection.hpp"
#include "package/index_keys.hpp"
#include "package/masks.hpp"
#include "package/parameters.hpp"
#include "package/positions.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using binding::fail;
using binding::not_null;
using binding::owned_ref;
using detail::walk_shape;

const tensor<double>& ordered(const operand& a, const char* function)
{
    if (a.is_complex())
        fail(PyExc_TypeError,
             std::string(function) + " takes a float64 tensor: complex128 has no order");
    return a.as<double>();
}

// The axis that an argument selects; for None all elements form one axis.
struct axis_walk
{
    walk_shape walk;
    shape_list shape; // of a result with as many elements
    std::size_t axis;
    bool flat;
};

axis_walk walk_of(PyObject* axis_given, const shape_list& shape, std::size_t count, bool flat)
{
    if (flat)
        return {.walk = {1, count, 1}, .shape = {count}, .axis = 0, .flat = true};
    const std::size_t axis = axis_given == nullptr && !shape.empty()
                                 ? shape.size() - 1
                                 : axis_parameter(axis_given, shape.size());
    return {.walk = detail::walk_along(shape, axis), .shape = shape, .axis = axis, .flat = false};
}

// The parameter `kind` is accepted for programs written for NumPy, and must be one of its names.
void check_kind(PyObject* kind)
{
    if (is_absent(kind))
        return;
    const std::string name = PyUnicode_Check(kind) ? binding::to_text(kind) : "";
    if (name != "quicksort" && name != "heapsort" && name != "mergesort" && name != "stable")
        fail(PyExc_ValueError,
             "kind is 'quicksort', 'heapsort', 'mergesort' or 'stable', all the same stable sort");
}

struct sort_call
{
    PyObject* given;
    PyObject* axis;
    sort_order order;
};

sort_call read_sort_call(const char* function, const binding::call_arguments& call)
{
    const binding::signature<5> signature{
        function, {"a", "axis", "kind", "descending", "stable"}, 1, 3};
    const auto [given, axis, kind, descending, stable] = signature.bind(call);
    check_kind(kind);
    flag_parameter(stable);
    return {given, axis,
            flag_parameter(descending) ? sort_order::descending : sort_order::ascending};
}

template <class T>
axis_walk sort_walk(const sort_call& call, const tensor<T>& a)
{
    if (a.shape.empty() && call.axis == nullptr)
        fail(PyExc_ValueError, "a tensor of rank 0 has no axis to sort along");
    return walk_of(call.axis, a.shape, a.data.size(), call.axis == Py_None);
}

template <class C>
PyObject* extreme_call(const char* function, const binding::call_arguments& call, const C& compare)
{
    const binding::signature<3> signature{function, {"a", "axis", "keepdims"}, 1, 2};
    const auto [given, axis, keep] = signature.bind(call);
    const operand a(given);
    const tensor<double>& x = ordered(a, function);
    const bool keepdims = flag_parameter(keep);
    const axis_walk along = walk_of(axis, x.shape, x.data.size(), is_absent(axis));
    if (along.walk.extent == 0)
        fail(PyExc_ValueError,
             std::string(function) + " of an axis without elements has no result");
    shape_list shape = x.shape;
    if (keepdims)
        along.flat ? shape.assign(shape.size(), 1) : (void)(shape[along.axis] = 1);
    else if (along.flat)
        shape.clear();
    else
        shape.erase(shape.begin() + static_cast<std::ptrdiff_t>(along.axis));
    auto places = unlocked(
        x.data.size(), [&] { return detail::extreme_places(x.data.data(), along.walk, compare); });
    return int_or_positions(positions(std::move(shape), std::move(places)));
}

detail::search_side side_of(PyObject* side)
{
    if (side == nullptr)
        return detail::search_side::left;
    const std::string name = PyUnicode_Check(side) ? binding::to_text(side) : "";
    if (name != "left" && name != "right")
        fail(PyExc_ValueError, "side is 'left' or 'right'");
    return name == "left" ? detail::search_side::left : detail::search_side::right;
}

// The vector in the order of the sorter.
tensor<double> in_order(const tensor<double>& a, PyObject* sorter)
{
    const positions order = read_places(sorter);
    return gather_along(a, 0, order, check_places(order, 0, a.shape[0]));
}

// Sorted Positions, which stay Positions.
PyObject* sorted_positions(const positions& places, const sort_call& asked)
{
    axis_walk along = sort_walk(asked, places);
    const walk_shape& walk = along.walk;
    aligned_vector<std::ptrdiff_t> run(walk.extent);
    aligned_vector<std::ptrdiff_t> data = places.data;
    const bool descends = asked.order == sort_order::descending;
    for (std::size_t o = 0; o < walk.outer; ++o)
        for (std::size_t k = 0; k < walk.inner; ++k) {
            std::ptrdiff_t* const first = data.data() + o * walk.extent * walk.inner + k;
            for (std::size_t j = 0; j < walk.extent; ++j)
                run[j] = first[j * walk.inner];
            std::sort(run.begin(), run.end());
            if (descends)
                std::reverse(run.begin(), run.end());
            for (std::size_t j = 0; j < walk.extent; ++j)
                first[j * walk.inner] = run[j];
        }
    return wrap(positions(std::move(along.shape), std::move(data)));
}

// Positions of each axis.
PyObject* tuple_of(std::vector<aligned_vector<std::ptrdiff_t>>&& places)
{
    owned_ref tuple(not_null(PyTuple_New(static_cast<Py_ssize_t>(places.size()))));
    for (std::size_t axis = 0; axis < places.size(); ++axis) {
        const std::size_t count = places[axis].size();
        PyTuple_SetItem(tuple.get(), static_cast<Py_ssize_t>(axis),
                        not_null(wrap(positions({count}, std::move(places[axis])))));
    }
    return tuple.release();
}

} // namespace

PyObject* sort(const binding::call_arguments& call)
{
    const sort_call asked = read_sort_call("sort", call);
    if (const positions* places = positions_in(asked.given))
        return sorted_positions(*places, asked);
    const operand a(asked.given);
    const tensor<double>& x = ordered(a, "sort");
    axis_walk along = sort_walk(asked, x);
    auto elements = unlocked(
        x.data.size(), [&] { return detail::sorted(x.data.data(), along.walk, asked.order); });
    return wrap(tensor<double>(std::move(along.shape), std::move(elements)));
}

PyObject* argsort(const binding::call_arguments& call)
{
    const sort_call asked = read_sort_call("argsort", call);
    const operand a(asked.given);
    const tensor<double>& x = ordered(a, "argsort");
    axis_walk along = sort_walk(asked, x);
    auto places = unlocked(x.data.size(), [&] {
        return detail::sorted_places(x.data.data(), along.walk, asked.order);
    });
    return wrap(positions(std::move(along.shape), std::move(places)));
}

PyObject* argmax(const binding::call_arguments& call)
{
    return extreme_call("argmax", call, std::greater<double>());
}

PyObject* argmin(const binding::call_arguments& call)
{
    return extreme_call("argmin", call, std::less<double>());
}

PyObject* searchsorted(const binding::call_arguments& call)
{
    static constexpr binding::signature<4> signature{
        "searchsorted", {"a", "v", "side", "sorter"}, 2};
    const auto [given, values, side, sorter] = signature.bind(call);
    const operand a(given);
    const operand v(values);
    const tensor<double>& x = ordered(a, "searchsorted");
    const tensor<double>& wanted = ordered(v, "searchsorted");
    if (x.shape.size() != 1)
        fail(PyExc_ValueError,
             "searchsorted takes a vector, not a tensor of rank " + std::to_string(x.shape.size()));
    const auto places = [&, side = side](const tensor<double>& ascending) {
        const detail::search_side from = side_of(side);
        auto found = unlocked(wanted.data.size(), [&] {
            return detail::search_places(ascending.data.data(), ascending.data.size(),
                                         wanted.data.data(), wanted.data.size(), from);
        });
        return int_or_positions(positions(wanted.shape, std::move(found)));
    };
    return is_absent(sorter) ? places(x) : places(in_order(x, sorter));
}

PyObject* places_of_true(PyObject* given, const char* function)
{
    const auto places_of = [&](const auto& a) {
        if (a.shape.empty())
            fail(PyExc_ValueError,
                 std::string(function) +
                     " of a mask alone takes a tensor with an axis, not one of rank 0");
        return tuple_of(unlocked(a.data.size(), [&] { return true_places(a); }));
    };
    if (const booleans* kept = booleans_in(given))
        return places_of(*kept);
    const operand a(given);
    return std::visit(places_of, a.value());
}

PyObject* nonzero(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"nonzero", {"a"}};
    const auto [given] = signature.bind(call);
    return places_of_true(given, "nonzero");
}

} // namespace numerical::package
