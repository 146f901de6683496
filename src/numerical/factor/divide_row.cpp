#include "numerical/factor/divide_row.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {

void divide_row(double* row, double divisor, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        row[j] /= divisor;
}

namespace {

// Between these no step of a quotient overflows or loses digits, and what the operator does against
// that changes nothing.
constexpr double least_ordinary = 0x1p-400;
constexpr double greatest_ordinary = 0x1p400;

constexpr std::size_t block_elements = 64;

bool is_ordinary(double x)
{
    const double magnitude = std::abs(x);
    return (magnitude >= least_ordinary && magnitude <= greatest_ordinary) || magnitude == 0;
}

bool all_ordinary(const complex* z, std::size_t n)
{
    int others = 0;
    for (std::size_t j = 0; j < n; ++j)
        others += int(!is_ordinary(z[j].real())) + int(!is_ordinary(z[j].imag()));
    return others == 0;
}

void divide_each(complex* row, complex divisor, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        row[j] /= divisor;
}

// With c + di the divisor, |c| >= |d|, r = d/c and s = c + d·r the quotient of a + bi is
// (a + b·r)/s + (b - a·r)/s·i, and likewise with the parts exchanged (Smith 1962). The operator
// works r and s out anew for each element.
struct smith_divisor
{
    bool by_real;
    double ratio;
    double scale;

    explicit smith_divisor(complex z) : by_real(!(std::abs(z.real()) < std::abs(z.imag())))
    {
        const double greater = by_real ? z.real() : z.imag();
        const double lesser = by_real ? z.imag() : z.real();
        ratio = lesser / greater;
        scale = lesser * ratio + greater;
    }

    void divide(complex* row, std::size_t n) const
    {
        if (by_real)
            for (std::size_t j = 0; j < n; ++j) {
                const double a = row[j].real();
                const double b = row[j].imag();
                row[j] = {(b * ratio + a) / scale, (b - a * ratio) / scale};
            }
        else
            for (std::size_t j = 0; j < n; ++j) {
                const double a = row[j].real();
                const double b = row[j].imag();
                row[j] = {(a * ratio + b) / scale, (b * ratio - a) / scale};
            }
    }
};

} // namespace

void divide_row(complex* row, complex divisor, std::size_t n)
{
    const smith_divisor by(divisor);
    if (!all_ordinary(&divisor, 1) || divisor == complex(0) || !is_ordinary(by.ratio)) {
        divide_each(row, divisor, n);
        return;
    }
    for (std::size_t from = 0; from < n; from += block_elements) {
        const std::size_t count = std::min(block_elements, n - from);
        if (all_ordinary(row + from, count))
            by.divide(row + from, count);
        else
            divide_each(row + from, divisor, count);
    }
}

} // namespace numerical::detail
