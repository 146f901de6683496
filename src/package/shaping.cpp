#include "package/shaping.hpp"

#include "binding/caster.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/scalar.hpp"
#include "numerical/short_list.hpp"
#include "numerical/storage.hpp"
#include "numerical/streamed_copy.hpp"
#include "numerical/strided/strided_copy.hpp"
#include "numerical/strided/transpose.hpp"
#include "package/parameters.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using binding::fail;
using binding::not_null;
using binding::owned_ref;

// The elements in row-major order of `shape` through these strides.
template <class T>
tensor<T> strided(const T* first, shape_list shape, const shape_list& strides)
{
    const std::size_t count = detail::element_count(shape);
    if (count == 0)
        return tensor<T>(std::move(shape), {});
    detail::short_list<detail::strided_axis<1>> loops(shape.size());
    for (std::size_t axis = 0; axis < shape.size(); ++axis)
        detail::append_axis<1>(loops, {shape[axis], {strides[axis]}});
    return tensor<T>(std::move(shape), detail::strided_copy<T>(first, loops.span()));
}

// The axes of `a` in the given order.
template <class T>
tensor<T> permuted(const tensor<T>& a, const shape_list& order)
{
    shape_list shape;
    shape_list strides;
    for (const std::size_t axis : order) {
        shape.push_back(a.shape[axis]);
        strides.push_back(a.strides[axis]);
    }
    return strided(a.data.data(), std::move(shape), strides);
}

// The matrix that `transpose`, transpose_into or adjoint_into, makes.
template <class T>
tensor<T> new_transpose(const tensor<T>& a,
                        void (*transpose)(detail::block_view<T>, detail::block_view<const T>))
{
    const std::size_t rows = a.shape[0];
    const std::size_t cols = a.shape[1];
    aligned_vector<T> data = detail::uninitialized<T>(a.data.size());
    if (!data.empty())
        transpose({data.data(), cols, rows}, {a.data.data(), rows, cols});
    return tensor<T>({cols, rows}, std::move(data));
}

template <class T>
tensor<T> transposed_matrix(const tensor<T>& a)
{
    return new_transpose<T>(a, detail::transpose_into<T>);
}

template <class T>
tensor<T> adjoint_matrix(const tensor<T>& a)
{
    return new_transpose<T>(a, detail::adjoint_into<T>);
}

shape_list reversed_order(std::size_t rank)
{
    shape_list order(rank);
    std::iota(order.rbegin(), order.rend(), std::size_t{0});
    return order;
}

// The order with the last two axes exchanged; ValueError below rank 2.
shape_list matrix_order(std::size_t rank)
{
    if (rank < 2)
        fail(PyExc_ValueError, "mT and mH are for matrices, not for a tensor of rank " +
                                   std::to_string(rank) + "; T is for all");
    shape_list order(rank);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::swap(order.end()[-1], order.end()[-2]);
    return order;
}

// f(a) as a new Tensor, computed without the interpreter lock if the tensor is large.
template <class F>
PyObject* visit_self(PyObject* self, const F& f)
{
    return std::visit(
        [&](const auto& a) { return wrap(unlocked(a.data.size(), [&] { return f(a); })); },
        value_of(self));
}

// --- joins ---------------------------------------------------------------------------------------
// The tensors of a sequence, in one dtype.
class tensor_list
{
public:
    explicit tensor_list(PyObject* given)
    {
        const std::string kind = binding::py_type_name(given);
        if (PyUnicode_Check(given) || PyBytes_Check(given) || PyDict_Check(given) ||
            kind == "set" || kind == "frozenset" ||
            (PySequence_Check(given) == 0 && PyIter_Check(given) == 0))
            fail(PyExc_TypeError, "tensors must be a sequence of tensors, not " + kind);
        items.reset(not_null(PySequence_Tuple(given)));
        const Py_ssize_t count = PyTuple_Size(items.get());
        for (Py_ssize_t i = 0; i < count; ++i) {
            operands.push_back(std::make_unique<operand>(PyTuple_GetItem(items.get(), i)));
            any_complex |= operands.back()->is_complex();
        }
        if (any_complex)
            for (const auto& each : operands)
                each->make_complex();
    }

