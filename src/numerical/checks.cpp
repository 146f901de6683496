#include "numerical/checks.hpp"

#include "numerical/errors.hpp"

namespace numerical::detail {

void throw_product_overflow()
{
    throw dimension_error("dimension product overflows std::size_t");
}

std::size_t element_count(const shape_list& shape)
{
    std::size_t count = 1;
    for (std::size_t axis = shape.size(); axis-- > 0;)
        count = checked_mul(count, shape[axis]);
    return count;
}

std::string shape_text(const shape_list& shape)
{
    std::string text = "(";
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        if (axis != 0)
            text += ", ";
        text += std::to_string(shape[axis]);
    }
    text += shape.size() == 1 ? ",)" : ")";
    return text;
}

} // namespace numerical::detail
