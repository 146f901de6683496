#include "numerical/factor/complex_loops.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

constexpr std::size_t block_columns = 8; // of the AVX2 form

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

void subtract_plainly(complex* out, const complex* coeffs, const complex* rows,
                      std::size_t row_stride, std::size_t terms, std::size_t n)
{
    for (std::size_t t = 0; t < terms; ++t)
        for (std::size_t j = 0; j < n; ++j)
            out[j] -= coeffs[t] * rows[t * row_stride + j];
}

complex conjugate_dot(const complex* v, const complex* row, std::size_t n)
{
    complex sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum += row[i] * std::conj(v[i]);
    return sum;
}

} // namespace

void subtract_full_products(int path, complex* out, const complex* coeffs, const complex* rows,
                            std::size_t row_stride, std::size_t terms, std::size_t n)
{
    if (!has_avx2_form(path))
        return subtract_plainly(out, coeffs, rows, row_stride, terms, n);
    for (std::size_t j = 0; j < n;) {
        j += avx2_unfused_subtract_products(parts_of(out + j), parts_of(coeffs), parts_of(rows + j),
                                            row_stride, terms, n - j);
        const std::size_t width = std::min(block_columns, n - j);
        subtract_plainly(out + j, coeffs, rows + j, row_stride, terms, width);
        j += width;
    }
}

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
