#include "numerical/eigen/symmetric_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/symmetric_step.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

// A pass is cut in strips of rows with about equal work, each with a y of its own, whatever the
// number of threads: where it is worth the while of two of them.
constexpr std::size_t strips_of_pass = 4;
constexpr std::size_t least_order_of_strips = 256;

class step_reducer
{
public:
    explicit step_reducer(block_view<double> lower);

    // Column k: d[k] is returned and sub[k] set.
    double reduce_column(std::size_t k, aligned_vector<double>& reflector, double& sub);

    // After all columns.
    double last_entry() const { return upper[(n - 1) * stride + n - 1]; }

private:
    void update_row(std::size_t k);
    void pass(std::size_t column);
    void follow(std::size_t from);
    std::array<std::size_t, strips_of_pass + 1> strips_from(std::size_t from) const;

    const int path = gemm_path_current();
    const symmetric_step_kernel run_step =
        choose(path, run_symmetric_step, avx2_run_symmetric_step, avx512_run_symmetric_step);
    const std::size_t n;
    const std::size_t padded; // whole blocks; zeros beyond n
    const std::size_t stride;
    aligned_vector<double> upper;

    // In rows of `padded` elements: v and w of the last column, x, the next v, and y of each strip.
    // They are zero up to their columns.
    aligned_vector<double> vectors;

    double* v() { return vectors.data(); }

    double* w() { return v() + padded; }

    double* x() { return w() + padded; }

    double* y(std::size_t strip) { return x() + (strip + 1) * padded; }
};

// The mirrored triangle; the blocks at the diagonal whole.
step_reducer::step_reducer(block_view<double> lower)
    : n(lower.rows), padded(round_up(n, step_block)), stride(spread_stride<double>(padded)),
      upper(uninitialized<double>(padded * stride)),
      vectors(zeros<double>((3 + strips_of_pass) * padded))
{
    constexpr std::size_t tile = 32;
    const block_view<double> rows{upper.data(), padded, padded, stride};
    for (std::size_t from = 0; from < n; from += tile) {
        const std::size_t to = std::min(from + tile, n);
        transpose_into<double>(rows.sub(from, to, from, n), lower.sub(from, n, from, to));
    }
    for (std::size_t i = 0; i < padded; ++i) {
        const std::size_t block = i - i % step_block;
        for (std::size_t j = block; j < std::min(i, n); ++j)
            rows(i, j) = i < n ? rows(j, i) : 0.0;
        std::fill(rows.row(i) + std::max(n, block), rows.row(i) + padded, 0.0);
    }
}

// Row k of the upper triangle, with the last column's vectors, which end there.
void step_reducer::update_row(std::size_t k)
{
    const std::array<double, 2> coefficients{w()[k], v()[k]};
    subtract_products_on(path, upper.data() + k * stride + k, coefficients.data(), v() + k, padded,
                         2, n - k);
    v()[k] = w()[k] = 0;
}

// By rows that hold about equal parts of the triangle. The last bound is where it ends.
std::array<std::size_t, strips_of_pass + 1> step_reducer::strips_from(std::size_t from) const
{
    std::array<std::size_t, strips_of_pass + 1> bounds;
    bounds.fill(padded);
    bounds[0] = from;
    const auto order = static_cast<double>(padded - from);
    for (std::size_t s = 1; s < strips_of_pass; ++s) {
        const double left = static_cast<double>(strips_of_pass - s) / strips_of_pass;
        const auto rows = static_cast<std::size_t>(order * (1 - std::sqrt(left)));
        bounds[s] = from + rows - rows % step_block;
    }
    return bounds;
}

// y(0) becomes the product of the updated matrix with x, from the block of column `from` on. Each
// strip has rows and a y of its own, which are added in order.
void step_reducer::pass(std::size_t column)
{
    const std::size_t from = column - column % step_block;
    const auto run_rows = [&](std::size_t strip, std::size_t first, std::size_t last) {
        double* const sums = y(strip);
        std::fill(sums + first, sums + padded, 0.0);
        run_step({upper.data(), stride, first, last, padded}, {v(), w(), x(), sums});
    };
    const std::size_t order = padded - from;
    if (order < least_order_of_strips)
        return run_rows(0, from, padded);
    const auto bounds = strips_from(from);
    const auto run_strip = [&](std::size_t s) { run_rows(s, bounds[s], bounds[s + 1]); };
    parallel_for(strips_of_pass, order * order / 4, run_strip);
    for (std::size_t s = 1; s < strips_of_pass; ++s)
        scaled_add_on(path, y(0) + bounds[s], y(s) + bounds[s], 1.0, padded - bounds[s]);
}

// w = 2y - 2(xᵀy)·x, with which H·A·H is A - x·wᵀ - w·xᵀ; x is then the last column's v.
void step_reducer::follow(std::size_t from)
{
    const double* const product = y(0) + from;
    const std::size_t len = n - from;
    double projection;
    row_dots(path, &projection, product, x() + from, padded, 1, len);
    std::transform(product, product + len, w() + from, [](double each) { return 2 * each; });
    subtract_scaled_on(path, w() + from, x() + from, 2 * projection, len);
    std::copy_n(x() + from, len, v() + from);
}

double step_reducer::reduce_column(std::size_t k, aligned_vector<double>& reflector, double& sub)
{
    update_row(k);
    const double* const row = upper.data() + k * stride;
    const double diagonal = row[k];
    aligned_vector<double> below(row + k + 1, row + n);
    x()[k] = 0;
    if (std::all_of(below.begin() + 1, below.end(), [](double each) { return each == 0; })) {
        sub = below[0];
        std::fill(x() + k + 1, x() + n, 0.0);
    } else {
        sub = householder_in_place(below);
        std::copy(below.begin(), below.end(), x() + k + 1);
        reflector = std::move(below);
    }
    pass(k + 1);
    follow(k + 1);
    return diagonal;
}

} // namespace

void reduce_by_steps(block_view<double> a, aligned_vector<double>* reflectors, double* sub)
{
    const std::size_t n = a.rows;
    step_reducer steps(a);
    for (std::size_t k = 0; k + 1 < n; ++k)
        a(k, k) = steps.reduce_column(k, reflectors[k + 1], sub[k]);
    a(n - 1, n - 1) = steps.last_entry();
}

} // namespace numerical::detail
