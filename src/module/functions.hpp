#pragma once

// The functions of the module, by the file that defines them. A typed function is plain C++
// without CPython. A hand-written one, module_<name>, takes Python's arguments and returns a new
// reference, or null with the error set, or throws; table.cpp wraps both kinds.

#include "binding/module_builder.hpp"
#include "binding/python.hpp"
#include "module/tensor_object.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/svd/svd.hpp"

#include <cstddef>
#include <string>
#include <variant>

namespace numerical::boundary {

// The number of axes.
inline std::size_t rank_of(const any_tensor& value)
{
    return std::visit([](const auto& of_type) { return of_type.shape.size(); }, value);
}

// module.cpp: adds the exception numerical.error, which is made once. False with the error set.
bool add_exception(PyObject* module);

// False with ImportError set in an interpreter other than the one that initialized a module first.
bool claim_for_this_interpreter();

// table.cpp: makes the class Tensor, or takes the existing one, and adds it to the module. Sets the
// error on failure.
void define_tensor_class(PyObject* module);

// The same, and appends the functions' rows.
void marlinth_module_register(binding::module_builder<marlinth_module_error>& builder);

// settings.cpp
void set_num_threads(unsigned long n);
unsigned long get_num_threads();
int limit_gemm_path(int code);
int gemm_path();
bool amx_probed();

// linear_systems.cpp
any_tensor solve(const any_tensor& a, const any_tensor& b);
any_tensor solve_fastest(const any_tensor& a, const any_tensor& b); // the package's
any_tensor inverse(const any_tensor& a);
PyObject* module_determinant(PyObject* self, PyObject* args);
PyObject* module_slogdet(PyObject* self, PyObject* args);

// factorizations.cpp
any_tensor cholesky(const any_tensor& a);
std::tuple<any_tensor, any_tensor> qr(const any_tensor& a); // Q, R

// eigen.cpp; std::invalid_argument "unknown method 'x'" for a name that no method has
eigen_method eigen_method_named(const std::string& name);
std::tuple<any_tensor, any_tensor> eigh(const any_tensor& a, const std::string& method);

// svd.cpp
svd_method svd_method_named(const std::string& name);
std::tuple<any_tensor, any_tensor, any_tensor> svd(const any_tensor& a, // U, S, Vᴴ
                                                   const std::string& method);

// least_squares.cpp
any_tensor lstsq(const any_tensor& a, const any_tensor& b);
any_tensor pinv(const any_tensor& a);
unsigned long matrix_rank(const any_tensor& a);

// take.cpp
PyObject* module_take(PyObject* self, PyObject* args);

// elementwise.cpp
PyObject* module_binary(PyObject* self, PyObject* args);
PyObject* module_negate(PyObject* self, PyObject* args);
PyObject* module_unary(PyObject* self, PyObject* args);

// reductions.cpp
PyObject* module_reduce(PyObject* self, PyObject* args);

// creation.cpp
PyObject* module_reshape(PyObject* self, PyObject* args);
PyObject* module_full(PyObject* self, PyObject* args);
PyObject* module_eye(PyObject* self, PyObject* args);
PyObject* module_arange(PyObject* self, PyObject* args);
PyObject* module_linspace(PyObject* self, PyObject* args);

// array_import.cpp
PyObject* module_asarray(PyObject* self, PyObject* args, PyObject* kwargs);

// einsum.cpp
PyObject* module_einsum(PyObject* self, PyObject* args);

} // namespace numerical::boundary
