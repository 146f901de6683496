#include "package/reductions.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/booleans.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "numerical/elementwise/scans.hpp"
#include "numerical/elementwise/squares.hpp"
#include "numerical/elementwise/variance.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/strided_copy.hpp"
#include "package/masks.hpp"
#include "package/parameters.hpp"
#include "package/positions.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace numerical::package {
namespace {

using detail::walk_shape;

// The reduced axes, ascending, and the shape of the result with and without them.
struct reduced_axes
{
    shape_list axes;
    shape_list kept;
    shape_list kept_dims;
};

reduced_axes axes_of(PyObject* given, const shape_list& shape)
{
    reduced_axes out;
    if (is_absent(given)) {
        out.axes.resize(shape.size());
        std::iota(out.axes.begin(), out.axes.end(), std::size_t{0});
    } else {
        out.axes = axes_parameter(given, shape.size());
        std::sort(out.axes.begin(), out.axes.end());
    }
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        const bool reduced = std::binary_search(out.axes.begin(), out.axes.end(), axis);
        if (!reduced)
            out.kept.push_back(shape[axis]);
        out.kept_dims.push_back(reduced ? 1 : shape[axis]);
    }
    return out;
}

// Whether ascending axes are adjacent.
bool are_adjacent(const shape_list& axes)
{
    return axes.empty() || axes.back() - axes.front() + 1 == axes.size();
}

// Adjacent axes are reduced as one; others must have been moved to the end.
walk_shape walk_over(const shape_list& shape, const shape_list& axes)
{
    walk_shape walk{1, 1, 1};
    const bool together = are_adjacent(axes);
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        const bool reduced = std::binary_search(axes.begin(), axes.end(), axis);
        const bool before = !together || axes.empty() || axis < axes.front();
        (reduced ? walk.extent : before ? walk.outer : walk.inner) *= shape[axis];
    }
    return walk;
}

// The elements in the order of the reduction.
template <class T>
struct reduced_walk
{
    walk_shape walk;
    const T* data;
    aligned_vector<T> moved;

    reduced_walk(const tensor<T>& a, const shape_list& axes)
        : walk(walk_over(a.shape, axes)), data(a.data.data())
    {
        if (!are_adjacent(axes) && !a.data.empty()) {
            moved = brought_to_end(a, axes);
            data = moved.data();
        }
    }

private:
    static aligned_vector<T> brought_to_end(const tensor<T>& a, const shape_list& axes)
    {
        detail::short_list<detail::strided_axis<1>> loops(a.shape.size());
        for (const bool reduced : {false, true})
            for (std::size_t axis = 0; axis < a.shape.size(); ++axis)
                if (std::binary_search(axes.begin(), axes.end(), axis) == reduced)
                    detail::append_axis<1>(loops, {a.shape[axis], {a.strides[axis]}});
        return detail::strided_copy<T>(a.data.data(), loops.span());
    }
};

constexpr binding::signature<3> signature_of(const char* function)
{
    return {function, {"a", "axis", "keepdims"}, 1, 2};
}

constexpr binding::signature<4> signature_with_dtype(const char* function)
{
    return {function, {"a", "axis", "dtype", "keepdims"}, 1, 2};
}

template <class T>
PyObject* shaped(aligned_vector<T>&& data, reduced_axes&& axes, bool keepdims)
{
    return number_or_tensor(
        tensor<T>(std::move(keepdims ? axes.kept_dims : axes.kept), std::move(data)));
}

// Calls f(data, walk) with the elements in this order.
template <class T, class F>
auto walked(const tensor<T>& a, const shape_list& axes, const F& f)
{
    return unlocked(a.data.size(), [&] {
        const reduced_walk walk(a, axes);
        return f(walk.data, walk.walk);
    });
}

// The same for booleans, along adjacent axes.
template <class F>
auto walked(const booleans& a, const shape_list& axes, const F& f)
{
    return unlocked(a.data.size(), [&] { return f(a.data.data(), walk_over(a.shape, axes)); });
}

// f(x, axes) for the booleans that a Tensor keeps if the axes are adjacent, otherwise for its
// numbers.
template <class F>
PyObject* by_kept_type(PyObject* given, PyObject* axis, const F& f)
{
    if (const booleans* kept = booleans_in(given)) {
        reduced_axes axes = axes_of(axis, kept->shape);
        if (are_adjacent(axes.axes))
            return f(*kept, std::move(axes));
    }
    const operand a(given);
    return by_type(a, [&](const auto& x) { return f(x, axes_of(axis, x.shape)); });
}

