#include "numerical/svd/range_guard.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {

namespace {

// to[i] = x[i]·2^exponent, where `to` may be x.
void times_power_into(double* to, const double* x, std::size_t n, int exponent)
{
    const double power = std::ldexp(1.0, exponent);
    if (std::isnormal(power)) // a product an element, rounded like scalbn's
        for (std::size_t i = 0; i < n; ++i)
            to[i] = x[i] * power;
    else
        for (std::size_t i = 0; i < n; ++i)
            to[i] = scaled_by_power(x[i], exponent);
}

template <class T>
constexpr std::size_t doubles_in = sizeof(T) / sizeof(double);

} // namespace

template <class T>
void multiply_by_power(T* x, std::size_t n, int exponent)
{
    times_power_into(as_doubles(x), as_doubles(x), n * doubles_in<T>, exponent);
}

template <class T>
aligned_vector<T> copy_times_power(const T* x, std::size_t n, int exponent)
{
    constexpr std::size_t piece = 8192;
    aligned_vector<T> copy = uninitialized<T>(n);
    const std::size_t total = n * doubles_in<T>;
    const auto copy_piece = [&](std::size_t p) { // writes its own elements
        const std::size_t from = p * piece;
        times_power_into(as_doubles(copy.data()) + from, as_doubles(x) + from,
                         std::min(piece, total - from), exponent);
    };
    parallel_for(ceil_div(total, piece), piece, copy_piece);
    return copy;
}

template <class T>
matrix<T> adjoint_times_power(block_view<const T> a, int exponent)
{
    constexpr std::size_t band = 128; // narrower ones are transposed as if they were in cache
    matrix<T> adjoint(a.cols, a.rows, uninitialized<T>(a.cols * a.rows));
    const block_view<T> to = view_of(adjoint);
    const auto take_band = [&](std::size_t b) { // writes its own rows of the adjoint
        const std::size_t from = b * band;
        const std::size_t end = std::min(from + band, a.cols);
        adjoint_into(to.sub(from, end, 0, a.rows), a.sub(0, a.rows, from, end));
        multiply_by_power(to.row(from), (end - from) * a.rows, exponent);
    };
    parallel_for(ceil_div(a.cols, band), band * a.rows * doubles_in<T>, take_band);
    return adjoint;
}

template <class T>
matrix<T> times_power(matrix<T> a, int exponent)
{
    multiply_by_power(a.data.data(), a.data.size(), exponent);
    return a;
}

template <class T>
double largest_part(const aligned_vector<T>& a)
{
    return largest_modulus(as_doubles(a.data()), a.size() * (sizeof(T) / sizeof(double)));
}

int guard_exponent(double largest)
{
    if (largest > 0x1p960)
        return -128;
    return 0 < largest && largest <= 0x1p-960 ? 128 : 0;
}

template <class T>
std::vector<int> column_guards(const aligned_vector<T>& a, std::size_t columns)
{
    if (columns == 1)
        return {guard_exponent(largest_part(a))};
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    const auto* const values = as_doubles(a.data());
    aligned_vector<double> largest(columns * parts);
    for (std::size_t i = 0; i < a.size() * parts; i += largest.size())
        for (std::size_t j = 0; j < largest.size(); ++j)
            largest[j] = larger_modulus(largest[j], values[i + j]);
    std::vector<int> guards;
    for (std::size_t j = 0; j < largest.size(); j += parts)
        guards.push_back(guard_exponent(std::max(largest[j], largest[j + parts - 1])));
    return guards;
}

template <class T>
void multiply_columns(aligned_vector<T>& a, const std::vector<int>& exponents)
{
    const int first = exponents.empty() ? 0 : exponents[0];
    if (std::all_of(exponents.begin(), exponents.end(), [=](int e) { return e == first; })) {
        if (first != 0)
            multiply_by_power(a.data(), a.size(), first);
        return;
    }
    for (std::size_t i = 0; i < a.size(); ++i)
        a[i] = scaled_by_power(a[i], exponents[i % exponents.size()]);
}

std::vector<int> less_guards(int exponent, std::vector<int> guards)
{
    for (int& guard : guards)
        guard = exponent - guard;
    return guards;
}

template void multiply_by_power(double*, std::size_t, int);
template void multiply_by_power(complex*, std::size_t, int);
template aligned_vector<double> copy_times_power(const double*, std::size_t, int);
template aligned_vector<complex> copy_times_power(const complex*, std::size_t, int);
template matrix<double> adjoint_times_power(block_view<const double>, int);
template matrix<complex> adjoint_times_power(block_view<const complex>, int);
template matrix<double> times_power(matrix<double>, int);
template matrix<complex> times_power(matrix<complex>, int);
template double largest_part(const aligned_vector<double>&);
template double largest_part(const aligned_vector<complex>&);
template std::vector<int> column_guards(const aligned_vector<double>&, std::size_t);
template std::vector<int> column_guards(const aligned_vector<complex>&, std::size_t);
template void multiply_columns(aligned_vector<double>&, const std::vector<int>&);
template void multiply_columns(aligned_vector<complex>&, const std::vector<int>&);

} // namespace numerical::detail
