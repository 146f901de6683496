#include "numerical/factor/real_qr_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/reflected_dots.hpp"
#include "numerical/gemm/packing.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/sum_by_halves.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/interruption.hpp"
#include "numerical/storage.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// Columns of fewer elements lie in L1 between an update and the next dot, so that passes over one
// column at a time take no longer.
constexpr std::size_t least_long_column = 512;

// A real panel by columns, as its sums run along a column in several vectors. The reflector of a
// column takes its place from the diagonal down. In long columns a reflector is applied one pass
// late, in the pass that forms the dots with the next one; only the next reflector's own column is
// brought up to date before.
class real_panel
{
public:
    explicit real_panel(block_view<const double> block);

    void factorize();

    void copy_r(block_view<double> panel) const;
    void copy_reflectors(block_view<double> v) const;

private:
    void reflect_late(std::size_t j, const aligned_vector<double>& v);
    void pass_over_columns(std::size_t j, const double* v);
    void apply_late(std::size_t l, std::size_t count);

    int path = gemm_path_current();
    std::size_t height;
    packing_storage<double> memory;
    block_view<double> columns;      // row l is column l of the panel
    aligned_vector<double> diagonal; // of R
    aligned_vector<double> factors;
    aligned_vector<double> dots;
    const double* late = nullptr; // the reflector before, to be added to column l factors[l] times
    std::size_t late_row = 0;     // its first row
};

real_panel::real_panel(block_view<const double> block)
    : height(block.rows), memory(block.cols * round_up(height, line_elements<double>), 0),
      columns{.first = memory.a,
              .rows = block.cols,
              .cols = height,
              .stride = round_up(height, line_elements<double>)},
      diagonal(block.cols), factors(block.cols), dots(block.cols)
{
    transpose_into(columns, block);
}

// Column l in the first `count` rows that the late reflector spans.
void real_panel::apply_late(std::size_t l, std::size_t count)
{
    scaled_add_on(path, columns.row(l) + late_row, late, factors[l], count);
}

// Halves of more than a run of rows, whose dots are added as in long_dot_on.
void reflected_dots_of_runs(int path, const reflected_dots_pass& pass)
{
    if (pass.length <= longest_run)
        return reflected_dots_on(path, pass);
    const std::size_t half = first_half(pass.length, longest_run);
    reflected_dots_pass upper = pass;
    upper.length = half;
    reflected_dots_of_runs(path, upper);

    aligned_vector<double> lower_dots(pass.count);
    reflected_dots_pass lower = pass;
    lower.columns += half;
    lower.length -= half;
    lower.u += half;
    lower.v += half;
    lower.dots = lower_dots.data();
    reflected_dots_of_runs(path, lower);
    for (std::size_t c = 0; c < pass.count; ++c)
        pass.dots[c] += lower_dots[c];
}

// With v, the reflector of column j: row j of that column becomes R, the columns after it receive
// the late reflector, and `factors` become v's.
void real_panel::pass_over_columns(std::size_t j, const double* v)
{
    const std::size_t length = height - j;
    const std::size_t next = j + 1;
    dots[j] = long_dot_on(path, v, columns.row(j) + j, length);
    if (late == nullptr)
        for (std::size_t l = next; l < columns.rows; ++l)
            dots[l] = long_dot_on(path, v, columns.row(l) + j, length);
    else if (next < columns.rows) {
        for (std::size_t l = next; l < columns.rows; ++l)
            apply_late(l, 1);
        reflected_dots_of_runs(path, {.columns = columns.row(next) + j,
                                      .stride = columns.stride,
                                      .count = columns.rows - next,
                                      .length = length,
                                      .factors = factors.data() + next,
                                      .u = late + 1,
                                      .v = v,
                                      .dots = dots.data() + next});
    }
    for (std::size_t l = j; l < columns.rows; ++l)
        factors[l] = -2 * dots[l];
    scaled_add_on(path, columns.row(j) + j, v, factors[j], 1);
}

// With the reflector of column j, which is empty if the column is zero.
void real_panel::reflect_late(std::size_t j, const aligned_vector<double>& v)
{
    if (!v.empty()) {
        pass_over_columns(j, v.data());
        late = columns.row(j) + j; // where v is moved next
    } else if (late != nullptr) {
        for (std::size_t l = j + 1; l < columns.rows; ++l)
            apply_late(l, height - late_row);
        late = nullptr;
    }
    late_row = j;
}

void real_panel::factorize()
{
    aligned_vector<double> v;
    v.reserve(height);
    for (std::size_t j = 0; j < columns.rows; ++j) {
        check_for_interruption();
        double* const column = columns.row(j);
        if (late != nullptr)
            apply_late(j, height - late_row);
        v.assign(column + j, column + height);
        make_reflector(v);
        if (height < least_long_column)
            reflect_columns(columns.sub(j, columns.rows, j, height), v);
        else
            reflect_late(j, v);
        diagonal[j] = column[j];
        v.resize(height - j); // zeros if it was empty
        std::copy(v.begin(), v.end(), column + j);
    }
}

// R alone; nobody reads what the panel has below it.
void real_panel::copy_r(block_view<double> panel) const
{
    for (std::size_t i = 0; i < columns.rows; ++i) {
        panel(i, i) = diagonal[i];
        for (std::size_t j = i + 1; j < columns.rows; ++j)
            panel(i, j) = columns(j, i);
    }
}

void real_panel::copy_reflectors(block_view<double> v) const
{
    transpose_into<double>(v, columns);
    for (std::size_t i = 0; i < v.cols; ++i)
        set_zero(v.row(i) + i + 1, v.cols - i - 1);
}

} // namespace

void factor_real_panel(block_view<double> panel, block_view<double> v)
{
    real_panel by_columns(panel);
    by_columns.factorize();
    by_columns.copy_r(panel);
    by_columns.copy_reflectors(v);
}

} // namespace numerical::detail