    bool empty() const { return operands.empty(); }

    bool is_complex() const { return any_complex; }

    const shape_list& first_shape() const { return operands.front()->shape(); }

    template <class T>
    std::vector<const tensor<T>*> as() const
    {
        std::vector<const tensor<T>*> out;
        for (const auto& each : operands)
            out.push_back(&each->template as<T>());
        return out;
    }

private:
    owned_ref items;
    std::vector<std::unique_ptr<operand>> operands;
    bool any_complex = false;
};

std::size_t count_before(const shape_list& shape, std::size_t axis)
{
    return std::accumulate(shape.begin(), shape.begin() + static_cast<std::ptrdiff_t>(axis),
                           std::size_t{1}, std::multiplies<>());
}

// Joins `outer` segments of consecutive elements of each tensor, in turn; `count` elements in all.
template <class T>
aligned_vector<T> segments_in_turns(const std::vector<const tensor<T>*>& parts, std::size_t outer,
                                    std::size_t count)
{
    aligned_vector<T> joined = detail::uninitialized<T>(count);
    T* to = joined.data();
    const bool columns = std::all_of(parts.begin(), parts.end(), [outer](const tensor<T>* part) {
        return part->data.size() == outer;
    });
    if (columns && parts.size() == 2) { // a form that the compiler vectorizes
        const T* const left = parts[0]->data.data();
        const T* const right = parts[1]->data.data();
        for (std::size_t o = 0; o < outer; ++o) {
            to[2 * o] = left[o];
            to[2 * o + 1] = right[o];
        }
        return joined;
    }
    if (columns) {
        for (std::size_t j = 0; j < parts.size(); ++j)
            for (std::size_t o = 0; o < outer; ++o)
                to[o * parts.size() + j] = parts[j]->data[o];
        return joined;
    }
    const detail::block_writer<T> writer(count);
    for (std::size_t o = 0; o < outer; ++o)
        for (const tensor<T>* part : parts) {
            const std::size_t stretch = part->data.size() / outer;
            to = writer.copy(part->data.data() + o * stretch, stretch, to);
        }
    return joined;
}

template <class T>
aligned_vector<T> interleaved(const std::vector<const tensor<T>*>& parts, std::size_t outer)
{
    std::size_t count = 0;
    for (const tensor<T>* part : parts)
        count += part->data.size();
    return unlocked(count, [&] { return segments_in_turns(parts, outer, count); });
}

void check_joinable(const shape_list& first, const shape_list& other, std::size_t axis)
{
    bool fits = first.size() == other.size();
    for (std::size_t i = 0; fits && i < first.size(); ++i)
        fits = i == axis || first[i] == other[i];
    if (!fits)
        fail(PyExc_ValueError, "shapes " + detail::shape_text(first) + " and " +
                                   detail::shape_text(other) + " differ beside axis " +
                                   std::to_string(axis));
}

template <class T>
PyObject* concatenated(const std::vector<const tensor<T>*>& parts, std::size_t axis)
{
    shape_list shape = parts.front()->shape;
    shape[axis] = 0;
    for (const tensor<T>* part : parts) {
        check_joinable(parts.front()->shape, part->shape, axis);
        shape[axis] += part->shape[axis];
    }
    const std::size_t outer = count_before(shape, axis);
    return wrap(tensor<T>(shape, outer == 0 ? aligned_vector<T>() : interleaved(parts, outer)));
}

template <class T>
PyObject* concatenated_flat(const std::vector<const tensor<T>*>& parts)
{
    aligned_vector<T> joined = interleaved(parts, 1);
    const std::size_t count = joined.size();
    return wrap(tensor<T>({count}, std::move(joined)));
}

