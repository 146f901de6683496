#pragma once

#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The stride of a matrix to compute in. Rows a multiple of 2 KiB apart fall into few cache sets:
// they get a stride that spreads them, all others none but their length.
template <class T>
constexpr std::size_t working_stride(std::size_t cols)
{
    return cols * sizeof(T) % 2048 == 0 ? spread_stride<T>(cols) : cols;
}

// A matrix with rows of that stride.
template <class T>
class spread_rows
{
public:
    spread_rows() = default;

    // Elements of any value.
    spread_rows(std::size_t row_count, std::size_t col_count)
        : rows(row_count), cols(col_count), store(uninitialized<T>(rows * working_stride<T>(cols)))
    {
    }

    block_view<T> view() { return {store.data(), rows, cols, working_stride<T>(cols)}; }

    block_view<const T> view() const { return {store.data(), rows, cols, working_stride<T>(cols)}; }

    void set_to_zero() { clear_new_block(store.data(), store.size() * sizeof(T)); }

private:
    std::size_t rows = 0;
    std::size_t cols = 0;
    std::vector<T> store;
};

} // namespace numerical::detail
