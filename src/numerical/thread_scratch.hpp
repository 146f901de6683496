#pragma once

// Scratch for tiles, apart from the stack: a caller's thread may have as little as 64 KiB of that.

#include "numerical/counts.hpp"
#include "numerical/storage.hpp"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace numerical::detail {

// Elements of any value, for the length of a scope. Each thread keeps its largest scratch for
// reuse, so that only the first one and larger ones allocate; a second scratch that is made on the
// same thread while the first one is in use allocates its own. `Use` names a scratch that is kept
// apart, for what runs inside of many scopes. Meant for tiles of at most some hundred KiB.
template <class T, class Use = void>
class thread_scratch
{
public:
    explicit thread_scratch(std::size_t count) : home(kept()), buffer(std::exchange(home, {}))
    {
        const std::size_t need = count + line_elements<T>;
        if (buffer.size() < need)
            buffer = uninitialized<T>(need);
    }

    thread_scratch(const thread_scratch&) = delete;
    thread_scratch& operator=(const thread_scratch&) = delete;

    ~thread_scratch() { home = std::move(buffer); }

    // On a line of 64 bytes.
    T* data()
    {
        const auto address = reinterpret_cast<std::uintptr_t>(buffer.data());
        return reinterpret_cast<T*>((address + line_bytes - 1) & ~(line_bytes - 1));
    }

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
