#include "numerical/eigen/symmetric_step.hpp"

#include "numerical/gemm/kernels/lanes/unfused_sse2.hpp"

#include "numerical/eigen/symmetric_step_loops.hpp"

namespace numerical::detail {
namespace {

// One row of complex elements, of which the first is that of column `diagonal`.
void hermitian_step_in_row(double* row, std::size_t r, std::size_t diagonal, std::size_t cols,
                           const step_vectors& vectors)
{
    const auto [v, w, x, y] = vectors;
    double* const z = y + 2 * cols;
    const double v_re = v[2 * r];
    const double v_im = -v[2 * r + 1];
    const double w_re = w[2 * r];
    const double w_im = -w[2 * r + 1];
    const double x_re = x[2 * r];
    const double x_im = -x[2 * r + 1];
    double sum_re = 0;
    double sum_im = 0;
    for (std::size_t j = diagonal; j < cols; ++j) {
        double* const at = row + 2 * (j - diagonal);
        const double* const column_v = v + 2 * j;
        const double* const column_w = w + 2 * j;
        const double re = at[0] - (v_re * column_w[0] - v_im * column_w[1]) -
                          (w_re * column_v[0] - w_im * column_v[1]);
        const double im = at[1] - (v_re * column_w[1] + v_im * column_w[0]) -
                          (w_re * column_v[1] + w_im * column_v[0]);
        at[0] = re;
        at[1] = im;
        sum_re += re * x[2 * j] + im * x[2 * j + 1];
        sum_im += re * x[2 * j + 1] - im * x[2 * j];
        if (j >= diagonal + step_block) {
            y[2 * j] += x_re * re;
            y[2 * j + 1] += x_re * im;
            z[2 * j] += x_im * re;
            z[2 * j + 1] += x_im * im;
        }
    }
    y[2 * r] += sum_re;
    y[2 * r + 1] += sum_im;
}

} // namespace

void run_hermitian_step(const step_rows& rows, const step_vectors& vectors)
{
    for (std::size_t r = rows.from; r < rows.to; ++r) {
        const std::size_t diagonal = r - r % step_block;
        hermitian_step_in_row(rows.matrix + 2 * (r * rows.stride + diagonal), r, diagonal,
                              rows.cols, vectors);
    }
}

void run_symmetric_step(const step_rows& rows, const step_vectors& vectors)
{
    symmetric_step<unfused_lanes, 2>(rows, vectors);
}

} // namespace numerical::detail
