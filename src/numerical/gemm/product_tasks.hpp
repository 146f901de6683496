#pragma once

// The tasks of a block of the packed product, and how they bring its operands into panels.
//
//                 panels of B, shared by all tasks
//     A    rows 0 to mr    the tiles that pack B, a group of panels in a task
//     v    the others      tasks of some rows, whose thread packs their A for itself
//
// An operand is packed by the tiles that use it first, which read it where it lies and write the
// panel on their way: the arithmetic hides what a loop of copies would wait for. Edge panels, and
// operands whose rows share the sets of a cache, are copied beforehand. Where few rows use B, a
// task packs the panels of its own columns, a group of them at a time.

#include "numerical/counts.hpp"
#include "numerical/gemm/packing.hpp"
#include "numerical/gemm/product_block.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// Below this many multiply-adds a second thread doesn't repay the start of a loop, not even where
// few columns leave the tiles half empty.
constexpr std::size_t serial_products = std::size_t{1} << 17;

// The work of a position's products for so many rows and columns of C, on the scale of
// parallel_for.
template <class Kernel>
std::size_t work_of_position(std::size_t rows, std::size_t cols)
{
    using tile_of = blocking<Kernel>;
    return Kernel::parts * tile_of::tile_work_16 * rows *
           ceil_div(cols, group_panels * tile_of::nr) / 16;
}

template <class Kernel, class T>
bool product_block<Kernel, T>::packs_b_beside_tiles() const
{
    return packs_beside_tiles<Kernel> && !a.in_place && b.order == order_of_b::by_rows &&
           rows >= mr && !shares_cache_sets<T>(b.stride);
}

// A task of more than a few rows packs the panels of B that it is about to use, for itself: they
// never leave L2.
template <class Kernel, class T>
bool product_block<Kernel, T>::packs_own_b(const task_range& task) const
{
    if (!packs_beside_tiles<Kernel> || !b.in_place)
        return false;
    if (Kernel::parts == 2)
        return true; // complex tiles read B in place beside an A in place alone
    const std::size_t task_rows = task.last_row - task.first_row;
    return task_rows > tile_of::in_place_rows && !shares_cache_sets<T>(b.stride);
}

// The panel of `count` rows from row i on.
template <class Kernel, class T>
void product_block<Kernel, T>::pack_a_panel(std::size_t i, std::size_t count, T* panel) const
{
    const T* const first = a.first + i * a.step;
    if constexpr (Kernel::parts == 2)
        pack_parts_of_a<mr>(first, a.stride, 0, count, depth, panel);
    else
        pack_a<mr>(first, a.stride, 0, count, depth, panel);
}

// The panels of columns `first` to `last`, at `panels`.
template <class Kernel, class T>
void product_block<Kernel, T>::pack_b_panels(std::size_t first, std::size_t last, T* panels) const
{
    const std::size_t count = last - first;
    if constexpr (Kernel::parts == 2)
        pack_parts_of_b<nr>(b.first + first, b.stride, 0, count, depth, panels);
    else if (b.order == order_of_b::by_columns) // its rows, side by side
        pack_a<nr>(b.first + first * b.stride, b.stride, 0, count, depth, panels);
    else
        pack_b<nr>(b.first + first, b.stride, 0, count, depth, panels);
}

// The tiles of a group for the panel of A at row i, each of which packs its columns of B.
template <class Kernel, class T>
void product_block<Kernel, T>::multiply_and_pack_b(std::size_t i, const col_group& group,
                                                   const T* panel_of_a, T* panels) const
{
    for (std::size_t j = group.first; j < group.last; j += nr) {
        tile_operands_of<T> tile = tile_at(i, j, group);
        tile.a = panel_of_a;
        tile.panel = panels + (j - group.first) * depth;
        if constexpr (packs_beside_tiles<Kernel>)
            if (i + mr <= rows && j + nr <= cols && !shares_cache_sets<T>(b.stride)) {
                Kernel::tile_packing_b(tile);
                continue;
            }
        pack_b_panels(j, std::min(j + nr, cols), tile.panel);
        tile.b = tile.panel;
        tile.ldb = nr;
        Kernel::tile(tile);
    }
}

