#include "numerical/svd/row_dots.hpp"

#include "numerical/gemm/path.hpp"

#include <array>
#include <vector>

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
    const auto form = path == portable_path ? ascending_row_dots : avx2_ascending_row_dots;
    form(w, rows, stride, count, x, n);
}

void add_row_dots_on(int path, double* w, const double* rows, std::size_t stride, std::size_t count,
                     const double* x, std::size_t n)
{
    const auto form = path == avx512_path ? avx512_add_row_dots
                      : path == avx2_path ? avx2_add_row_dots
                                          : add_row_dots;
    form(w, rows, stride, count, x, n);
}

void add_row_dots_on(int path, std::complex<double>* w, const std::complex<double>* rows,
                     std::size_t stride, std::size_t count, const std::complex<double>* x,
                     std::size_t n)
{
    // Re(a·x) = (Re a, Im a)·(Re x, -Im x), Im(a·x) = (Re a, Im a)·(Im x, Re x).
    std::vector<double> for_parts(4 * n);
    double* const real = for_parts.data();
    double* const imaginary = real + 2 * n;
    for (std::size_t j = 0; j < n; ++j) {
        real[2 * j] = imaginary[2 * j + 1] = x[j].real();
        real[2 * j + 1] = -x[j].imag();
        imaginary[2 * j] = x[j].imag();
    }
    const auto form = path == avx512_path ? avx512_add_row_dot_pairs
                      : path == avx2_path ? avx2_add_row_dot_pairs
                                          : add_row_dot_pairs;
    form(reinterpret_cast<double*>(w), reinterpret_cast<const double*>(rows), 2 * stride, count,
         real, imaginary, 2 * n);
}

} // namespace numerical::detail
