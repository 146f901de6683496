#include "numerical/gemm/kernels/gemv.hpp"

#include <array>

namespace numerical::detail {
namespace {

constexpr std::size_t lanes = 4;

// Element j in lane j mod 4, the lanes added in order.
double laned_dot(const double* a, const double* b, std::size_t n)
{
    std::array<double, lanes> sums{};
    const std::size_t whole = n - n % lanes;
    for (std::size_t j = 0; j < whole; j += lanes)
        for (std::size_t lane = 0; lane < lanes; ++lane)
            sums[lane] += a[j + lane] * b[j + lane];
    for (std::size_t j = whole; j < n; ++j)
        sums[j - whole] += a[j] * b[j];
    return sums[0] + sums[1] + sums[2] + sums[3];
}

} // namespace

void add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                  const double* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i)
        w[i] += laned_dot(rows + i * stride, x, n);
}

void add_row_dot_pairs(double* w, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, const double* y, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i) {
        w[2 * i] += laned_dot(rows + i * stride, x, n);
        w[2 * i + 1] += laned_dot(rows + i * stride, y, n);
    }
}

} // namespace numerical::detail
