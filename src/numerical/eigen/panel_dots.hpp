#pragma once

// Dots of one vector with many rows, by path.

#include <cstddef>

namespace numerical::detail {

// out[t] = rows[t]ᴴ·v for `count` rows of n elements, a stride apart.
template <class T>
void row_dots(int path, T* out, const T* v, const T* rows, std::size_t stride, std::size_t count,
              std::size_t n);

} // namespace numerical::detail
