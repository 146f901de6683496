#include "module/kept_booleans.hpp"

#include "binding/class.hpp"
#include "numerical/elementwise/masks.hpp"

#include <memory>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

namespace binding = marlinth::binding;

// The only source there is of a Tensor's value.
struct kept_booleans final : binding::value_source<any_tensor>
{
    booleans kept;

    explicit kept_booleans(booleans&& value) : kept(std::move(value)) {}

    any_tensor value() const override { return numbers_of(kept); }
};

} // namespace

const booleans* booleans_in(PyObject* object)
{
    if (!binding::is_instance<any_tensor>(object))
        return nullptr;
    const auto* source = binding::object_of<any_tensor>(object)->source;
    return source != nullptr ? &static_cast<const kept_booleans*>(source)->kept : nullptr;
}

std::size_t bytes_of_elements(PyObject* tensor)
{
    const booleans* kept = booleans_in(tensor);
    const any_tensor* numbers = binding::object_of<any_tensor>(tensor)->wrapped;
    const auto bytes = [](const auto& a) { return a.data.size() * sizeof a.data[0]; };
    return (kept != nullptr ? sizeof *kept + bytes(*kept) : 0) +
           (numbers != nullptr ? std::visit(bytes, *numbers) : 0);
}

PyObject* wrap(booleans&& value)
{
    return binding::class_make_from<any_tensor>(std::make_unique<kept_booleans>(std::move(value)));
}

} // namespace numerical::boundary
