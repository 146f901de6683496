#include "numerical/stacks/matrix_stack.hpp"

#include "numerical/checks.hpp"
#include "numerical/strided/broadcast.hpp"

namespace numerical {
namespace {

// The offsets of all places in the order of the stack, axis by axis: each place so far is repeated
// for every step along the next axis.
std::vector<std::size_t> offsets_of(const shape_list& strides, const shape_list& stack,
                                    std::size_t elements)
{
    std::vector<std::size_t> offsets{0};
    for (std::size_t axis = 0; axis < stack.size(); ++axis) {
        std::vector<std::size_t> finer;
        finer.reserve(offsets.size() * stack[axis]);
        for (const std::size_t offset : offsets)
            for (std::size_t i = 0; i < stack[axis]; ++i)
                finer.push_back(offset + i * strides[axis] * elements);
        offsets = std::move(finer);
    }
    return offsets;
}

} // namespace

stack_places::stack_places(const shape_list& own, const shape_list& stack, std::size_t elements)
    : step(elements)
{
    const std::size_t own_count = detail::element_count(own);
    const std::size_t count = detail::element_count(stack);
    if (own_count == count)
        return;
    if (own_count == 1)
        step = 0;
    else if (count != 0)
        offsets = offsets_of(detail::broadcast_strides(own, stack.size()), stack, elements);
}

} // namespace numerical