// Each index packs a group of panels.
template <class Kernel, class T>
void product_block<Kernel, T>::pack_b_into(T* panels)
{
    if (b.in_place)
        return;
    const bool beside_tiles = packs_b_beside_tiles();
    const auto pack_group = [&](std::size_t g) {
        const std::size_t first = g * group_cols;
        const std::size_t last = std::min(first + group_cols, cols);
        T* const panels_of_group = panels + first * depth;
        if (!beside_tiles)
            return pack_b_panels(first, last, panels_of_group);
        thread_scratch<T, panels_of_a> panel_of_a(panel_size());
        pack_a_panel(0, std::min(rows, mr), panel_of_a.data());
        multiply_and_pack_b(0, group_of(first, last), panel_of_a.data(), panels_of_group);
    };
    const std::size_t tile_work = Kernel::parts * tile_of::tile_work_16 * mr / 16;
    parallel_for(groups(), depth * (tile_of::pack_work + (beside_tiles ? tile_work : 0)),
                 pack_group);
    b = {.first = panels, .step = depth, .stride = nr, .in_place = false};
    if (beside_tiles)
        done_rows = mr;
}

// About four tasks for each thread, or a multiple of as many if the panels of A would not stay in
// L2. A task packs its rows of A, so columns are cut only where there are too few row panels; but
// before the rows if B comes from memory for each part of the rows.
template <class Kernel, class T>
task_grid product_block<Kernel, T>::tasks() const
{
    const std::size_t threads = allowed_threads();
    const std::size_t wanted = threads == 1 ? 1 : 4 * threads;
    const std::size_t row_panels = ceil_div(rows - done_rows, tile_rows());
    const std::size_t least = ceil_div(row_panels, tile_of::task_panels);
    if (b.in_place && !a.in_place) {
        const std::size_t across = std::min(wanted, groups());
        const std::size_t down = std::min(ceil_div(wanted, across), row_panels);
        return {.row_panels = row_panels, .down = std::max(least, down), .across = across};
    }
    const std::size_t down = std::min(round_up(least, wanted), row_panels);
    return {.row_panels = row_panels,
            .down = down,
            .across = std::min(ceil_div(wanted, down), groups())};
}

// Each index writes its own part of C. The parts differ by one panel at most, so that no thread
// waits long for another.
template <class Kernel, class T>
void product_block<Kernel, T>::multiply() const
{
    if (rows == done_rows)
        return;
    if (rows * cols * depth * Kernel::parts < serial_products)
        return multiply_task({done_rows, rows, 0, cols});
    const task_grid grid = tasks();
    const auto multiply_part = [&](std::size_t t) {
        const std::size_t i = t / grid.across;
        const std::size_t j = t % grid.across;
        const auto row = [&](std::size_t part) {
            return std::min(done_rows + part * grid.row_panels / grid.down * tile_rows(), rows);
        };
        const auto col = [&](std::size_t part) {
            return std::min(part * groups() / grid.across * group_cols, cols);
        };
        multiply_task({row(i), row(i + 1), col(j), col(j + 1)});
    };
    const std::size_t count = grid.down * grid.across;
    const std::size_t tiles_of_groups = grid.row_panels * tile_rows() * groups();
    const std::size_t work =
        Kernel::parts * depth * tile_of::tile_work_16 / 16 * tiles_of_groups / count;
    parallel_for(count, work, multiply_part);
}

// Packs `count` rows from row i on, together with the tile that they have in the group's first
// columns if that tile can do so. Returns the columns of C that are done: those of the tile, or
// none.
template <class Kernel, class T>
std::size_t product_block<Kernel, T>::pack_a_at(std::size_t i, std::size_t count,
                                                const col_group& group, T* panel) const
{
    if constexpr (packs_beside_tiles<Kernel>)
        if (count == mr && group.first + nr <= cols && !b.in_place &&
            !shares_cache_sets<T>(a.stride)) {
            tile_operands_of<T> tile = tile_at(i, group.first, group);
            tile.panel = panel;
            Kernel::tile_packing_a(tile);
            return nr;
        }
    pack_a_panel(i, count, panel);
    return 0;
}

