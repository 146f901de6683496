#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// The columns that a group of rows multiplies, side by side.
aligned_vector<double> gathered(block_view<const double> rows,
                                const std::vector<std::size_t>& columns)
{
    aligned_vector<double> store = uninitialized<double>(rows.rows * columns.size());
    const auto gather_row = [&](std::size_t r) {
        double* out = store.data() + r * columns.size();
        for (const std::size_t column : columns)
            *out++ = rows(r, column);
    };
    parallel_for(rows.rows, columns.size(), gather_row);
    return store;
}

// One group of rows: its columns times their rows of the small vectors, each with the deflated ones
// in its place.
void merge_chosen_rows(block_view<const double> rows, const column_merge& merge, unsigned int mask,
                       const small_vector_rows& fill_row, index_range wanted,
                       block_view<double> out)
{
    // Named one by one, as a lambda can't capture parts of a structured binding.
    const auto& active = merge.partition.active;
    const auto& deflated = merge.partition.deflated;
    const index_range made = new_columns_among(merge, wanted);
    const auto selected = positions_of_type(active, merge.types, mask);
    std::vector<std::size_t> columns(selected.size());
    std::transform(selected.begin(), selected.end(), columns.begin(),
                   [&](std::size_t p) { return active[p]; });
    const aligned_vector<double> old_rows = gathered(rows, columns);
    aligned_vector<double> new_rows = uninitialized<double>(selected.size() * made.count());
    const auto fill_selected = [&](std::size_t c) {
        fill_row(selected[c], new_rows.data() + c * made.count());
    };
    parallel_for(selected.size(), made.count(), fill_selected);
    aligned_vector<double> product = zeros<double>(rows.rows * made.count());
    gemm(rows.rows, made.count(), selected.size(), old_rows.data(), selected.size(),
         new_rows.data(), made.count(), product.data(), made.count());

    const auto place = [&](std::size_t r) {
        for (std::size_t c = 0; c < out.cols; ++c) {
            const std::size_t source = merge.order[wanted.first + c];
            out(r, c) = source < active.size() ? product[r * made.count() + source - made.first]
                                               : rows(r, deflated[source - active.size()]);
        }
    };
    parallel_for(rows.rows, out.cols, place);
}

} // namespace

// The new columns keep their order, so that those among consecutive ones are consecutive.
index_range new_columns_among(const column_merge& merge, index_range wanted)
{
    const std::size_t active = merge.partition.active.size();
    index_range made{active, active};
    for (std::size_t c = wanted.first; c < wanted.last; ++c)
        if (merge.order[c] < active) {
            made.first = std::min(made.first, merge.order[c]);
            made.last = merge.order[c] + 1;
        }
    return made;
}

void merge_chosen_columns(block_view<const double> q, const column_merge& merge,
                          const small_vector_rows& fill_row, index_range wanted,
                          block_view<double> out)
{
    for (const auto& [first, rows, mask] : merge.groups)
        merge_chosen_rows(q.sub(first, first + rows, 0, q.cols), merge, mask, fill_row, wanted,
                          out.sub(first, first + rows, 0, out.cols));
}

} // namespace numerical::detail
