// A module made with the framework of src/binding, for what the package's own module never does:
// classes that can't be made from Python, a value whose class isn't registered, defaults that could
// not be made, functions that throw anything or give nothing.

#include "binding/call.hpp"
#include "binding/keywords.hpp"
#include "binding/owned_ref.hpp"

#include <iterator>
#include <new>
#include <stdexcept>
#include <variant>

namespace {

using namespace marlinth::binding;

PyObject* failure = nullptr;

PyObject* error_of_probe()
{
    return failure;
}

// --- classes -------------------------------------------------------------------------------------

struct pair_of_values // made by a factory with keywords
{
    int first;
    unsigned long second;
};

struct sealed // without a constructor
{
    int value;
};

struct broken // with a default that could not be made
{
};

struct unregistered
{
};

pair_of_values make_pair_of_values(int first, unsigned long second, const std::string& word)
{
    if (word == "wrong")
        throw std::domain_error("the word is wrong");
    return {first, second};
}

broken make_broken(PyObject*, std::optional<PyObject*>)
{
    return {};
}

PyObject* first_of(const pair_of_values& value)
{
    return PyLong_FromLong(value.first);
}

PyObject* second_of(const pair_of_values& value)
{
    return PyLong_FromUnsignedLong(value.second);
}

PyObject* lost(const pair_of_values&)
{
    PyErr_SetString(PyExc_LookupError, "nothing to give");
    return nullptr;
}

int sum_with(const pair_of_values& value, int a, int b)
{
    return value.first + a + b;
}

PyObject* sealed_text(PyObject* self)
{
    return PyUnicode_FromFormat("sealed %d", class_unwrap<sealed>(self).value);
}

Py_hash_t sealed_hash(PyObject* self)
{
    return class_unwrap<sealed>(self).value;
}

PyObject* compare_sealed(PyObject* self, PyObject* other, int operation)
{
    const bool equal = class_unwrap<sealed>(self).value == class_unwrap<sealed>(other).value;
    return PyBool_FromLong(operation == Py_EQ ? equal : !equal);
}

// --- functions -----------------------------------------------------------------------------------

sealed make_sealed(int value)
{
    return {value};
}

unregistered make_unregistered()
{
    return {};
}

std::tuple<int, sealed, unregistered> make_three()
{
    return {1, {2}, {}};
}

int same_int(int x)
{
    return x;
}

unsigned long same_unsigned(unsigned long x)
{
    return x;
}

PyObject* short_name_of(const std::string& dotted)
{
    return PyUnicode_FromString(short_name(dotted.c_str()));
}

bool is_none(std::optional<PyObject*> x)
{
    return !x.has_value();
}

PyObject* same_object(PyObject* x)
{
    Py_INCREF(x);
    return x;
}

void nothing() {}

void throw_as_told(const std::string& what)
{
    if (what == "bad_alloc")
        throw std::bad_alloc();
    if (what == "length_error")
        throw std::length_error("too long");
    if (what == "cast_error")
        throw cast_error("no cast");
    if (what == "number")
        throw 7;
    if (what == "variant")
        std::get<1>(std::variant<int, double>(3));
    if (what == "pending") {
        PyErr_SetString(PyExc_KeyError, "pending");
        throw error_already_set();
    }
}

void define_pair_again()
{
    kw_spec_for<make_pair_of_values>().define("probe.Pair", {{"first", required, nullptr}});
    if (PyErr_Occurred() != nullptr)
        throw error_already_set();
}

template <auto F>
PyMethodDef function(const char* name)
{
    return {name, call_wrapper<error_of_probe, F>, METH_VARARGS, nullptr};
}

PyMethodDef functions[] = {function<make_sealed>("sealed"),
                           function<make_unregistered>("unregistered"),
                           function<make_three>("three"),
                           function<same_int>("same_int"),
                           function<same_unsigned>("same_unsigned"),
                           function<short_name_of>("short_name"),
                           function<is_none>("is_none"),
                           function<same_object>("same_object"),
                           function<nothing>("nothing"),
                           function<throw_as_told>("throw"),
                           function<define_pair_again>("define_pair_again"),
                           {}};

template <auto G>
PyGetSetDef property(const char* name)
{
    return {name, property_getter<pair_of_values, error_of_probe, G>, nullptr, nullptr, nullptr};
}

void add_classes(PyObject* module)
{
    class_<pair_of_values> pairs(module,
                                 class_init<pair_of_values, error_of_probe, make_pair_of_values>);
    class_name<pair_of_values>() = "probe.Pair";
    kw_spec_for<make_pair_of_values>().define(class_name<pair_of_values>(),
                                              {{"first", required, nullptr},
                                               {"second", optional, PyLong_FromLong(5)},
                                               {"word", optional, PyUnicode_FromString("right")}});
    class_getsets<pair_of_values>() = {property<first_of>("first"), property<second_of>("second"),
                                       property<lost>("lost")};
    class_methods<pair_of_values>().push_back(
        {"sum_with", call_method<pair_of_values, error_of_probe, sum_with>, METH_VARARGS, nullptr});

    class_<sealed> sealed_class(module, nullptr);
    class_name<sealed>() = "probe.Sealed";
    sealed_class.repr = sealed_text;
    sealed_class.hash = sealed_hash;
    sealed_class.richcompare = compare_sealed;

    class_<broken> broken_class(module, class_init<broken, error_of_probe, make_broken>);
    class_name<broken>() = "probe.Broken";
    kw_spec_for<make_broken>().define(class_name<broken>(),
                                      {{"given", required, nullptr}, {"lost", optional, nullptr}});
    // The builders finish the classes when they leave.
}

PyModuleDef definition = {PyModuleDef_HEAD_INIT,
                          "_binding_probe",
                          nullptr,
                          -1,
                          functions,
                          nullptr,
                          nullptr,
                          nullptr,
                          nullptr};

} // namespace

PyMODINIT_FUNC PyInit__binding_probe()
{
    owned_ref module(PyModule_Create2(&definition, 3));
    failure = PyErr_NewException("probe.error", nullptr, nullptr);
    if (!module || failure == nullptr || PyModule_AddObjectRef(module.get(), "error", failure) < 0)
        return nullptr;
    ++registration_epoch();
    add_classes(module.get());
    return PyErr_Occurred() == nullptr ? module.release() : nullptr;
}
