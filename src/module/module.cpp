#include "binding/errors.hpp"
#include "binding/keywords.hpp"
#include "binding/module_builder.hpp"
#include "binding/owned_ref.hpp"
#include "module/functions.hpp"

#include <cstdint>
#include <utility>
#include <vector>

namespace numerical::boundary {

namespace {

using binding::owned_ref;

// Kept as long as the process lives.
PyObject* marlinth_module_error_storage = nullptr;

// The module keeps pointers into the table, which is never destroyed. A second initialization fills
// it with the same rows at the same places.
std::vector<PyMethodDef>& marlinth_module_table()
{
    static auto& table = *new std::vector<PyMethodDef>;
    return table;
}

PyModuleDef marlinth_module_def = {
    PyModuleDef_HEAD_INIT, "_numerical", nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};

bool fill(PyObject* module)
{
    const auto body = [&]() -> PyObject* {
        std::vector<PyMethodDef>& table = marlinth_module_table();
        table.clear();
        ++binding::registration_epoch();
        binding::module_builder<marlinth_module_error> builder{table, module};
        marlinth_module_register(builder);
        table.push_back({});
        const bool done =
            PyErr_Occurred() == nullptr && PyModule_AddFunctions(module, table.data()) == 0;
        return done ? module : nullptr;
    };
    return binding::translated(marlinth_module_error, body) != nullptr;
}

} // namespace

// A second initialization adds the exception of the first, as it does with the class: code that
// catches the error of either module catches what both raise.
bool add_exception(PyObject* module)
{
    const bool first = marlinth_module_error_storage == nullptr;
    owned_ref error(first ? PyErr_NewException("numerical.error", nullptr, nullptr)
                          : owned_ref::to(marlinth_module_error_storage).release());
    if (!error || PyModule_AddObjectRef(module, "error", error.get()) < 0)
        return false;
    if (first)
        marlinth_module_error_storage = error.release();
    return true;
}

// The process has one class and one exception. A second interpreter would see the attributes that
// the first one set on them, and leave its own behind when it ends.
bool claim_for_this_interpreter()
{
    static std::int64_t owner = -1;
    const std::int64_t here = PyInterpreterState_GetID(PyInterpreterState_Get());
    if (here < 0)
        return false;
    if (owner >= 0 && owner != here) {
        PyErr_SetString(PyExc_ImportError,
                        "numerical is loaded in another interpreter of this process; its state is "
                        "the process's, so that one interpreter alone can have it");
        return false;
    }
    owner = here;
    return true;
}

PyObject* marlinth_module_error()
{
    return marlinth_module_error_storage;
}

} // namespace numerical::boundary

PyMODINIT_FUNC PyInit__numerical()
{
    using namespace numerical::boundary;
    if (!claim_for_this_interpreter())
        return nullptr;
    owned_ref module(PyModule_Create2(&marlinth_module_def, 3));
    if (!module || !add_exception(module.get()) || !fill(module.get()))
        return nullptr;
    return module.release();
}
