#include "package/matrices.hpp"

#include "binding/caster.hpp"
#include "binding/errors.hpp"
#include "numerical/stacks/stack_error.hpp"

#include <cxxabi.h>
#include <optional>
#include <string>

namespace numerical::package {
namespace {

using binding::not_null;
using binding::owned_ref;

// The indices along the leading axes as the text of a tuple.
std::string place_text(std::size_t index, const shape_list& lead)
{
    shape_list places(lead.size());
    for (std::size_t axis = lead.size(); axis-- > 0;) {
        places[axis] = index % lead[axis];
        index /= lead[axis];
    }
    return detail::shape_text(places);
}

// The pending exception, taken from the interpreter as an object.
class pending_exception
{
public:
    pending_exception()
    {
        PyErr_Fetch(&type, &value, &traceback);
        PyErr_NormalizeException(&type, &value, &traceback);
    }

    pending_exception(const pending_exception&) = delete;
    pending_exception& operator=(const pending_exception&) = delete;

    // Raises it again; errors in between are dropped. A thread that is unwound by force after the
    // end of the interpreter must not: without the lock it would raise in the thread that has it.
    ~pending_exception() noexcept(false)
    {
        if (Py_IsInitialized() == 0)
            return;
        PyErr_Clear();
        PyErr_Restore(type, value, traceback);
    }

    PyObject* get() const { return value; }

private:
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
};

void add_place(PyObject* failure, const std::string& place)
{
    const owned_ref note(PyUnicode_FromFormat("matrix %s of the stack", place.c_str()));
    const owned_ref method(note ? PyObject_GetAttrString(failure, "add_note") : nullptr);
    if (method)
        const owned_ref none(PyObject_CallFunctionObjArgs(method.get(), note.get(), nullptr));
}

void annotate(PyObject* failure, std::initializer_list<PyObject*> operands)
{
    const owned_ref given(PyTuple_New(static_cast<Py_ssize_t>(operands.size())));
    if (!given)
        return;
    Py_ssize_t place = 0;
    for (PyObject* operand : operands) {
        Py_INCREF(operand);
        PyTuple_SetItem(given.get(), place++, operand);
    }
    const owned_ref none(
        PyObject_CallFunctionObjArgs(callbacks().annotate, failure, given.get(), nullptr));
}

} // namespace

PyObject* tuple_of(std::initializer_list<PyObject*> items)
{
    owned_ref tuple(PyTuple_New(static_cast<Py_ssize_t>(items.size())));
    Py_ssize_t place = 0;
    bool complete = static_cast<bool>(tuple);
    for (PyObject* item : items) {
        complete = complete && item != nullptr;
        if (tuple && item != nullptr)
            PyTuple_SetItem(tuple.get(), place++, item);
        else
            Py_XDECREF(item);
    }
    return complete ? tuple.release() : nullptr;
}

stack_shape stack_of(const operand& a, const char* function)
{
    const shape_list& shape = a.shape();
    if (shape.size() < 2)
        binding::fail(PyExc_ValueError, std::string(function) +
                                            " takes a matrix or a stack of them, not a tensor of"
                                            " rank " +
                                            std::to_string(shape.size()));
    shape_list lead(shape.begin(), shape.end() - 2);
    const std::size_t count = detail::element_count(lead);
    return {
        .lead = std::move(lead), .rows = shape.end()[-2], .cols = shape.end()[-1], .count = count};
}

stack_shape square_stack_of(const operand& a, const char* function)
{
    stack_shape of = stack_of(a, function);
    if (of.rows != of.cols)
        binding::fail(PyExc_ValueError, std::string(function) +
                                            " takes square matrices, not shape " +
                                            detail::shape_text(a.shape()));
    return of;
}

PyObject* pair_of(PyObject* first, PyObject* second)
{
    return tuple_of({first, second});
}

PyObject* triple_of(PyObject* first, PyObject* second, PyObject* third)
{
    return tuple_of({first, second, third});
}

__attribute__((no_sanitize("null"))) PyObject*
translated_failure(std::initializer_list<PyObject*> operands, const shape_list& lead)
{
    std::optional<std::string> place;
    try {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const stack_error& failure) {
        if (!lead.empty())
            place = place_text(failure.index(), lead);
        try {
            std::rethrow_exception(failure.cause());
        } catch (...) {
            binding::set_cpp_error(boundary::marlinth_module_error());
        }
    } catch (...) {
        binding::set_cpp_error(boundary::marlinth_module_error());
    }
    if (PyErr_ExceptionMatches(boundary::marlinth_module_error()) != 0) {
        const pending_exception failure;
        annotate(failure.get(), operands);
        PyErr_Clear();
        if (place)
            add_place(failure.get(), *place);
    }
    return nullptr;
}

} // namespace numerical::package
