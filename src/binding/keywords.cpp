#include "binding/keywords.hpp"

namespace marlinth::binding {

std::uint64_t& registration_epoch()
{
    static std::uint64_t epoch = 0;
    return epoch;
}

void kw_spec::define(const char* function_name, std::initializer_list<keyword> parameters)
{
    if (epoch != 0 && epoch == registration_epoch()) {
        for (const keyword& parameter : parameters)
            Py_XDECREF(parameter.value);
        PyErr_Format(PyExc_SystemError,
                     "%s: a function registered with keyword arguments takes one registration per "
                     "module",
                     function_name);
        return;
    }
    clear();
    epoch = registration_epoch();
    for (const keyword& parameter : parameters)
        append(parameter);
    names.push_back(nullptr);
    format.append(":").append(function_name);
}

void kw_spec::clear()
{
    for (PyObject* value : defaults)
        Py_XDECREF(value);
    names.clear();
    format.clear();
    defaults.clear();
    optional_seen = false;
}

void kw_spec::append(const keyword& parameter)
{
    if (parameter.given == optional && !std::exchange(optional_seen, true))
        format += '|';
    names.push_back(parameter.name);
    format += 'O';
    defaults.push_back(parameter.value);
}

} // namespace marlinth::binding
