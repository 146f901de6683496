#pragma once

#include "numerical/aligned_vector.hpp"

#include <array>
#include <cstddef>
#include <span>

namespace numerical::detail {

// A list whose greatest length is known when it is made, with one entry for each axis of a tensor.
// At the usual ranks it needs no heap memory, whose allocation would cost more than the work on it.
template <class T>
class short_list
{
public:
    explicit short_list(std::size_t room)
        : many(room > few.size() ? room : 0), first(many.empty() ? few.data() : many.data())
    {
    }

    short_list(const short_list&) = delete;
    short_list& operator=(const short_list&) = delete;

    void push_back(const T& value) { first[count++] = value; }

    std::size_t size() const { return count; }

    bool empty() const { return count == 0; }

    T& operator[](std::size_t i) { return first[i]; }

    const T& operator[](std::size_t i) const { return first[i]; }

    T& front() { return first[0]; }

    const T& front() const { return first[0]; }

    T& back() { return first[count - 1]; }

    const T& back() const { return first[count - 1]; }

    std::span<T> span() { return {first, count}; }

    std::span<const T> span() const { return {first, count}; }

private:
    std::array<T, 5> few;
    aligned_vector<T> many;
    T* first;
    std::size_t count = 0;
};

} // namespace numerical::detail
