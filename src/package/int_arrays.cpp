#include "package/int_arrays.hpp"

#include "binding/caster.hpp"
#include "binding/owned_ref.hpp"
#include "module/array_record.hpp"
#include "numerical/storage.hpp"
#include "package/operand.hpp"

#include <cstring>
#include <utility>

namespace numerical::package {
namespace {

using boundary::array_record;

// Whether the object may be an array of ints, by what its class has: not a list, a number or a
// Tensor.
bool may_be_array(PyObject* object)
{
    return PyIndex_Check(object) != 0 && PySequence_Check(object) != 0 && !is_tensor(object);
}

bool holds_int64(const array_record& record)
{
    constexpr int needed = array_record::contiguous | array_record::not_swapped;
    return record.nd > 0 && record.typekind == 'i' && record.itemsize == sizeof(std::ptrdiff_t) &&
           (record.flags & needed) == needed && record.data != nullptr;
}

} // namespace

std::optional<positions> int64_array(PyObject* object)
{
    static PyObject* const name = binding::not_null(PyUnicode_InternFromString("__array_struct__"));
    if (!may_be_array(object))
        return std::nullopt;
    const binding::owned_ref capsule(PyObject_GetAttr(object, name));
    if (!capsule) { // the general way finds out what it is
        PyErr_Clear();
        return std::nullopt;
    }
    const array_record* record = boundary::record_in(capsule.get());
    if (record == nullptr || !holds_int64(*record))
        return std::nullopt;
    shape_list shape;
    std::size_t count = 1;
    for (int axis = 0; axis < record->nd; ++axis) {
        shape.push_back(static_cast<std::size_t>(record->shape[axis]));
        count *= shape.back();
    }
    return positions(std::move(shape),
                     detail::copy_of(static_cast<const std::ptrdiff_t*>(record->data), count));
}

} // namespace numerical::package
