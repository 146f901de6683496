#include "numerical/factor/complex_loops.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

bool has_avx2_form(int path)
{
    return path != portable_path && cpu_features().avx2;
}

double* parts_of(complex* z)
{
    return reinterpret_cast<double*>(z);
}

const double* parts_of(const complex* z)
{
    return reinterpret_cast<const double*>(z);
}

complex conjugate_dot(const complex* v, const complex* row, std::size_t n)
{
    complex sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum += row[i] * std::conj(v[i]);
    return sum;
}

} // namespace

void conjugate_dots(int path, complex* sums, const complex* v, const complex* rows,
                    std::size_t row_stride, std::size_t count, std::size_t n)
{
    if (count == rows_at_once && has_avx2_form(path) &&
        avx2_unfused_conjugate_dots(parts_of(sums), parts_of(v), parts_of(rows), row_stride, n))
        return;
    for (std::size_t r = 0; r < count; ++r)
        sums[r] = conjugate_dot(v, rows + r * row_stride, n);
}

void multiply_full(int path, complex* z, const complex* factors, std::size_t step, std::size_t n)
{
    for (std::size_t i = 0; i < n;) {
        if (has_avx2_form(path))
            i += avx2_unfused_multiply(parts_of(z + i), parts_of(factors + i * step), step, n - i);
        for (const std::size_t end = std::min(i + 2, n); i < end; ++i)
            z[i] *= factors[i * step];
    }
}

} // namespace numerical::detail