// f(data, walk) gives the results of a tensor.
template <class T, class F>
PyObject* reduced(const tensor<T>& a, PyObject* axis, bool keepdims, const F& f)
{
    reduced_axes axes = axes_of(axis, a.shape);
    if (axes.axes.empty() && !a.shape.empty()) // over no axis: nothing to reduce
        return shaped(detail::copy_of(a.data.data(), a.data.size()), std::move(axes), keepdims);
    auto results = walked(a, axes.axes, f);
    return shaped(std::move(results), std::move(axes), keepdims);
}

template <class F>
PyObject* reduced(const binding::signature<4>& signature, const binding::call_arguments& call,
                  const F& f)
{
    const auto [given, axis, dtype, keep] = signature.bind(call);
    const operand a(given, dtype);
    const bool keepdims = flag_parameter(keep);
    return by_type(a, [&, axis = axis](const auto& x) { return reduced(x, axis, keepdims, f); });
}

// The same by the counts of a mask, which are the sums of its numbers.
template <class F>
PyObject* reduced_or_counted(const binding::signature<4>& signature,
                             const binding::call_arguments& call, const F& f)
{
    const auto [given, axis, dtype, keep] = signature.bind(call);
    const booleans* kept = is_absent(dtype) ? booleans_in(given) : nullptr;
    if (kept == nullptr)
        return reduced(signature, call, f);
    reduced_axes axes = axes_of(axis, kept->shape);
    if (axes.axes.empty() || !are_adjacent(axes.axes))
        return reduced(signature, call, f);
    const bool keepdims = flag_parameter(keep);
    aligned_vector<double> results = walked(*kept, axes.axes, f);
    return shaped(std::move(results), std::move(axes), keepdims);
}

template <class C>
PyObject* extremes(const binding::signature<3>& signature, const binding::call_arguments& call,
                   const C& compare)
{
    const auto [given, axis, keep] = signature.bind(call);
    const operand a(given);
    if (a.is_complex())
        binding::fail(PyExc_TypeError,
                      "max and min take a float64 tensor: complex128 has no order");
    return reduced(a.as<double>(), axis, flag_parameter(keep),
                   [&](const double* data, const walk_shape& walk) {
                       return detail::extremes(data, walk, compare);
                   });
}

using spread_signature = binding::signature<6>;

constexpr spread_signature spread_signature_of(const char* function)
{
    return {function, {"a", "axis", "correction", "ddof", "dtype", "keepdims"}, 1, 2};
}

// The variances, or their square roots.
PyObject* spread(const spread_signature& signature, const binding::call_arguments& call, bool roots)
{
    const auto [given, axis, correction_given, ddof, dtype, keep] = signature.bind(call);
    if (correction_given != nullptr && ddof != nullptr)
        binding::fail(PyExc_ValueError, "correction and ddof are one: give either");
    const operand a(given, dtype);
    const double correction = ddof != nullptr ? real_parameter(ddof, "ddof", 0.0)
                                              : real_parameter(correction_given, "correction", 0.0);
    const bool keepdims = flag_parameter(keep);
    return by_type(a, [&, axis = axis](const auto& x) {
        reduced_axes axes = axes_of(axis, x.shape);
        aligned_vector<double> results =
            walked(x, axes.axes, [correction](const auto* data, const walk_shape& walk) {
                return detail::variances(data, walk, correction);
            });
        if (roots)
            for (double& result : results)
                result = std::sqrt(result);
        return shaped(std::move(results), std::move(axes), keepdims);
    });
}

// --- booleans ------------------------------------------------------------------------------------
PyObject* boolean_call(const char* function, const binding::call_arguments& call,
                       detail::boolean_reduction reduction)
{
    const auto [given, axis, keep] = signature_of(function).bind(call);
    const bool keepdims = flag_parameter(keep);
    return by_kept_type(given, axis, [&](const auto& x, reduced_axes&& axes) {
        auto reduced = walked(x, axes.axes, [reduction](const auto* data, const walk_shape& walk) {
            return detail::booleans_along(reduction, data, walk);
        });
        return boolean_or_mask(
            booleans(std::move(keepdims ? axes.kept_dims : axes.kept), std::move(reduced)));
    });
}

// f(data, count) for all elements of a Tensor, if it is the only argument of the call and not
// complex128; null otherwise.
template <class F>
PyObject* of_whole(const binding::call_arguments& call, const F& f)
{
    if (call.count != 1 || call.names != nullptr || !is_tensor(call.given[0]))
        return nullptr;
    const auto result = [&](const auto& a) { return f(a.data.data(), a.data.size()); };
    if (const booleans* kept = booleans_in(call.given[0]))
        return result(*kept);
    const auto* numbers = std::get_if<tensor<double>>(&value_of(call.given[0]));
    return numbers != nullptr ? result(*numbers) : nullptr;
}

