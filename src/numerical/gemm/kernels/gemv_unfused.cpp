#include "numerical/gemm/kernels/gemv_unfused.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {
namespace {

complex conjugate_dot(const complex* v, const complex* row, std::size_t n)
{
    complex sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum += row[i] * std::conj(v[i]);
    return sum;
}

} // namespace

void ascending_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                        const double* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i) {
        w[i] = 0;
        for (std::size_t j = 0; j < n; ++j)
            w[i] += rows[i * stride + j] * x[j];
    }
}

void ascending_row_dots_on(int path, double* w, const double* rows, std::size_t stride,
                           std::size_t count, const double* x, std::size_t n)
{
    const auto form = avx2_in_force(path) ? avx2_unfused_row_dots : ascending_row_dots;
    form(w, rows, stride, count, x, n);
}

void conjugate_dots(int path, complex* sums, const complex* v, const complex* rows,
                    std::size_t row_stride, std::size_t count, std::size_t n)
{
    if (count == rows_at_once && avx2_in_force(path) &&
        avx2_unfused_conjugate_dots(as_doubles(sums), as_doubles(v), as_doubles(rows), row_stride,
                                    n))
        return;
    for (std::size_t r = 0; r < count; ++r)
        sums[r] = conjugate_dot(v, rows + r * row_stride, n);
}

} // namespace numerical::detail
