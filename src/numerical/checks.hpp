#pragma once

// Checks that all numerical code shares. Their messages are part of the interface.

#include "numerical/matrix.hpp"
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

// non_finite_error, prefix + ": the matrix holds an infinite or NaN entry", if any entry is.
template <class T>
void require_finite(const matrix<T>& a, const char* prefix);

// The same over the lower triangle of a square matrix; elements above the diagonal aren't read.
template <class T>
void require_finite_lower(const matrix<T>& a, const char* prefix);

} // namespace numerical::detail
