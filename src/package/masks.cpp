#include "package/masks.hpp"

#include "numerical/elementwise/masks.hpp"
#include "package/unlocked.hpp"

#include <utility>

namespace numerical::package {

truth_operand truths_of(PyObject* object)
{
    if (const truths* kept = truths_in(object))
        return truth_operand(*kept);
    const operand a(object);
    return std::visit(
        [](const auto& x) {
            return truth_operand(unlocked(x.data.size(), [&] { return truth_of(x); }));
        },
        a.value());
}

std::optional<truth_operand> mask_of(PyObject* object)
{
    if (const truths* kept = truths_in(object))
        return truth_operand(*kept);
    const operand a(object);
    if (a.is_complex())
        return std::nullopt;
    const auto& x = a.as<double>();
    std::optional<truths> mask = unlocked(x.data.size(), [&] { return truths_of_mask(x); });
    if (!mask)
        return std::nullopt;
    return truth_operand(std::move(*mask));
}

PyObject* truth_or_mask(truths&& mask)
{
    return mask.shape.empty() ? PyBool_FromLong(mask.data[0]) : boundary::wrap(std::move(mask));
}

} // namespace numerical::package