template <class T>
PyObject* stacked_along(const std::vector<const tensor<T>*>& parts, PyObject* axis_given)
{
    const shape_list& first = parts.front()->shape;
    for (const tensor<T>* part : parts)
        if (part->shape != first)
            fail(PyExc_ValueError, "stack takes tensors of one shape, not " +
                                       detail::shape_text(first) + " and " +
                                       detail::shape_text(part->shape));
    const std::size_t axis =
        axis_given == nullptr ? 0 : axis_parameter(axis_given, first.size() + 1);
    shape_list shape = first;
    shape.insert(shape.begin() + static_cast<long>(axis), parts.size());
    const std::size_t outer = count_before(first, axis);
    return wrap(tensor<T>(shape, outer == 0 ? aligned_vector<T>() : interleaved(parts, outer)));
}

// --- triangles -----------------------------------------------------------------------------------
enum class triangle_side { lower, upper };

// Each row keeps the elements on one side of diagonal k.
template <class T>
tensor<T> triangle_of(const tensor<T>& a, std::ptrdiff_t k, triangle_side side)
{
    const std::size_t rows = a.shape.end()[-2];
    const std::size_t cols = a.shape.end()[-1];
    aligned_vector<T> data = detail::uninitialized<T>(a.data.size());
    for (std::size_t at = 0, row = 0; at < data.size(); at += cols, row = (row + 1) % rows) {
        const auto diagonal = static_cast<std::ptrdiff_t>(row) + k;
        const auto split = static_cast<std::size_t>(
            std::clamp<std::ptrdiff_t>(diagonal + (side == triangle_side::lower ? 1 : 0), 0,
                                       static_cast<std::ptrdiff_t>(cols)));
        T* const to = data.data() + at;
        const T* const from = a.data.data() + at;
        if (side == triangle_side::lower) {
            std::copy_n(from, split, to);
            detail::set_zero(to + split, cols - split);
        } else {
            detail::set_zero(to, split);
            std::copy_n(from + split, cols - split, to + split);
        }
    }
    return tensor<T>(a.shape, std::move(data));
}

PyObject* triangle_call(const binding::signature<2>& signature, const binding::call_arguments& call,
                        triangle_side side)
{
    const auto [given, diagonal] = signature.bind(call);
    const operand a(given);
    const std::ptrdiff_t k = diagonal == nullptr ? 0 : integer_parameter(diagonal, "k");
    if (a.rank() < 2)
        fail(PyExc_ValueError,
             "matrices are wanted, not a tensor of rank " + std::to_string(a.rank()));
    constexpr std::ptrdiff_t far = std::ptrdiff_t{1} << 61; // beyond every diagonal
    return by_type(a, [&](const auto& x) {
        return wrap(unlocked(x.data.size(),
                             [&] { return triangle_of(x, std::clamp(k, -far, far), side); }));
    });
}

// Whether the last element that the strides reach is among `size` elements.
bool stays_inside(const shape_list& shape, const shape_list& strides, std::size_t first,
                  std::size_t size)
{
    __int128 last = static_cast<__int128>(first);
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        if (shape[axis] == 0)
            return true;
        last += static_cast<__int128>(shape[axis] - 1) * static_cast<__int128>(strides[axis]);
    }
    return last < static_cast<__int128>(size);
}

constexpr binding::signature<2> permute_signature{"permute_dims", {"a", "axes"}, 1};
constexpr binding::signature<2> concatenate_signature{"concatenate", {"tensors", "axis"}, 1};
constexpr binding::signature<2> stack_signature{"stack", {"tensors", "axis"}, 1};
constexpr binding::signature<2> tril_signature{"tril", {"a", "k"}, 1};
constexpr binding::signature<2> triu_signature{"triu", {"a", "k"}, 1};
constexpr binding::signature<4> strides_signature{
    "with_strides", {"a", "shape", "strides", "first"}, 3};

} // namespace

