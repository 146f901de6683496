#pragma once

// The Python class numerical.Tensor, an any_tensor in an object, and what every function at the
// boundary needs: conversions of arguments to tensors, of results to objects, and of shapes.

#include "binding/python.hpp"
#include "module/gil_release.hpp"
#include "numerical/matrix.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/tensor.hpp"

#include <complex>
#include <cstddef>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace numerical::boundary {

namespace binding = marlinth::binding;

// The exception numerical.error.
PyObject* marlinth_module_error();

// The value of a Tensor, for hand-written functions; null with numerical.error "expected a
// numerical.Tensor" or "uninitialized numerical.Tensor" set.
any_tensor* as_tensor(PyObject* object) noexcept;

// A new Tensor that takes over the value; null with the error set.
PyObject* wrap(any_tensor&& value);
PyObject* wrap(tensor<double>&& value);
PyObject* wrap(tensor<std::complex<double>>&& value);

// A new Tensor of that shape and those elements, made in its place: of a small one moving the shape
// is a part of the work. dimension_error as from the tensor's constructor.
template <class T>
PyObject* wrap_new(shape_list&& shape, element_store<T>&& elements);

// The value of a number of any kind, of a complex one by its __complex__; where it is none Python's
// error is set.
void read_number(PyObject* item, double& x);
void read_number(PyObject* item, std::complex<double>& z);

// A new Python float or complex; null with the error set.
PyObject* number(double x);
PyObject* number(const std::complex<double>& z);

inline const shape_list& shape_of(const any_tensor& value)
{
    return std::visit([](const auto& a) -> const shape_list& { return a.shape; }, value);
}

// The shape of a Tensor, without making numbers of its booleans; TypeError "uninitialized
// numerical.Tensor".
const shape_list& shape_of(PyObject* tensor);

// The same for the dtype.
bool is_complex(PyObject* tensor);

// The extents as a new tuple; null with the error set.
PyObject* shape_tuple(const shape_list& shape);

// Appends the extents of a sequence; false with the error set, numerical.error "shape extents must
// be non-negative" among them.
bool read_shape(PyObject* sequence, shape_list& shape);

// A copy of the rank-2 tensor as a matrix.
template <class T>
matrix<T> matrix_from(const tensor<T>& a)
{
    return matrix<T>(a.shape[0], a.shape[1], detail::copy_on_threads(a.data.data(), a.data.size()));
}

// The constructor, Tensor(data, shape=None, dtype='float64'): a flat sequence of numbers.
any_tensor tensor_factory(PyObject* data, std::optional<PyObject*> shape, const std::string& dtype);

// A property; the others are in table.cpp, this one in array_export.cpp.
PyObject* get_array_interface(const any_tensor& value);

// Methods; the DLPack ones are in array_export.cpp.
PyObject* tensor_tolist(PyObject* self, PyObject* ignored);
PyObject* tensor_dlpack(PyObject* self, PyObject* args, PyObject* kwargs);
PyObject* tensor_dlpack_versioned(PyObject* self, PyObject* args);
std::tuple<int, int> tensor_dlpack_device(const any_tensor& value);

} // namespace numerical::boundary
