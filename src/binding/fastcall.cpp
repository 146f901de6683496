#include "binding/fastcall.hpp"

#include <string>

namespace marlinth::binding {
namespace {

std::string called(const parameter_list& parameters)
{
    return std::string(parameters.function) + "()";
}

// The place of the parameter of that name; TypeError if there is none.
std::size_t place_of(const parameter_list& parameters, PyObject* name)
{
    for (std::size_t i = 0; i < parameters.names.size(); ++i)
        if (PyUnicode_CompareWithASCIIString(name, parameters.names[i]) == 0)
            return i;
    fail(PyExc_TypeError,
         called(parameters) + " got an unexpected keyword argument '" + as_utf8(name) + "'");
}

void refuse_count(const parameter_list& parameters, Py_ssize_t given)
{
    const std::size_t most = parameters.positional;
    const std::string range =
        most == parameters.required
            ? std::to_string(most)
            : "from " + std::to_string(parameters.required) + " to " + std::to_string(most);
    fail(PyExc_TypeError, called(parameters) + " takes " + range + " positional argument" +
                              (most == 1 ? "" : "s") + " but " + std::to_string(given) +
                              (given == 1 ? " was given" : " were given"));
}

} // namespace

void fail(PyObject* kind, const std::string& text)
{
    PyErr_SetString(kind, text.c_str());
    throw_pending_error();
}

void bind_arguments(const parameter_list& parameters, const call_arguments& call, PyObject** out)
{
    if (call.count > static_cast<Py_ssize_t>(parameters.positional))
        refuse_count(parameters, call.count);
    for (Py_ssize_t i = 0; i < call.count; ++i)
        out[i] = call.given[i];
    const Py_ssize_t named = call.names == nullptr ? 0 : PyTuple_Size(call.names);
    for (Py_ssize_t i = 0; i < named; ++i) {
        const std::size_t place = place_of(parameters, PyTuple_GetItem(call.names, i));
        if (out[place] != nullptr)
            fail(PyExc_TypeError, called(parameters) + " got multiple values for argument '" +
                                      parameters.names[place] + "'");
        out[place] = call.given[call.count + i];
    }
    for (std::size_t i = 0; i < parameters.required; ++i)
        if (out[i] == nullptr)
            fail(PyExc_TypeError,
                 called(parameters) + " missing required argument: '" + parameters.names[i] + "'");
}

} // namespace marlinth::binding