PyObject* any_or_all(const char* function, const binding::call_arguments& call,
                     detail::boolean_reduction reduction)
{
    const auto of_elements = [reduction](const auto* data, std::size_t count) {
        const auto reduced = unlocked(count, [&] {
            return detail::booleans_along(reduction, data, {1, count, 1});
        });
        return PyBool_FromLong(reduced[0]);
    };
    PyObject* whole = of_whole(call, of_elements);
    return whole != nullptr ? whole : boolean_call(function, call, reduction);
}

// --- running sums and products -------------------------------------------------------------------
template <class F>
PyObject* running_call(const char* function, const binding::call_arguments& call, const F& f)
{
    const binding::signature<3> signature{function, {"a", "axis", "dtype"}, 1};
    const auto [given, axis, dtype] = signature.bind(call);
    const operand a(given, dtype);
    const bool flat = is_absent(axis);
    const std::size_t along = flat ? 0 : axis_parameter(axis, a.rank());
    return by_type(a, [&](const auto& x) {
        const walk_shape walk =
            flat ? walk_shape{1, x.data.size(), 1} : detail::walk_along(x.shape, along);
        auto results = unlocked(x.data.size(), [&] { return f(x.data.data(), walk); });
        return wrap(std::decay_t<decltype(x)>(flat ? shape_list{x.data.size()} : x.shape,
                                              std::move(results)));
    });
}

constexpr auto sum_signature = signature_with_dtype("sum");
constexpr auto mean_signature = signature_with_dtype("mean");
constexpr auto prod_signature = signature_with_dtype("prod");
constexpr auto max_signature = signature_of("max");
constexpr auto min_signature = signature_of("min");
constexpr auto norm_signature = signature_of("euclidean_norm");
constexpr auto var_signature = spread_signature_of("var");
constexpr auto std_signature = spread_signature_of("std");

} // namespace

PyObject* sum(const binding::call_arguments& call)
{
    return reduced_or_counted(sum_signature, call, [](const auto* data, const walk_shape& walk) {
        return detail::sums(data, walk);
    });
}

PyObject* mean(const binding::call_arguments& call)
{
    return reduced_or_counted(mean_signature, call, [](const auto* data, const walk_shape& walk) {
        return detail::means(data, walk);
    });
}

PyObject* prod(const binding::call_arguments& call)
{
    return reduced(prod_signature, call, [](const auto* data, const walk_shape& walk) {
        return detail::products(data, walk);
    });
}

PyObject* cumsum(const binding::call_arguments& call)
{
    return running_call("cumsum", call, [](const auto* data, const walk_shape& walk) {
        return detail::running_sums(data, walk);
    });
}

PyObject* cumprod(const binding::call_arguments& call)
{
    return running_call("cumprod", call, [](const auto* data, const walk_shape& walk) {
        return detail::running_products(data, walk);
    });
}

PyObject* any(const binding::call_arguments& call)
{
    return any_or_all("any", call, detail::boolean_reduction::any);
}

PyObject* all(const binding::call_arguments& call)
{
    return any_or_all("all", call, detail::boolean_reduction::all);
}

PyObject* count_nonzero(const binding::call_arguments& call)
{
    const auto of_elements = [](const auto* data, std::size_t count) {
        const auto counts = unlocked(count, [&] {
            return detail::true_counts(data, {1, count, 1});
        });
        return PyLong_FromSsize_t(counts[0]);
    };
    if (PyObject* whole = of_whole(call, of_elements))
        return whole;
    const auto [given, axis, keep] = signature_of("count_nonzero").bind(call);
    const bool keepdims = flag_parameter(keep);
    return by_kept_type(given, axis, [&](const auto& x, reduced_axes&& axes) {
        auto counts = walked(x, axes.axes, [](const auto* data, const walk_shape& walk) {
            return detail::true_counts(data, walk);
        });
        return int_or_positions(
            positions(std::move(keepdims ? axes.kept_dims : axes.kept), std::move(counts)));
    });
}

PyObject* max(const binding::call_arguments& call)
{
    return extremes(max_signature, call, std::greater<double>());
}

PyObject* min(const binding::call_arguments& call)
{
    return extremes(min_signature, call, std::less<double>());
}

PyObject* euclidean_norm(const binding::call_arguments& call)
{
    const auto [given, axis, keep] = norm_signature.bind(call);
    const operand a(given);
    return by_type(a, [&, axis = axis, keep = keep](const auto& x) {
        reduced_axes axes = axes_of(axis, x.shape);
        auto norms = walked(x, axes.axes, [](const auto* data, const walk_shape& walk) {
            return detail::euclidean_norms(data, walk);
        });
        return shaped(std::move(norms), std::move(axes), flag_parameter(keep));
    });
}

PyObject* var(const binding::call_arguments& call)
{
    return spread(var_signature, call, false);
}

PyObject* std(const binding::call_arguments& call)
{
    return spread(std_signature, call, true);
}

} // namespace numerical::package
