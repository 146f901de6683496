#pragma once

#include "binding/class.hpp"
#include "binding/fastcall.hpp"
#include "module/functions.hpp"
#include "package/table.hpp"

namespace numerical::package {

// The row of a function of binding::call_arguments, which translates what it throws.
template <auto F>
PyMethodDef function(const char* name, const char* doc)
{
    return {name, binding::table_entry(binding::call_fast<boundary::marlinth_module_error, F>),
            METH_FASTCALL | METH_KEYWORDS, doc};
}

} // namespace numerical::package
