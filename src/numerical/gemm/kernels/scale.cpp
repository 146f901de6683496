#include "numerical/gemm/kernels/scale.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

bool is_ordinary(double x)
{
    const double magnitude = std::abs(x);
    return (magnitude >= least_ordinary && magnitude <= greatest_ordinary) || magnitude == 0;
}

// The parts of operator/ that depend on the divisor alone.
smith_divisor smith_form(complex z)
{
    const bool by_real = !(std::abs(z.real()) < std::abs(z.imag()));
    const double greater = by_real ? z.real() : z.imag();
    const double lesser = by_real ? z.imag() : z.real();
    const double ratio = lesser / greater;
    return {by_real, ratio, lesser * ratio + greater};
}

bool is_ordinary(complex z, const smith_divisor& form)
{
    return z != complex(0) && is_ordinary(z.real()) && is_ordinary(z.imag()) &&
           is_ordinary(form.ratio);
}

void divide_each(complex* row, complex divisor, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        row[j] /= divisor;
}

} // namespace

void divide_row(int path, double* row, double divisor, std::size_t n)
{
    if (path == avx512_path)
        return avx512_divide(row, divisor, n);
    if (path == avx2_path)
        return avx2_unfused_divide(row, divisor, n);
    for (std::size_t j = 0; j < n; ++j)
        row[j] /= divisor;
}

void divide_row(int path, complex* row, complex divisor, std::size_t n)
{
    const smith_divisor form = smith_form(divisor);
    if (path == portable_path || !is_ordinary(divisor, form)) {
        divide_each(row, divisor, n);
        return;
    }
    const auto divide = path == avx512_path ? avx512_divide_complex : avx2_unfused_divide_complex;
    for (std::size_t j = 0; j < n;) {
        j += divide(as_doubles(row + j), form, n - j);
        const std::size_t others = std::min(most_numbers_together, n - j);
        divide_each(row + j, divisor, others);
        j += others;
    }
}

void multiply_full(int path, complex* z, const complex* factors, std::size_t step, std::size_t n)
{
    const auto multiply = path == avx512_path ? avx512_multiply : avx2_unfused_multiply;
    for (std::size_t i = 0; i < n;) {
        if (path != portable_path)
            i += multiply(as_doubles(z + i), as_doubles(factors + i * step), step, n - i);
        for (const std::size_t end = std::min(i + most_numbers_together, n); i < end; ++i)
            z[i] *= factors[i * step];
    }
}

} // namespace numerical::detail
