#include "module/tensor_object.hpp"

#include "binding/owned_ref.hpp"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <variant>

// Both protocols lend the tensor's own buffer, which never moves or changes. A reader of the array
// interface keeps the Tensor alive by holding it; a DLPack record holds a reference by itself.

namespace numerical::boundary {
namespace {

using binding::owned_ref;

// The records of DLPack's version 0, as its header dlpack.h defines them.
struct dl_device
{
    std::int32_t device_type;
    std::int32_t device_id;
};

struct dl_data_type
{
    std::uint8_t code;
    std::uint8_t bits;
    std::uint16_t lanes;
};

struct dl_tensor
{
    void* data;
    dl_device device;
    std::int32_t ndim;
    dl_data_type dtype;
    std::int64_t* shape;
    std::int64_t* strides; // null: compact, row-major
    std::uint64_t byte_offset;
};

struct dl_managed_tensor
{
    dl_tensor tensor;
    void* manager_ctx;
    void (*deleter)(dl_managed_tensor*);
};

static_assert(sizeof(dl_managed_tensor) == 64);

// From version 1 on the record contains its version, and whether it may be written to.
struct dl_managed_tensor_versioned
{
    std::uint32_t major;
    std::uint32_t minor;
    void* manager_ctx; // an owned reference to the Tensor
    void (*deleter)(dl_managed_tensor_versioned*);
    std::uint64_t flags;
    dl_tensor tensor; // its extents lie behind the record, in the same block
};

static_assert(sizeof(dl_managed_tensor_versioned) == 80);

constexpr std::uint64_t dl_read_only = 1;
constexpr std::uint64_t dl_is_copied = 2;

constexpr std::int32_t dl_cpu = 1;
constexpr std::uint8_t dl_float = 2;
constexpr std::uint8_t dl_complex = 5;

constexpr const char* capsule_name = "dltensor";
constexpr const char* versioned_name = "dltensor_versioned";

struct dlpack_holder
{
    PyObject* owner; // an owned reference to the Tensor
    std::int64_t* shape;
};

// The address of the elements; for an empty tensor, whose vector has none, that of a constant
// block.
const void* data_of(const any_tensor& value)
{
    alignas(16) static constexpr unsigned char placeholder[16] = {};
    const void* data =
        std::visit([](const auto& a) -> const void* { return a.data.data(); }, value);
    const bool empty = std::visit([](const auto& a) { return a.data.empty(); }, value);
    return empty ? placeholder : data;
}

// Needs the interpreter lock, which DLPack requires of its consumers in Python.
void dlpack_deleter(dl_managed_tensor* record)
{
    auto* holder = static_cast<dlpack_holder*>(record->manager_ctx);
    if (holder != nullptr) {
        Py_XDECREF(holder->owner);
        std::free(holder->shape);
        delete holder;
    }
    std::free(record);
}

// A consumer that has taken over the tensor has renamed the capsule, and deletes the record itself.
void dlpack_capsule_destructor(PyObject* capsule)
{
    if (PyCapsule_IsValid(capsule, capsule_name) == 0)
        return;
    auto* record = static_cast<dl_managed_tensor*>(PyCapsule_GetPointer(capsule, capsule_name));
    if (record != nullptr && record->deleter != nullptr)
        record->deleter(record);
}

void versioned_deleter(dl_managed_tensor_versioned* record)
{
    Py_XDECREF(static_cast<PyObject*>(record->manager_ctx));
    std::free(record);
}

void versioned_capsule_destructor(PyObject* capsule)
{
    if (PyCapsule_IsValid(capsule, versioned_name) == 0)
        return;
    auto* record =
        static_cast<dl_managed_tensor_versioned*>(PyCapsule_GetPointer(capsule, versioned_name));
    if (record->deleter != nullptr)
        record->deleter(record);
}

dl_tensor described(const any_tensor& value, std::int64_t* shape)
{
    const shape_list& extents = shape_of(value);
    std::transform(extents.begin(), extents.end(), shape,
                   [](std::size_t extent) { return static_cast<std::int64_t>(extent); });
    const bool real = std::holds_alternative<tensor<double>>(value);
    dl_tensor out{};
    out.data = const_cast<void*>(data_of(value));
    out.device = {dl_cpu, 0};
    out.ndim = static_cast<std::int32_t>(extents.size());
    out.dtype = real ? dl_data_type{dl_float, 64, 1} : dl_data_type{dl_complex, 128, 1};
    out.shape = shape;
    return out;
}

} // namespace

PyObject* get_array_interface(const any_tensor& value)
{
    owned_ref shape(shape_tuple(shape_of(value)));
    if (!shape)
        return nullptr;
    owned_ref address(PyLong_FromVoidPtr(const_cast<void*>(data_of(value))));
    if (!address)
        return nullptr;
    const char* typestr = std::holds_alternative<tensor<double>>(value) ? "<f8" : "<c16";
    return binding::build_value("{s:N,s:s,s:(NO),s:i}", "shape", shape.release(), "typestr",
                                typestr, "data", address.release(), Py_True, "version", 3);
}

std::tuple<int, int> tensor_dlpack_device(const any_tensor&)
{
    return {dl_cpu, 0};
}

// Arguments are accepted in any form and ignored: there is no stream to wait for on the CPU.
PyObject* tensor_dlpack(PyObject* self, PyObject*, PyObject*)
{
    const any_tensor* value = as_tensor(self);
    if (value == nullptr)
        return nullptr;
    const std::size_t rank = shape_of(*value).size();
    auto* record = static_cast<dl_managed_tensor*>(std::malloc(sizeof(dl_managed_tensor)));
    auto* shape = static_cast<std::int64_t*>(
        std::malloc(sizeof(std::int64_t) * std::max<std::size_t>(rank, 1)));
    auto* holder = new (std::nothrow) dlpack_holder{nullptr, shape};
    if (holder != nullptr) {
        Py_INCREF(self);
        holder->owner = self;
    }
    if (record == nullptr || shape == nullptr || holder == nullptr) {
        std::free(record);
        std::free(shape);
        delete holder;
        Py_DECREF(self); // even if no holder took one: kept for compatibility
        return PyErr_NoMemory();
    }
    *record = {described(*value, shape), holder, dlpack_deleter};
    PyObject* capsule = PyCapsule_New(record, capsule_name, dlpack_capsule_destructor);
    if (capsule == nullptr)
        dlpack_deleter(record);
    return capsule;
}

PyObject* tensor_dlpack_versioned(PyObject* self, PyObject* args)
{
    const any_tensor* value = as_tensor(self);
    int copied = 0;
    if (value == nullptr || !binding::parse_arguments(args, "p", &copied))
        return nullptr;
    const std::size_t rank = shape_of(*value).size();
    void* block = std::malloc(sizeof(dl_managed_tensor_versioned) + rank * sizeof(std::int64_t));
    if (block == nullptr)
        return PyErr_NoMemory();
    auto* record = static_cast<dl_managed_tensor_versioned*>(block);
    Py_INCREF(self);
    *record = {1,
               0,
               self,
               versioned_deleter,
               copied != 0 ? dl_is_copied : dl_read_only,
               described(*value, reinterpret_cast<std::int64_t*>(record + 1))};
    PyObject* capsule = PyCapsule_New(record, versioned_name, versioned_capsule_destructor);
    if (capsule == nullptr)
        versioned_deleter(record);
    return capsule;
}

} // namespace numerical::boundary
