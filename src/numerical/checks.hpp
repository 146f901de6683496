#pragma once

// Checked sizes of arrays, and shapes as text. The messages are part of the interface.

#include "numerical/shape_list.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace numerical::detail {

[[noreturn, gnu::cold]] void throw_product_overflow();

// a·b, or dimension_error "dimension product overflows std::size_t".
inline std::size_t checked_mul(std::size_t a, std::size_t b)
{
    std::size_t product = 0;
    if (__builtin_mul_overflow(a, b, &product))
        throw_product_overflow();
    return product;
}

// The product of the extents, formed from the last axis on, so that behind a zero nothing
// overflows; otherwise dimension_error "dimension product overflows std::size_t".
std::size_t element_count(const shape_list& shape);

// The shape as the text of a Python tuple: "()", "(3,)", "(2, 3)".
std::string shape_text(const shape_list& shape);

} // namespace numerical::detail
