#pragma once

#include <cstring>
#include <type_traits>

namespace numerical::detail {

// The bits of an element in one register: the compiler would move the parts of a complex number one
// by one.
template <class T>
struct element_bits
{
    using pair [[gnu::vector_size(16)]] = double;
    std::conditional_t<std::is_same_v<T, double>, double, pair> value;

    explicit element_bits(const T& from) { std::memcpy(&value, &from, sizeof(T)); }

    void store(T* to) const { std::memcpy(static_cast<void*>(to), &value, sizeof(T)); }
};

} // namespace numerical::detail