// By groups of panels of B, which stay in L1 or L2.
template <class Kernel, class T>
void product_block<Kernel, T>::multiply_with_a_in_place(const task_range& task) const
{
    const std::size_t width = cols_together();
    for (std::size_t first = task.first_col; first < task.last_col; first += width) {
        const col_group group = group_of(first, std::min(first + width, task.last_col));
        for (std::size_t i = task.first_row; i < task.last_row; i += tile_of::mr_in_place)
            for (std::size_t j = first; j < group.last; j += nr)
                run_tile(tile_at(i, j, group));
    }
}

// By groups of panels of B, which stay in L2 beside the panels of the task's rows of A. Those are
// packed in the first group; the task's own panels of B with its first rows.
template <class Kernel, class T>
void product_block<Kernel, T>::multiply_and_pack_a(const task_range& task) const
{
    const std::size_t packed_rows = round_up(task.last_row - task.first_row, mr);
    const std::size_t width = cols_together();
    const bool packs_b = packs_own_b(task);
    thread_scratch<T, panels_of_a> own_a(packed_rows * Kernel::parts * depth);
    thread_scratch<T, panels_of_b> own_b(packs_b ? width * depth : 0);
    product_block from_a = *this;
    product_block packed = *this;
    packed.a = {.first = own_a.data(), .step = 0, .stride = mr, .in_place = false};
    for (std::size_t first = task.first_col; first < task.last_col; first += width) {
        const col_group group = group_of(first, std::min(first + width, task.last_col));
        panels_ahead ahead = panels_after(group, task);
        std::size_t i = task.first_row;
        T* panel = own_a.data();
        if (packs_b) {
            if (first == task.first_col)
                pack_a_panel(i, std::min(rows - i, mr), panel);
            multiply_and_pack_b(i, group, own_a.data(), own_b.data());
            packed.b = from_a.b = {.first = own_b.data(),
                                   .step = depth,
                                   .stride = nr,
                                   .in_place = false,
                                   .origin = first};
            i += mr;
            panel += panel_size();
        }
        for (std::size_t count = 0; i < task.last_row; i += count, panel += panel_size()) {
            count = packed.panel_rows(task.last_row - i);
            std::size_t j = first;
            if (first == task.first_col)
                j += from_a.pack_a_at(i, count, group, panel);
            for (; j < group.last; j += nr) {
                tile_operands_of<T> tile = packed.tile_at(i, j, group);
                tile.a = panel;
                tile.rows = count;
                tile.next_b = ahead.next;
                tile.step_b = ahead.step;
                ahead.next += ahead.step * (depth / 2);
                packed.run_tile(tile);
            }
        }
    }
}

// The panels of B that come after a group: a part of them for each of its tiles, so that they are
// in L2 when their own tiles begin. After the task's last group it is the first one, with which the
// next task begins.
template <class Kernel, class T>
panels_ahead product_block<Kernel, T>::panels_after(const col_group& group,
                                                    const task_range& task) const
{
    const bool is_only = group.first == task.first_col && group.last == task.last_col;
    if (b.in_place || is_only || depth < 2)
        return {.next = address(b.first), .step = 0};
    const std::size_t first = group.last < task.last_col ? group.last : task.first_col;
    const std::size_t next_cols = std::min(cols_together(), task.last_col - first);
    const std::size_t tiles =
        ceil_div(task.last_row - task.first_row, mr) * ceil_div(group.last - group.first, nr);
    return {.next = address(b.first + first * b.step),
            .step = ceil_div(next_cols * depth * sizeof(T), tiles * (depth / 2))};
}

} // namespace numerical::detail
