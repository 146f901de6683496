#pragma once

#include "numerical/aligned_block.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/block_view.hpp"

#include <array>
#include <cstddef>
#include <utility>

namespace numerical::detail {

// The stride of a matrix to compute in. Rows a multiple of 2 KiB apart fall into few cache sets:
// they get a stride that spreads them, all others none but their length.
template <class T>
constexpr std::size_t working_stride(std::size_t cols)
{
    return cols * sizeof(T) % 2048 == 0 ? spread_stride<T>(cols) : cols;
}

// A matrix to compute in, with rows of that stride. Its memory, from 64 KiB up to some MiB, is kept
// by the thread for the next one: given back at the end of each call, it would cost page faults at
// the next, as the C library returns the top of its heap to the system. A thread keeps two, as a
// solution needs them beside its factors.
template <class T>
class spread_rows
{
public:
    spread_rows() = default;

    // Elements of any value.
    spread_rows(std::size_t row_count, std::size_t col_count) : rows(row_count), cols(col_count)
    {
        if (elements() < least_kept || elements() > most_kept) {
            store = uninitialized<T>(elements());
            first = store.data();
        } else {
            block = block_of(elements());
            first = block.data();
        }
    }

    spread_rows(spread_rows&& other) noexcept { *this = std::move(other); }

    spread_rows& operator=(spread_rows&& other) noexcept
    {
        std::swap(rows, other.rows);
        std::swap(cols, other.cols);
        std::swap(first, other.first);
        std::swap(block, other.block);
        store.swap(other.store);
        return *this;
    }

    ~spread_rows()
    {
        if (block.size() == 0)
            return;
        if (aligned_block<T>& least = smallest_kept(); least.size() < block.size())
            std::swap(least, block);
    }

    block_view<T> view() { return {first, rows, cols, working_stride<T>(cols)}; }

    block_view<const T> view() const { return {first, rows, cols, working_stride<T>(cols)}; }

    void set_to_zero() { clear_new_block(first, elements() * sizeof(T)); }

private:
    static constexpr std::size_t least_kept = (std::size_t{1} << 16) / sizeof(T);
    static constexpr std::size_t most_kept = (std::size_t{9} << 18) / sizeof(T);
    std::size_t rows = 0;
    std::size_t cols = 0;
    T* first = nullptr;
    aligned_block<T> block;  // the memory of least_kept to most_kept elements
    aligned_vector<T> store; // that of fewer, for which the heap is faster, or more

    std::size_t elements() const { return rows * working_stride<T>(cols); }

    static std::array<aligned_block<T>, 2>& kept()
    {
        static thread_local std::array<aligned_block<T>, 2> blocks;
        return blocks;
    }

    static aligned_block<T>& smallest_kept()
    {
        auto& [one, other] = kept();
        return one.size() < other.size() ? one : other;
    }

    // A kept one that is large enough, or a new one.
    static aligned_block<T> block_of(std::size_t count)
    {
        for (aligned_block<T>& one : kept())
            if (count <= one.size() && one.size() != 0)
                return std::exchange(one, {});
        return aligned_block<T>(count);
    }
};

} // namespace numerical::detail
