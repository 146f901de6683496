#pragma once

// The elements of a tensor. They are written once, as a vector, and only read from then on, so that
// several tensors may share them. A store is the sole owner of its vector until it is first shared;
// most never are, and need no count of owners.

#include "numerical/aligned_vector.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <utility>

namespace numerical {

template <class T>
class element_store
{
public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    element_store() = default;

    // Takes the vector over.
    element_store(aligned_vector<T> elements)
        : own(std::move(elements)), first(own.data()), count(own.size())
    {
    }

    element_store(std::initializer_list<T> elements) : element_store(aligned_vector<T>(elements)) {}

    // A vector of its own: what is shared is shared by part() alone.
    element_store(const element_store& other)
        : element_store(detail::copy_of(other.first, other.count))
    {
    }

    element_store(element_store&& other) noexcept
        : own(std::move(other.own)), shared(std::move(other.shared)),
          first(std::exchange(other.first, nullptr)), count(std::exchange(other.count, 0))
    {
    }

    // By value, for copies and moves alike.
    element_store& operator=(element_store other) noexcept
    {
        own = std::move(other.own);
        shared = std::move(other.shared);
        first = std::exchange(other.first, nullptr);
        count = std::exchange(other.count, 0);
        return *this;
    }

    // A copy, for functions that keep or change a vector.
    operator aligned_vector<T>() const { return detail::copy_of(first, count); }

    // The `length` elements from place `from` on, in a store that shares them. Two threads must not
    // call this on one store at the same time; others may read its elements meanwhile.
    element_store part(std::size_t from, std::size_t length) const
    {
        if (!shared)
            shared = std::make_shared<const aligned_vector<T>>(std::move(own));
        element_store out;
        out.shared = shared;
        out.first = first + from;
        out.count = length;
        return out;
    }

    // The number of elements that this store keeps in memory: more than its own if it is a part of
    // another.
    std::size_t held() const { return shared ? shared->size() : own.size(); }

    std::size_t size() const { return count; }

    bool empty() const { return count == 0; }

    // May be written to before the elements are shared or lent, never after.
    T* data() { return first; }

    const T* data() const { return first; }

    iterator begin() { return first; }

    iterator end() { return first + count; }

    const_iterator begin() const { return first; }

    const_iterator end() const { return first + count; }

    T& operator[](std::size_t i) { return first[i]; }

    const T& operator[](std::size_t i) const { return first[i]; }

    T& front() { return first[0]; }

    const T& front() const { return first[0]; }

    T& back() { return first[count - 1]; }

    const T& back() const { return first[count - 1]; }

    friend bool operator==(const element_store& a, const element_store& b)
    {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    mutable aligned_vector<T> own; // empty once shared
    mutable std::shared_ptr<const aligned_vector<T>> shared;
    T* first = nullptr;
    std::size_t count = 0;
};

} // namespace numerical
