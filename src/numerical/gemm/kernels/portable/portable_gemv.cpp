#include "numerical/gemm/kernels/gemv.hpp"

#include <array>

namespace numerical::detail {
namespace {

constexpr std::size_t lanes = 4;

// The sum of products of two elements each, product j in lane j mod 4, the lanes added in order.
template <class F>
double laned_sum(std::size_t n, const F& product)
{
    std::array<double, lanes> sums{};
    const std::size_t whole = n - n % lanes;
    for (std::size_t j = 0; j < whole; j += lanes)
        for (std::size_t lane = 0; lane < lanes; ++lane)
            sums[lane] += product(j + lane);
    for (std::size_t j = whole; j < n; ++j)
        sums[j - whole] += product(j);
    return sums[0] + sums[1] + sums[2] + sums[3];
}

} // namespace

void add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                  const double* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i, rows += stride)
        w[i] += laned_sum(n, [=](std::size_t j) { return rows[j] * x[j]; });
}

void add_complex_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                          const double* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i, rows += stride) {
        w[2 * i] += laned_sum(
            n, [=](std::size_t j) { return j % 2 == 0 ? rows[j] * x[j] : -(rows[j] * x[j]); });
        w[2 * i + 1] += laned_sum(n, [=](std::size_t j) { return rows[j] * x[j ^ 1]; });
    }
}

} // namespace numerical::detail
