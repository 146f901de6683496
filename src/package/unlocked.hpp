#pragma once

// Element-wise work without the interpreter lock. It is far less work for an element than a
// decomposition does, so that it takes more elements until giving the lock up pays: an operation
// takes a third of a nanosecond for each, to give the lock up and take it back about fifty.

#include "module/gil_release.hpp"
#include "numerical/tensor.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::package {

constexpr std::size_t unlocked_from = std::size_t{1} << 14; // elements

// compute(), which touches no Python object and raises no Python error, without the lock if there
// are enough elements.
template <class F>
auto unlocked(std::size_t elements, const F& compute)
{
    if (elements < unlocked_from)
        return compute();
    const boundary::gil_release released(true);
    return compute();
}

// The elements that an operation on two tensors touches, at most: broadcasting makes as many as
// the product from operands of different shapes.
template <class T, class U>
std::size_t touched(const tensor<T>& a, const tensor<U>& b)
{
    const bool broadcasts = a.data.size() != 1 && b.data.size() != 1 && a.shape != b.shape;
    return broadcasts ? a.data.size() * b.data.size() : std::max(a.data.size(), b.data.size());
}

} // namespace numerical::package
