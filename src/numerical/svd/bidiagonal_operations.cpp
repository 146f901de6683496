#include "numerical/svd/bidiagonal_operations.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

std::shared_ptr<row_operations> block_of(std::size_t size)
{
    return std::make_shared<row_operations>(uninitialized<row_operation>(size));
}

} // namespace

bidiagonal_operations::bidiagonal_operations(std::shared_ptr<row_operations> shared,
                                             std::size_t from, std::size_t room)
    : block(std::move(shared)), first(block->data() + from), half(room)
{
}

bidiagonal_operations::bidiagonal_operations(std::size_t room)
    : bidiagonal_operations(block_of(2 * room), 0, room)
{
}

std::pair<bidiagonal_operations, bidiagonal_operations>
bidiagonal_operations::pair_with_room(std::size_t of_first, std::size_t of_second)
{
    const auto shared = block_of(2 * (of_first + of_second));
    return {bidiagonal_operations(shared, 0, of_first),
            bidiagonal_operations(shared, 2 * of_first, of_second)};
}

void bidiagonal_operations::make_room(std::size_t more)
{
    const std::size_t longer = std::max(left_count, right_count);
    if (half - longer >= more)
        return;
    bidiagonal_operations larger(2 * (longer + more));
    for (const row_operation& operation : left_operations())
        larger.add_left(operation);
    for (const row_operation& operation : right_operations())
        larger.add_right(operation);
    *this = std::move(larger);
}

} // namespace numerical::detail