PyObject* permute_dims(const binding::call_arguments& call)
{
    const auto [given, axes] = permute_signature.bind(call);
    const operand a(given);
    const shape_list order =
        is_absent(axes) ? reversed_order(a.rank()) : axes_parameter(axes, a.rank(), "axes");
    if (order.size() != a.rank())
        fail(PyExc_ValueError, std::to_string(a.rank()) + " axes are wanted for shape " +
                                   detail::shape_text(a.shape()) + ", not " +
                                   std::to_string(order.size()));
    return by_type(a, [&](const auto& x) {
        return wrap(unlocked(x.data.size(), [&] { return permuted(x, order); }));
    });
}

PyObject* transposed(PyObject* self)
{
    const std::size_t rank = boundary::shape_of(self).size();
    if (rank < 2) { // the same tensor, which never changes
        Py_INCREF(self);
        return self;
    }
    if (rank == 2)
        return visit_self(self, [](const auto& a) { return transposed_matrix(a); });
    return visit_self(self, [rank](const auto& a) { return permuted(a, reversed_order(rank)); });
}

PyObject* matrix_transposed(PyObject* self)
{
    const shape_list order = matrix_order(boundary::shape_of(self).size());
    return visit_self(self, [&](const auto& a) { return permuted(a, order); });
}

PyObject* hermitian_transposed(PyObject* self)
{
    const shape_list order = matrix_order(boundary::shape_of(self).size());
    if (order.size() == 2)
        return visit_self(self, [](const auto& a) { return adjoint_matrix(a); });
    return visit_self(self, [&](const auto& a) {
        auto result = permuted(a, order);
        for (auto& element : result.data)
            element = detail::conjugate(element);
        return result;
    });
}

PyObject* concatenate(const binding::call_arguments& call)
{
    const auto [given, axis_given] = concatenate_signature.bind(call);
    const tensor_list parts(given);
    if (parts.empty())
        fail(PyExc_ValueError, "concatenate needs at least one tensor");
    const bool flat = axis_given == Py_None;
    if (!flat && parts.first_shape().empty())
        fail(PyExc_ValueError, "a tensor of rank 0 cannot be concatenated; use stack");
    const std::size_t axis =
        flat || axis_given == nullptr ? 0 : axis_parameter(axis_given, parts.first_shape().size());
    const auto join = [&](const auto& list) {
        return flat ? concatenated_flat(list) : concatenated(list, axis);
    };
    return parts.is_complex() ? join(parts.as<complex>()) : join(parts.as<double>());
}

PyObject* stack(const binding::call_arguments& call)
{
    const auto [given, axis] = stack_signature.bind(call);
    const tensor_list parts(given);
    if (parts.empty())
        fail(PyExc_ValueError, "stack needs at least one tensor");
    return parts.is_complex() ? stacked_along(parts.as<complex>(), axis)
                              : stacked_along(parts.as<double>(), axis);
}

PyObject* tril(const binding::call_arguments& call)
{
    return triangle_call(tril_signature, call, triangle_side::lower);
}

PyObject* triu(const binding::call_arguments& call)
{
    return triangle_call(triu_signature, call, triangle_side::upper);
}

PyObject* with_strides(const binding::call_arguments& call)
{
    const auto [given, shape_given, strides_given, first_given] = strides_signature.bind(call);
    const operand a(given);
    const shape_list shape = shape_parameter(shape_given);
    const shape_list strides = shape_parameter(strides_given, "strides");
    const auto first = static_cast<std::size_t>(
        first_given == nullptr ? 0 : integer_parameter(first_given, "first"));
    return by_type(a, [&](const auto& x) {
        if (strides.size() != shape.size() || !stays_inside(shape, strides, first, x.data.size()))
            fail(PyExc_IndexError, "with_strides: the strides leave the tensor");
        const std::size_t count = detail::element_count(shape);
        return wrap(
            unlocked(count, [&] { return strided(x.data.data() + first, shape, strides); }));
    });
}

} // namespace numerical::package
