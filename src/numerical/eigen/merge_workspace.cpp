#include "numerical/eigen/merge_workspace.hpp"

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t stretch = 32768; // elements that one index touches
constexpr std::size_t most_kept = (std::size_t{32} << 20) / sizeof(double); // elements

struct memory_block
{
    std::unique_ptr<double[]> data;
    std::size_t capacity = 0;
};

// Blocks that buffers have left, the largest first and empty ones last.
class kept_blocks
{
public:
    // The largest, which a buffer that begins small won't outgrow, or an empty block if it has
    // fewer than `size` elements.
    memory_block take(std::size_t size)
    {
        if (blocks[0].capacity < size)
            return {};
        memory_block taken = std::exchange(blocks[0], {});
        std::rotate(blocks.begin(), blocks.begin() + 1, blocks.end());
        return taken;
    }

    // The smallest ones make room.
    void give(memory_block left)
    {
        if (left.capacity > most_kept)
            return;
        const auto larger = [](const memory_block& a, const memory_block& b) {
            return a.capacity > b.capacity;
        };
        if (larger(left, blocks.back()))
            blocks.back() = std::move(left);
        std::sort(blocks.begin(), blocks.end(), larger);
        for (std::size_t last = blocks.size(); elements() > most_kept; --last)
            blocks[last - 1] = {};
    }

    std::size_t elements() const
    {
        std::size_t sum = 0;
        for (const memory_block& block : blocks)
            sum += block.capacity;
        return sum;
    }

private:
    std::array<memory_block, 3> blocks; // as many as a recursion has buffers
};

kept_blocks& kept()
{
    static thread_local kept_blocks of_thread;
    return of_thread;
}

} // namespace

workspace_buffer::~workspace_buffer()
{
    kept().give({std::move(data), capacity});
}

double* workspace_of(workspace_buffer& buffer, std::size_t size)
{
    if (buffer.capacity >= size)
        return buffer.data.get();
    buffer.data.reset(); // the old contents are not wanted: never hold both
    buffer.capacity = 0;
    if (memory_block block = kept().take(size); block.data) {
        buffer.data = std::move(block.data);
        buffer.capacity = block.capacity;
        return buffer.data.get();
    }
    buffer.data.reset(new double[size]);
    buffer.capacity = size;
    double* const data = buffer.data.get();
    advise_huge_pages(data, size * sizeof(double));
    const auto touch_stretch = [=](std::size_t i) {
        std::fill(data + i * stretch, data + std::min((i + 1) * stretch, size), 0.0);
    };
    parallel_for(ceil_div(size, stretch), stretch, touch_stretch);
    return data;
}

std::size_t kept_workspace_bytes()
{
    return kept().elements() * sizeof(double);
}

} // namespace numerical::detail
