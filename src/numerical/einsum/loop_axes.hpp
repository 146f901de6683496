#pragma once

// Loops over the labelled axes of one operand, or of two together. An axis has an extent and, for
// each operand, a stride in elements, 0 where the operand lacks the label. Axes that are contiguous
// in every operand are joined, so that loops are few and long.

#include "numerical/einsum/subscripts.hpp"

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace numerical::detail {

template <std::size_t N>
using offsets = std::array<std::size_t, N>;

template <std::size_t N>
struct loop_axis
{
    std::size_t extent;
    offsets<N> stride;
};

// The stride of each label in a dense row-major block with axes labelled `labels`. A label that
// occurs twice gets the sum of both strides, which steps along the diagonal.
class label_strides
{
public:
    label_strides(std::string_view labels, const label_extents& extents)
    {
        std::size_t running = 1;
        for (std::size_t axis = labels.size(); axis-- > 0;) {
            strides[slot_of(labels[axis])] += running;
            running *= extents[labels[axis]];
        }
    }

    std::size_t operator[](char label) const { return strides[slot_of(label)]; }

private:
    std::array<std::size_t, label_slots> strides{};
};

// The axes of `labels` in that order, without those of extent 1, neighbours joined where every
// operand allows it. No extent may be 0.
template <std::size_t N>
std::vector<loop_axis<N>> loop_axes(std::string_view labels,
                                    const std::array<label_strides, N>& strides,
                                    const label_extents& extents)
{
    std::vector<loop_axis<N>> axes;
    axes.reserve(labels.size());
    for (const char label : labels) {
        loop_axis<N> axis{extents[label], {}};
        if (axis.extent == 1)
            continue;
        bool joins = !axes.empty();
        for (std::size_t i = 0; i < N; ++i) {
            axis.stride[i] = strides[i][label];
            joins = joins && axes.back().stride[i] == axis.stride[i] * axis.extent;
        }
        if (joins)
            axes.back() = {axes.back().extent * axis.extent, axis.stride};
        else
            axes.push_back(axis);
    }
    return axes;
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
void for_each_position(std::span<const loop_axis<N>> axes, offsets<N> at, const F& visit)
{
    if (axes.empty()) {
        visit(at);
        return;
    }
    const loop_axis<N>& axis = axes.front();
    for (std::size_t i = 0; i < axis.extent; ++i) {
        if (axes.size() == 1)
            visit(at);
        else
            for_each_position(axes.subspan(1), at, visit);
        at = advanced<N>(at, axis.stride);
    }
}

} // namespace numerical::detail
