#include "binding/class.hpp"
#include "binding/errors.hpp"
#include "binding/fastcall.hpp"
#include "binding/owned_ref.hpp"
#include "module/functions.hpp"
#include "package/operand.hpp"
#include "package/table.hpp"

// The second module in the shared object, numerical._native, holds what the Python package needs in
// addition to _numerical's table. It is initialized first and makes the type, with the package's
// operators; _numerical then finds the type and adds it to itself.

namespace numerical::package {
namespace {

using binding::owned_ref;

PyModuleDef native_def = {PyModuleDef_HEAD_INIT,
                          "_native",
                          "What numerical's Python files rest on; private.",
                          -1,
                          nullptr,
                          nullptr,
                          nullptr,
                          nullptr,
                          nullptr};

// The type exists without the package's slots if _numerical was initialized by itself before.
bool is_type_bare()
{
    return binding::class_type<any_tensor>() != nullptr &&
           binding::class_slots<any_tensor>().empty();
}

bool fill(PyObject* module)
{
    const auto body = [&]() -> PyObject* {
        if (is_type_bare())
            binding::fail(
                PyExc_ImportError,
                "numerical: the extension module was loaded by itself before the package");
        return define_tensor(module) && PyModule_AddFunctions(module, function_table()) == 0
                   ? module
                   : nullptr;
    };
    return binding::translated(boundary::marlinth_module_error, body) != nullptr;
}

} // namespace
} // namespace numerical::package

PyMODINIT_FUNC PyInit__native()
{
    using namespace numerical;
    if (!boundary::claim_for_this_interpreter())
        return nullptr;
    package::owned_ref module(PyModule_Create2(&package::native_def, 3));
    if (!module || !boundary::add_exception(module.get()) || !package::fill(module.get()))
        return nullptr;
    detail::keep_freed_blocks();
    return module.release();
}
