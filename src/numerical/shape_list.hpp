#pragma once

// Extents, strides or places, one number for each axis of a tensor. At the usual ranks the numbers
// lie in the object itself: a tensor has two such lists, and memory from the heap for each of them
// costs more than the arithmetic of a small tensor. Otherwise it behaves like std::vector, from and
// to which it converts.

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace numerical {

class shape_list
{
public:
    using value_type = std::size_t;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = std::size_t&;
    using const_reference = const std::size_t&;
    using iterator = std::size_t*;
    using const_iterator = const std::size_t*;
    using reverse_iterator = std::reverse_iterator<iterator>;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;

    shape_list() = default;

    explicit shape_list(std::size_t length, std::size_t value = 0) { assign(length, value); }

    shape_list(std::initializer_list<std::size_t> values) : shape_list(values.begin(), values.end())
    {
    }

    shape_list(const std::vector<std::size_t>& values) : shape_list(values.begin(), values.end()) {}

    template <std::forward_iterator Iterator>
    shape_list(Iterator from, Iterator to)
    {
        set_length(static_cast<std::size_t>(std::distance(from, to)));
        std::copy(from, to, begin());
    }

    shape_list(const shape_list& other) : shape_list(other.begin(), other.end()) {}

    shape_list(shape_list&& other) noexcept
        : few(other.few), many(std::move(other.many)), room(std::exchange(other.room, few.size())),
          count(std::exchange(other.count, 0))
    {
    }

    // By value, for copies and moves alike.
    shape_list& operator=(shape_list other) noexcept
    {
        few = other.few;
        many = std::move(other.many);
        room = std::exchange(other.room, few.size());
        count = std::exchange(other.count, 0);
        return *this;
    }

    operator std::vector<std::size_t>() const { return {begin(), end()}; }

    std::size_t size() const { return count; }

    bool empty() const { return count == 0; }

    std::size_t* data() { return many ? many.get() : few.data(); }

    const std::size_t* data() const { return many ? many.get() : few.data(); }

    iterator begin() { return data(); }

    iterator end() { return data() + count; }

    const_iterator begin() const { return data(); }

    const_iterator end() const { return data() + count; }

    reverse_iterator rbegin() { return reverse_iterator(end()); }

    reverse_iterator rend() { return reverse_iterator(begin()); }

    const_reverse_iterator rbegin() const { return const_reverse_iterator(end()); }

    const_reverse_iterator rend() const { return const_reverse_iterator(begin()); }

    std::size_t& operator[](std::size_t i) { return data()[i]; }

    const std::size_t& operator[](std::size_t i) const { return data()[i]; }

    std::size_t& front() { return data()[0]; }

    const std::size_t& front() const { return data()[0]; }

    std::size_t& back() { return data()[count - 1]; }

    const std::size_t& back() const { return data()[count - 1]; }

    void reserve(std::size_t wanted)
    {
        if (wanted > room)
            move_to_heap(wanted);
    }

    // New places hold 0.
    void resize(std::size_t length)
    {
        const std::size_t before = count;
        set_length(length);
        if (before < length)
            std::fill(begin() + before, end(), std::size_t{0});
    }

    void assign(std::size_t length, std::size_t value)
    {
        set_length(length);
        std::fill(begin(), end(), value);
    }

    void clear() { count = 0; }

    void push_back(std::size_t value)
    {
        if (count == room)
            move_to_heap(2 * room);
        data()[count++] = value;
    }

    void pop_back() { --count; }

    iterator insert(const_iterator place, std::size_t value)
    {
        const std::initializer_list<std::size_t> one{value};
        return insert(place, one.begin(), one.end());
    }

    iterator insert(const_iterator place, std::initializer_list<std::size_t> values)
    {
        return insert(place, values.begin(), values.end());
    }

    // The values lie outside the list.
    template <std::forward_iterator Iterator>
    iterator insert(const_iterator place, Iterator from, Iterator to)
    {
        const std::ptrdiff_t at = place - data();
        const std::size_t before = count;
        set_length(count + static_cast<std::size_t>(std::distance(from, to)));
        std::copy_backward(begin() + at, begin() + before, end());
        std::copy(from, to, begin() + at);
        return begin() + at;
    }

    iterator erase(const_iterator place) { return erase(place, place + 1); }

    iterator erase(const_iterator from, const_iterator to)
    {
        const iterator hole = begin() + (from - data());
        std::copy(to, static_cast<const_iterator>(end()), hole);
        count -= static_cast<std::size_t>(to - from);
        return hole;
    }

    friend bool operator==(const shape_list& a, const shape_list& b)
    {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

private:
    std::array<std::size_t, 4> few{};
    std::unique_ptr<std::size_t[]> many; // in place of `few` once it was too short
    std::size_t room = few.size();
    std::size_t count = 0;

    // Room for that many numbers; those there are stay.
    void move_to_heap(std::size_t wanted);

    void set_length(std::size_t length)
    {
        reserve(length);
        count = length;
    }
};

} // namespace numerical
