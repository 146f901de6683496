#include "package/masks.hpp"

#include "numerical/elementwise/masks.hpp"
#include "package/unlocked.hpp"

#include <utility>

namespace numerical::package {

boolean_operand booleans_of(PyObject* object)
{
    if (const booleans* kept = booleans_in(object))
        return boolean_operand(*kept);
    const operand a(object);
    return std::visit(
        [](const auto& x) {
            return boolean_operand(unlocked(x.data.size(), [&] { return boolean_of(x); }));
        },
        a.value());
}

std::optional<boolean_operand> mask_of(PyObject* object)
{
    if (const booleans* kept = booleans_in(object))
        return boolean_operand(*kept);
    const operand a(object);
    if (a.is_complex())
        return std::nullopt;
    const auto& x = a.as<double>();
    std::optional<booleans> mask = unlocked(x.data.size(), [&] { return booleans_of_mask(x); });
    if (!mask)
        return std::nullopt;
    return boolean_operand(std::move(*mask));
}

PyObject* boolean_or_mask(booleans&& mask)
{
    return mask.shape.empty() ? PyBool_FromLong(mask.data[0]) : boundary::wrap(std::move(mask));
}

} // namespace numerical::package
