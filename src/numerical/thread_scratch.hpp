#pragma once

// Scratch for tiles, apart from the stack: a caller's thread may have as little as 64 KiB of that.

#include "numerical/storage.hpp"

#include <cstddef>
#include <utility>
#include <vector>

namespace numerical::detail {

// Elements of any value, for the length of a scope. They are taken from what the thread keeps and
// given back, so that only a thread's first and its larger ones allocate; a second one, made on the
// same thread while this one is there, finds nothing kept and makes its own. Meant for tiles of at
// most some dozens of KiB, as each thread keeps its largest.
template <class T>
class thread_scratch
{
public:
    explicit thread_scratch(std::size_t count) : home(kept()), buffer(std::exchange(home, {}))
    {
        if (buffer.size() < count)
            buffer = uninitialized<T>(count);
    }

    thread_scratch(const thread_scratch&) = delete;
    thread_scratch& operator=(const thread_scratch&) = delete;

    ~thread_scratch() { home = std::move(buffer); }

    T* data() { return buffer.data(); }

private:
    std::vector<T>& home;
    std::vector<T> buffer;

    static std::vector<T>& kept()
    {
        static thread_local std::vector<T> vector;
        return vector;
    }
};

} // namespace numerical::detail
