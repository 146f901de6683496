#pragma once

// One step of a real panel whose columns are contiguous: a pass over the columns applies a
// reflector to each and forms its dot with the next reflector.

#include <cstddef>

namespace numerical::detail {

// What a pass does to each of `count` columns y, `stride` apart, with `length` elements and a
// factor of its own:
//
//     y += factor·u         fused in the vector forms
//     dot = v·y             in the order of dot.hpp
//
// So the results have the bits of scaled_add and dot, column by column.
struct reflected_dots_pass
{
    double* columns;
    std::size_t stride;
    std::size_t count;
    std::size_t length;
    const double* factors;
    const double* u;
    const double* v;
    double* dots;
};

void avx2_reflected_dots(const reflected_dots_pass& pass);
void avx512_reflected_dots(const reflected_dots_pass& pass);

// The portable form; nothing is fused.
void reflected_dots(const reflected_dots_pass& pass);

// The kernel of the current path.
void reflected_dots_on(int path, const reflected_dots_pass& pass);

} // namespace numerical::detail
