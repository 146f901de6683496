#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/real_qr_panel.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/reflect_panel.hpp"
#include "numerical/gemm/packing.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/sum_by_halves.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/interruption.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

std::size_t whole_units(std::size_t columns)
{
    return round_up(columns, complex_panel_unit);
}

// The first column of the unit that column j is in.
std::size_t unit_of(std::size_t j)
{
    return j / complex_panel_unit * complex_panel_unit;
}

// A complex panel by rows. A reflector is applied one pass late, in the pass that forms the dots
// with the next one; only the next reflector's own column is brought up to date before.
class complex_panel
{
public:
    explicit complex_panel(block_view<const complex> block);

    aligned_vector<complex> first_column() const;

    // With v, the reflector of column j in all its rows, or zeros: finishes row j and gives column
    // j + 1 below it.
    aligned_vector<complex> reflect(std::size_t j, const complex* v);

    const complex* row(std::size_t i) const { return panel.row(i); }

private:
    void run(std::size_t j, std::size_t count, const complex* u, const complex* v);
    void run_rows(const panel_pass& pass);
    void recover_sums(std::size_t j, const complex* v);

    int path = gemm_path_current();
    std::size_t columns;
    packing_storage<double> memory;
    block_view<complex> panel;
    aligned_vector<double> f_real;
    aligned_vector<double> f_imag;
    aligned_vector<complex> sums;
    const complex* applied_late = nullptr; // the reflector before from its second element on
};

complex_panel::complex_panel(block_view<const complex> block)
    : columns(block.cols), memory(2 * block.rows * whole_units(block.cols), 2 * block.rows),
      panel{reinterpret_cast<complex*>(memory.a), block.rows, whole_units(block.cols)},
      f_real(2 * panel.cols), f_imag(2 * panel.cols), sums(panel.cols)
{
    for (std::size_t i = 0; i < block.rows; ++i) {
        std::copy_n(block.row(i), columns, panel.row(i));
        set_zero(panel.row(i) + columns, panel.cols - columns);
    }
}

aligned_vector<complex> complex_panel::first_column() const
{
    aligned_vector<complex> column = uninitialized<complex>(panel.rows);
    for (std::size_t i = 0; i < panel.rows; ++i)
        column[i] = panel(i, 0);
    return column;
}

// Rows [j, j + count) from the unit of column j on. Columns before j that are in it are of no use
// any more; they are reflected like the others.
void complex_panel::run(std::size_t j, std::size_t count, const complex* u, const complex* v)
{
    const std::size_t first = unit_of(j);
    const std::size_t next = j + 1 < columns ? j + 1 - first : 0;
    run_rows({.rows = as_doubles(&panel(j, first)),
              .stride = panel.stride,
              .width = panel.cols - first,
              .count = count,
              .f_real = f_real.data() + 2 * first,
              .f_imag = f_imag.data() + 2 * first,
              .u = as_doubles(u),
              .v = as_doubles(v),
              .sums = as_doubles(sums.data() + first),
              .next_column = next,
              .next = memory.b});
}

// The pass over runs of rows, whose sums are added by halves.
void complex_panel::run_rows(const panel_pass& pass)
{
    if (pass.count <= longest_dot_run)
        return reflect_panel_on(path, pass);
    const std::size_t half = first_half(pass.count, longest_dot_run);
    panel_pass upper = pass;
    upper.count = half;
    run_rows(upper);

    aligned_vector<double> lower_sums(2 * pass.width);
    panel_pass lower = pass;
    lower.count -= half;
    lower.rows += 2 * half * pass.stride;
    lower.u += 2 * half;
    lower.v += 2 * half;
    lower.next += 2 * half;
    lower.sums = lower_sums.data();
    run_rows(lower);
    for (std::size_t l = 0; l < lower_sums.size(); ++l)
        pass.sums[l] += lower_sums[l];
}

// Sums that are NaN by textbook products are computed again by Annex G products.
void complex_panel::recover_sums(std::size_t j, const complex* v)
{
    for (std::size_t l = j; l < columns; ++l) {
        if (!has_nan(sums[l]))
            continue;
        sums[l] = 0;
        for (std::size_t i = j; i < panel.rows; ++i)
            sums[l] += panel(i, l) * std::conj(v[i - j]);
    }
}

aligned_vector<complex> complex_panel::reflect(std::size_t j, const complex* v)
{
    run(j, panel.rows - j, applied_late != nullptr ? applied_late : v, v);
    recover_sums(j, v);
    const auto* const below = reinterpret_cast<const complex*>(memory.b) + 1;
    aligned_vector<complex> next = copy_of(below, panel.rows - j - 1);

    for (std::size_t l = unit_of(j); l < panel.cols; ++l) {
        const complex f = sums[l] * complex(2);
        f_real[2 * l] = f_real[2 * l + 1] = f.real();
        f_imag[2 * l] = -f.imag();
        f_imag[2 * l + 1] = f.imag();
    }
    if (j + 1 < columns)
        subtract_scaled_on(path, next.data(), v + 1, sums[j + 1] * complex(2), next.size());
    const complex nothing = 0;
    run(j, 1, v, &nothing);
    applied_late = v + 1;
    return next;
}

// Leaves R in the block, and the reflector of column j in reflectors[j].
void factor_complex_panel(block_view<complex> block, aligned_vector<complex>* reflectors)
{
    complex_panel panel(block);
    aligned_vector<complex> column = panel.first_column();
    aligned_vector<complex> zeros;
    for (std::size_t j = 0; j < block.cols; ++j) {
        check_for_interruption();
        make_reflector(column);
        reflectors[j] = std::move(column);
        if (reflectors[j].empty())
            zeros.resize(block.rows);
        column = panel.reflect(j, reflectors[j].empty() ? zeros.data() : reflectors[j].data());
        std::copy(panel.row(j) + j, panel.row(j) + block.cols, &block(j, j));
    }
}

} // namespace

template <>
reflector_block<double> factor_qr_panel(block_view<double> panel, std::size_t offset)
{
    aligned_vector<double> vectors = uninitialized<double>(panel.rows * panel.cols);
    factor_real_panel(panel, {vectors.data(), panel.rows, panel.cols});
    return block_of_reflectors(std::move(vectors), offset, panel.rows, panel.cols);
}

template <>
reflector_block<complex> factor_qr_panel(block_view<complex> panel, std::size_t offset)
{
    std::vector<aligned_vector<complex>> reflectors(panel.cols);
    factor_complex_panel(panel, reflectors.data());
    reflector_block<complex> block = gather_reflectors(reflectors, 0, panel.cols, panel.rows);
    block.offset = offset;
    return block;
}

} // namespace numerical::detail
