#include "numerical/gemm/vector_dispatch.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/sum_by_halves.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace numerical::detail {
namespace {

constexpr std::size_t chunk_elements = 16384;

void plain_scaled_add(double* y, const double* x, double alpha, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        y[i] += alpha * x[i];
}

void plain_subtract_products(double* out, const double* coeffs, const double* rows,
                             std::size_t row_stride, std::size_t terms, std::size_t n)
{
    const auto* const c = reinterpret_cast<const complex*>(coeffs);
    const auto* const z = reinterpret_cast<const complex*>(rows);
    auto* const sums = reinterpret_cast<complex*>(out);
    for (std::size_t t = 0; t < terms; ++t)
        for (std::size_t j = 0; j < n; ++j)
            sums[j] -= c[t] * z[t * row_stride + j];
}

} // namespace

double dot_on(int path, const double* a, const double* b, std::size_t n)
{
    return choose(path, dot_product<double>, avx2_dot, avx512_dot)(a, b, n);
}

double long_dot_on(int path, const double* a, const double* b, std::size_t n)
{
    return sum_by_halves(0, n, longest_run, [=](std::size_t from, std::size_t to) {
        return dot_on(path, a + from, b + from, to - from);
    });
}

double dot_product(const double* a, const double* b, std::size_t n)
{
    return dot_on(gemm_path_current(), a, b, n);
}

void exchange_on(int path, double* x, double* y, std::size_t n)
{
    if (path == portable_path)
        std::swap_ranges(x, x + n, y);
    else
        (path == avx512_path ? avx512_exchange : avx2_exchange)(x, y, n);
}

void exchange_on(int path, complex* x, complex* y, std::size_t n)
{
    exchange_on(path, as_doubles(x), as_doubles(y), 2 * n);
}

void scaled_add_on(int path, double* y, const double* x, double alpha, std::size_t n)
{
    choose(path, plain_scaled_add, avx2_scaled_add, avx512_scaled_add)(y, x, alpha, n);
}

void subtract_scaled_on(int path, double* y, const double* x, double alpha, std::size_t n)
{
    scaled_add_on(path, y, x, -alpha, n);
}

void subtract_scaled_on(int path, complex* y, const complex* x, complex alpha, std::size_t n)
{
    subtract_products_on(path, y, &alpha, x, n, 1, n);
}

void subtract_products_on(int path, double* out, const double* coeffs, const double* rows,
                          std::size_t row_stride, std::size_t terms, std::size_t n)
{
    choose(path, subtract_products<double>, avx2_subtract_products,
           avx512_subtract_products)(out, coeffs, rows, row_stride, terms, n);
}

void subtract_products_on(int path, complex* out, const complex* coeffs, const complex* rows,
                          std::size_t row_stride, std::size_t terms, std::size_t n)
{
    const auto kernel = choose(path, plain_subtract_products, avx2_subtract_complex_products,
                               avx512_subtract_complex_products);
    kernel(as_doubles(out), as_doubles(coeffs), as_doubles(rows), row_stride, terms, n);
}

double plain_dot(const double* a, const double* b, std::size_t n)
{
    return dot_product(a, b, n);
}

namespace {

// The dots of W runs of n elements that lie end to end, by the textbook formula of the product:
// several times faster than checking each product. A product with a NaN leaves one in its sum, and
// only such sums have to be formed again. Independent runs hide the latency of addition.
template <std::size_t W>
std::array<complex, W> textbook_dots(const complex* a, const complex* b, std::size_t n)
{
    std::array<double, W> real{};
    std::array<double, W> imag{};
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t w = 0; w < W; ++w) {
            const complex x = a[w * n + i];
            const complex y = b[w * n + i];
            real[w] += x.real() * y.real() - x.imag() * y.imag();
            imag[w] += x.real() * y.imag() + x.imag() * y.real();
        }
    std::array<complex, W> dots;
    for (std::size_t w = 0; w < W; ++w)
        dots[w] = {real[w], imag[w]};
    return dots;
}

complex annex_g_dot(const complex* a, const complex* b, std::size_t n)
{
    complex sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum += a[i] * b[i];
    return sum;
}

void dot_two_chunks(const double* a, const double* b, double* out)
{
    for (std::size_t i = 0; i < 2; ++i)
        out[i] = plain_dot(a + i * chunk_elements, b + i * chunk_elements, chunk_elements);
}

void dot_two_chunks(const complex* a, const complex* b, complex* out)
{
    std::array<complex, 2> textbook;
    if (avx2_in_force(gemm_path_current()))
        avx2_unfused_two_complex_dots(as_doubles(a), as_doubles(b), chunk_elements,
                                      as_doubles(textbook.data()));
    else
        textbook = textbook_dots<2>(a, b, chunk_elements);
    for (std::size_t i = 0; i < 2; ++i)
        out[i] = has_nan(textbook[i])
                     ? annex_g_dot(a + i * chunk_elements, b + i * chunk_elements, chunk_elements)
                     : textbook[i];
}

} // namespace

complex plain_dot(const complex* a, const complex* b, std::size_t n)
{
    const complex textbook = textbook_dots<1>(a, b, n)[0];
    return has_nan(textbook) ? annex_g_dot(a, b, n) : textbook;
}

template <class T>
T chunked_dot(const T* a, const T* b, std::size_t n)
{
    if (n <= chunk_elements)
        return plain_dot(a, b, n);
    aligned_vector<T> partial(ceil_div(n, chunk_elements));
    const auto sum_two_chunks = [&](std::size_t i) {
        std::size_t chunk = 2 * i;
        std::size_t from = chunk * chunk_elements;
        if (n - from >= 2 * chunk_elements)
            return dot_two_chunks(a + from, b + from, &partial[chunk]);
        for (; chunk < partial.size(); ++chunk, from += chunk_elements)
            partial[chunk] = plain_dot(a + from, b + from, std::min(chunk_elements, n - from));
    };
    parallel_for((partial.size() + 1) / 2, 2 * chunk_elements, sum_two_chunks);
    T sum = 0;
    for (const T& part : partial)
        sum += part;
    return sum;
}

template double chunked_dot(const double*, const double*, std::size_t);
template complex chunked_dot(const complex*, const complex*, std::size_t);

namespace {

// By the largest modulus, when the plain sum of squares leaves the safe range. NaN elements don't
// enter the maximum, so that NaNs alone have norm 0.
template <class T>
double norm_by_largest(const T* x, std::size_t n)
{
    double largest = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (std::abs(x[i]) > largest)
            largest = std::abs(x[i]);
    if (largest == 0)
        return 0;
    const auto squares = [=](std::size_t from, std::size_t to) {
        double sum = 0;
        for (std::size_t i = from; i < to; ++i) {
            const double ratio = std::abs(x[i]) / largest;
            sum += ratio * ratio;
        }
        return sum;
    };
    return largest * std::sqrt(sum_by_halves(0, n, longest_run, squares));
}

} // namespace

double scaled_norm(const double* x, std::size_t n)
{
    const double square = long_dot_on(gemm_path_current(), x, x, n);
    if (is_safe_square(square))
        return std::sqrt(square);
    return norm_by_largest(x, n);
}

double scaled_norm(const complex* x, std::size_t n)
{
    const auto* const parts = as_doubles(x);
    const double square = long_dot_on(gemm_path_current(), parts, parts, 2 * n);
    if (is_safe_square(square))
        return std::sqrt(square);
    return norm_by_largest(x, n);
}

} // namespace numerical::detail
