#include "module/kept_truths.hpp"

#include "binding/class.hpp"
#include "numerical/elementwise/masks.hpp"

#include <memory>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

namespace binding = marlinth::binding;

// The only source there is of a Tensor's value.
struct kept_truths final : binding::value_source<any_tensor>
{
    truths kept;

    explicit kept_truths(truths&& value) : kept(std::move(value)) {}

    any_tensor value() const override { return numbers_of(kept); }
};

} // namespace

const truths* truths_in(PyObject* object)
{
    if (!binding::is_instance<any_tensor>(object))
        return nullptr;
    const auto* source = binding::object_of<any_tensor>(object)->source;
    return source != nullptr ? &static_cast<const kept_truths*>(source)->kept : nullptr;
}

std::size_t bytes_of_elements(PyObject* tensor)
{
    const truths* kept = truths_in(tensor);
    const any_tensor* numbers = binding::object_of<any_tensor>(tensor)->wrapped;
    const auto bytes = [](const auto& a) { return a.data.size() * sizeof a.data[0]; };
    return (kept != nullptr ? sizeof *kept + bytes(*kept) : 0) +
           (numbers != nullptr ? std::visit(bytes, *numbers) : 0);
}

PyObject* wrap(truths&& value)
{
    return binding::class_make_from<any_tensor>(std::make_unique<kept_truths>(std::move(value)));
}

} // namespace numerical::boundary
