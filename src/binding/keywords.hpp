#pragma once

// Functions that take keywords: what the parser needs at each call, made at registration.

#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/errors.hpp"
#include "binding/python.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace marlinth::binding {

// The number of the module's current or last initialization, from 1 on.
std::uint64_t& registration_epoch();

enum presence { required, optional };

// One parameter, in the order of the function.
struct keyword
{
    const char* name;
    presence given;
    PyObject* value; // the default: an owned reference, null if it could not be made
};

// One for each function with keywords, never destroyed, as other threads may call the function
// while exit() destroys statics. `defaults` owns its references until the process ends, when there
// is no interpreter left to release them.
struct kw_spec
{
    std::vector<const char*> names; // ended by a null entry
    std::string format;
    std::vector<PyObject*> defaults; // null for a required parameter
    bool optional_seen = false;
    std::uint64_t epoch = 0; // registration_epoch() at registration, 0 for never

    // Takes over the defaults. Twice in one initialization is a SystemError: the first function
    // registered would be called with the parameters of the second.
    void define(const char* function_name, std::initializer_list<keyword> parameters);

private:
    void clear();
    void append(const keyword& parameter);
};

template <auto F>
kw_spec& kw_spec_for()
{
    static kw_spec& spec = *new kw_spec;
    return spec;
}

template <class R, class... P, std::size_t... I>
std::optional<R> parse_and_call(R (*function)(P...), const kw_spec& spec, PyObject* args,
                                PyObject* kwargs, std::index_sequence<I...>)
{
    constexpr std::size_t last = sizeof...(P) - 1;
    std::array<PyObject*, sizeof...(P)> objects{};
    if (!parse_keywords(args, kwargs, spec.format.c_str(), spec.names.data(), &objects[I]...))
        return std::nullopt;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (objects[i] == nullptr)
            objects[i] = spec.defaults[i];
        if (objects[i] == nullptr) {
            PyErr_NoMemory(); // the default could not be made at registration
            return std::nullopt;
        }
    }
    std::tuple<caster_of<P>...> in;
    (std::get<last - I>(in).load(objects[last - I]), ...); // the order of all conversions
    return function(std::get<I>(in).get()...);
}

// F by its spec; empty with the error set if the arguments don't parse.
template <auto F, class R, class... P>
std::optional<R> call_with_keywords(R (*function)(P...), PyObject* args, PyObject* kwargs)
{
    return parse_and_call(function, kw_spec_for<F>(), args, kwargs,
                          std::index_sequence_for<P...>());
}

template <class T>
PyObject* refuse_second_init()
{
    return PyErr_Format(PyExc_TypeError, "%s cannot be re-initialized", class_name<T>());
}

// Py_tp_init around a factory F that returns a T, with the parameters of kw_spec_for<F>.
template <class T, auto Err, auto F>
int class_init(PyObject* self, PyObject* args, PyObject* kwargs)
{
    const auto initialize = [&]() -> PyObject* {
        if (is_initialized<T>(self))
            return refuse_second_init<T>();
        std::optional<T> value = call_with_keywords<F>(F, args, kwargs);
        if (!value)
            return nullptr;
        // The factory may have run Python code that called this function.
        if (is_initialized<T>(self))
            return refuse_second_init<T>();
        class_emplace<T>(self, std::move(*value));
        return self;
    };
    return translated(Err, initialize) != nullptr ? 0 : -1;
}

} // namespace marlinth::binding
