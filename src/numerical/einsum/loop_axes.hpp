#pragma once

// The labelled axes of one operand, or of two together, as strided axes: the stride of an operand
// is 0 where it lacks the label.

#include "numerical/einsum/subscripts.hpp"
#include "numerical/strided/axes.hpp"

#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace numerical::detail {

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
std::vector<strided_axis<N>> loop_axes(std::string_view labels,
                                       const std::array<label_strides, N>& strides,
                                       const label_extents& extents)
{
    std::vector<strided_axis<N>> axes;
    axes.reserve(labels.size());
    for (const char label : labels) {
        strided_axis<N> axis{extents[label], {}};
        for (std::size_t i = 0; i < N; ++i)
            axis.stride[i] = strides[i][label];
        append_axis<N>(axes, axis);
    }
    return axes;
}

} // namespace numerical::detail
