#include "package/int_arrays.hpp"

#include "binding/attributes.hpp"
#include "binding/caster.hpp"
#include "binding/owned_ref.hpp"
#include "module/array_record.hpp"
#include "numerical/checks.hpp"
#include "numerical/storage.hpp"
#include "package/operand.hpp"

#include <cstring>
#include <utility>

namespace numerical::package {
namespace {

using boundary::array_record;

// Whether the object may be an array of ints, judged by its class: not a list, a number or a
// Tensor.
bool may_be_array(PyObject* object)
{
    return PyIndex_Check(object) != 0 && PySequence_Check(object) != 0 && !is_tensor(object);
}

bool holds_int64(const array_record& record)
{
    constexpr int needed = array_record::contiguous | array_record::not_swapped;
    return record.nd > 0 && record.typekind == 'i' && record.itemsize == sizeof(std::ptrdiff_t) &&
           (record.flags & needed) == needed && record.shape != nullptr && record.data != nullptr;
}

// The extents of a record; nothing if one is negative or their product isn't a number of elements.
std::optional<shape_list> shape_in(const array_record& record)
{
    shape_list shape;
    std::ptrdiff_t count = 1;
    for (int axis = 0; axis < record.nd; ++axis) {
        const std::ptrdiff_t extent = record.shape[axis];
        if (extent < 0 || __builtin_mul_overflow(count, extent, &count))
            return std::nullopt;
        shape.push_back(static_cast<std::size_t>(extent));
    }
    return shape;
}

} // namespace

// Any other array is left to the general code, which reports what is wrong with it.
std::optional<positions> int64_array(PyObject* object)
{
    static PyObject* const name = binding::not_null(PyUnicode_InternFromString("__array_struct__"));
    if (!may_be_array(object))
        return std::nullopt;
    const binding::owned_ref capsule = binding::optional_attribute(object, name);
    if (!capsule)
        return std::nullopt;
    const array_record* record = boundary::record_in(capsule.get());
    if (record == nullptr || !holds_int64(*record))
        return std::nullopt;
    std::optional<shape_list> shape = shape_in(*record);
    if (!shape)
        return std::nullopt;
    const std::size_t count = detail::element_count(*shape);
    return positions(std::move(*shape),
                     detail::copy_of(static_cast<const std::ptrdiff_t*>(record->data), count));
}

} // namespace numerical::package
