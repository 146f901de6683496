#pragma once

// The loops over several strided operands at a time. An axis has an extent and a stride for each
// operand, 0 where the operand is repeated. Axes that are contiguous in every operand are joined,
// so that loops are few and long. Strides count modulo 2^64, so that they may be negative.

#include <array>
#include <cstddef>
#include <span>

namespace numerical::detail {

template <std::size_t N>
using offsets = std::array<std::size_t, N>;

template <std::size_t N>
struct strided_axis
{
    std::size_t extent;
    offsets<N> stride;
};

// Adds an axis inside of those that the list holds: not at all for extent 1, and as part of the
// last one where the two are contiguous.
template <std::size_t N, class List>
void append_axis(List& axes, const strided_axis<N>& axis)
{
    if (axis.extent == 1)
        return;
    bool joins = !axes.empty();
    for (std::size_t i = 0; i < N; ++i)
        joins = joins && axes.back().stride[i] == axis.stride[i] * axis.extent;
    if (joins)
        axes.back() = {axes.back().extent * axis.extent, axis.stride};
    else
        axes.push_back(axis);
}

template <std::size_t N>
offsets<N> advanced(offsets<N> at, const offsets<N>& by, std::size_t times = 1)
{
    for (std::size_t i = 0; i < N; ++i)
        at[i] += by[i] * times;
    return at;
}

// visit(offsets) for each position of the axes in row-major order, the offsets counted from `at`.
template <std::size_t N, class F>
void for_each_position(std::span<const strided_axis<N>> axes, offsets<N> at, const F& visit)
{
    if (axes.empty()) {
        visit(at);
        return;
    }
    const strided_axis<N>& axis = axes.front();
    for (std::size_t i = 0; i < axis.extent; ++i) {
        if (axes.size() == 1)
            visit(at);
        else
            for_each_position(axes.subspan(1), at, visit);
        at = advanced<N>(at, axis.stride);
    }
}

} // namespace numerical::detail
