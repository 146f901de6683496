#include "binding/caster.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/storage.hpp"
#include "package/common_forms.hpp"
#include "package/common_operands.hpp"
#include "package/creation.hpp"
#include "package/reductions.hpp"
#include "package/shaping.hpp"

#include <algorithm>
#include <cstdlib>

namespace numerical::package::common_forms {
namespace {

using binding::not_null;
using binding::owned_ref;
using boundary::shape_of;

// Element i is that of row i and column i + k, or of row i - k and column i.
template <class T>
tensor<T> diagonal_of(const tensor<T>& a, Py_ssize_t k)
{
    const auto rows = static_cast<Py_ssize_t>(a.shape[0]);
    const auto cols = static_cast<Py_ssize_t>(a.shape[1]);
    const Py_ssize_t row = k < 0 ? std::max(k, -rows) * -1 : 0;
    const Py_ssize_t col = k < 0 ? 0 : std::min(k, cols);
    const auto count = static_cast<std::size_t>(std::min(rows - row, cols - col));
    aligned_vector<T> data = detail::uninitialized<T>(count);
    const T* from = a.data.data() + row * cols + col;
    for (T& element : data) {
        element = *from;
        from += cols + 1;
    }
    return tensor<T>({count}, std::move(data));
}

PyObject* diagonal_at(const any_tensor& value, Py_ssize_t k)
{
    return std::visit([k](const auto& a) { return wrap(diagonal_of(a, k)); }, value);
}

// The kind of the items of a list or tuple: all tensors of rank 1, all tensors of higher ranks, or
// anything else.
enum class joined_kind { vectors, others, mixed };

joined_kind kind_of(const listed_items& items)
{
    if (!items || items.size() == 0)
        return joined_kind::mixed;
    std::size_t vectors = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const any_tensor* part = tensor_in(items[i]);
        if (part == nullptr || shape_of(*part).empty())
            return joined_kind::mixed;
        vectors += shape_of(*part).size() == 1 ? 1 : 0;
    }
    if (vectors == 0)
        return joined_kind::others;
    return vectors == items.size() ? joined_kind::vectors : joined_kind::mixed;
}

bool have_one_shape(const listed_items& items)
{
    for (std::size_t i = 1; i < items.size(); ++i)
        if (shape_of(*tensor_in(items[i])) != shape_of(*tensor_in(items[0])))
            return false;
    return true;
}

// Concatenates or stacks along the axis.
template <auto Join>
PyObject* joined(PyObject* tensors, long axis)
{
    const owned_ref place(not_null(PyLong_FromLong(axis)));
    PyObject* const both[] = {tensors, place.get()};
    return Join({both, 2, nullptr});
}

// Vectors side by side along a new axis, matrices along the axis of that number.
PyObject* stacked_or_joined(arguments given, long axis)
{
    if (given.size() != 1)
        return nullptr;
    const listed_items items(given[0]);
    const joined_kind kind = kind_of(items);
    if (kind == joined_kind::vectors && have_one_shape(items))
        return joined<stack>(given[0], axis);
    return kind == joined_kind::others ? joined<concatenate>(given[0], axis) : nullptr;
}

} // namespace

PyObject* diag(arguments given)
{
    Py_ssize_t k = 0;
    if (given.empty() || given.size() > 2 || (given.size() == 2 && !int_in(given[1], k)))
        return nullptr;
    if (const any_tensor* a = tensor_in(given[0], 2))
        return diagonal_at(*a, k);
    if (tensor_in(given[0], 1) == nullptr)
        return nullptr;
    const owned_ref place(not_null(PyLong_FromSsize_t(k)));
    PyObject* const both[] = {given[0], place.get()};
    return package::diag({both, 2, nullptr});
}

PyObject* diagonal(arguments given)
{
    const any_tensor* a = given.size() == 1 ? tensor_in(given[0], 2) : nullptr;
    return a == nullptr ? nullptr : diagonal_at(*a, 0);
}

PyObject* trace(arguments given)
{
    const owned_ref elements(diagonal(given));
    if (!elements)
        return nullptr;
    PyObject* const summed[] = {elements.get()};
    return sum({summed, 1, nullptr});
}

PyObject* vstack(arguments given)
{
    return stacked_or_joined(given, 0);
}

PyObject* column_stack(arguments given)
{
    return stacked_or_joined(given, 1);
}

PyObject* hstack(arguments given)
{
    if (given.size() != 1)
        return nullptr;
    const joined_kind kind = kind_of(listed_items(given[0]));
    if (kind == joined_kind::mixed)
        return nullptr;
    return joined<concatenate>(given[0], kind == joined_kind::vectors ? 0 : 1);
}

} // namespace numerical::package::common_forms
