#pragma once

// Scratch for tiles, apart from the stack: a caller's thread may have as little as 64 KiB of that.

#include "numerical/aligned_block.hpp"

#include <cstddef>
#include <utility>

namespace numerical::detail {

// Elements of any value, for the length of a scope. Each thread keeps its largest scratch for
// reuse, so that only the first one and larger ones allocate; a second scratch that is made on the
// same thread while the first one is in use allocates its own. `Use` names a scratch that is kept
// apart, for what runs inside of many scopes. Meant for tiles of at most some hundred KiB.
template <class T, class Use = void>
class thread_scratch
{
public:
    explicit thread_scratch(std::size_t count) : home(kept()), block(std::exchange(home, {}))
    {
        if (block.size() < count)
            block = aligned_block<T>(count);
    }

    thread_scratch(const thread_scratch&) = delete;
    thread_scratch& operator=(const thread_scratch&) = delete;

    ~thread_scratch() { home = std::move(block); }

    // On a line of 64 bytes, or on a huge page.
    T* data() { return block.data(); }

private:
    aligned_block<T>& home;
    aligned_block<T> block;

    static aligned_block<T>& kept()
    {
        static thread_local aligned_block<T> block_of_thread;
        return block_of_thread;
    }
};

} // namespace numerical::detail
