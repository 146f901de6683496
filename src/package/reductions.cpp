#include "package/reductions.hpp"

#include "numerical/checks.hpp"
#include "numerical/einsum/strided_copy.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "numerical/elementwise/squares.hpp"
#include "numerical/elementwise/variance.hpp"
#include "numerical/storage.hpp"
#include "package/parameters.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

namespace numerical::package {
namespace {

using boundary::wrap;
using detail::walk_shape;

// What is reduced: the axes, ascending, and the shape of the result with and without them.
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

// Neighbouring axes are one; others are brought together at the end first, in their order.
template <class T>
struct reduced_walk
{
    walk_shape walk{1, 1, 1};
    const T* data;
    std::vector<T> moved;

    reduced_walk(const tensor<T>& a, const shape_list& axes) : data(a.data.data())
    {
        const bool together = axes.empty() || axes.back() - axes.front() + 1 == axes.size();
        for (std::size_t axis = 0; axis < a.shape.size(); ++axis) {
            const bool reduced = std::binary_search(axes.begin(), axes.end(), axis);
            const bool before = !together || axes.empty() || axis < axes.front();
            (reduced ? walk.extent : before ? walk.outer : walk.inner) *= a.shape[axis];
        }
        if (!together && !a.data.empty()) {
            moved = brought_to_end(a, axes);
            data = moved.data();
        }
    }

private:
    static std::vector<T> brought_to_end(const tensor<T>& a, const shape_list& axes)
    {
        std::vector<detail::loop_axis<1>> loops;
        for (const bool reduced : {false, true})
            for (std::size_t axis = 0; axis < a.shape.size(); ++axis)
                if (std::binary_search(axes.begin(), axes.end(), axis) == reduced &&
                    a.shape[axis] != 1)
                    loops.push_back({a.shape[axis], {a.strides[axis]}});
        return detail::strided_copy(a.data.data(), loops);
    }
};

constexpr binding::signature<3> signature_of(const char* function)
{
    return {function, {"a", "axis", "keepdims"}, 1, 2};
}

template <class T>
PyObject* shaped(std::vector<T>&& data, reduced_axes&& axes, bool keepdims)
{
    return number_or_tensor(
        tensor<T>(std::move(keepdims ? axes.kept_dims : axes.kept), std::move(data)));
}

// f(data, walk) gives the results of a tensor, for the arguments of the call.
template <class F>
PyObject* reduced(const binding::signature<3>& signature, const binding::call_arguments& call,
                  const F& f)
{
    const auto [given, axis, keep] = signature.bind(call);
    const operand a(given);
    const bool keepdims = flag_parameter(keep);
    return by_type(a, [&](const auto& x) {
        reduced_axes axes = axes_of(axis, x.shape);
        if (axes.axes.empty() && !x.shape.empty()) // over no axis: nothing to add up
            return shaped(detail::copy_of(x.data.data(), x.data.size()), std::move(axes), keepdims);
        const reduced_walk walk(x, axes.axes);
        return shaped(f(walk.data, walk.walk), std::move(axes), keepdims);
    });
}

template <class C>
PyObject* extremes(const binding::signature<3>& signature, const binding::call_arguments& call,
                   const C& compare)
{
    return reduced(signature, call, [&](const auto* data, const walk_shape& walk) {
        if constexpr (std::is_same_v<decltype(data), const double*>)
            return detail::extremes(data, walk, compare);
        else
            binding::fail(PyExc_TypeError,
                          "max and min take a float64 tensor: complex128 has no order");
        return std::vector<double>();
    });
}

// The variances, or their square roots.
PyObject* spread(const binding::signature<4>& signature, const binding::call_arguments& call,
                 bool roots)
{
    const auto [given, axis, correction_given, keep] = signature.bind(call);
    const operand a(given);
    const double correction = real_parameter(correction_given, "correction", 0.0);
    const bool keepdims = flag_parameter(keep);
    return by_type(a, [&](const auto& x) {
        reduced_axes axes = axes_of(axis, x.shape);
        const reduced_walk walk(x, axes.axes);
        std::vector<double> results = detail::variances(walk.data, walk.walk, correction);
        if (roots)
            for (double& result : results)
                result = std::sqrt(result);
        return shaped(std::move(results), std::move(axes), keepdims);
    });
}

constexpr auto sum_signature = signature_of("sum");
constexpr auto mean_signature = signature_of("mean");
constexpr auto max_signature = signature_of("max");
constexpr auto min_signature = signature_of("min");
constexpr auto norm_signature = signature_of("euclidean_norm");
constexpr binding::signature<4> var_signature{"var", {"a", "axis", "correction", "keepdims"}, 1, 2};
constexpr binding::signature<4> std_signature{"std", {"a", "axis", "correction", "keepdims"}, 1, 2};

} // namespace

PyObject* sum(const binding::call_arguments& call)
{
    return reduced(sum_signature, call, [](const auto* data, const walk_shape& walk) {
        return detail::sums(data, walk);
    });
}

PyObject* mean(const binding::call_arguments& call)
{
    return reduced(mean_signature, call, [](const auto* data, const walk_shape& walk) {
        return detail::means(data, walk);
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
        const reduced_walk walk(x, axes.axes);
        return shaped(detail::euclidean_norms(walk.data, walk.walk), std::move(axes),
                      flag_parameter(keep));
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
