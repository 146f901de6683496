#include "numerical/svd/range_guard.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {

template <class T>
void multiply_by_power(T* x, std::size_t n, int exponent)
{
    const double power = std::ldexp(1.0, exponent);
    if (std::isnormal(power)) // a product an element, rounded like scalbn's
        for (std::size_t i = 0; i < n; ++i)
            x[i] *= power;
    else
        for (std::size_t i = 0; i < n; ++i)
            x[i] = scaled_by_power(x[i], exponent);
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
template matrix<double> times_power(matrix<double>, int);
template matrix<complex> times_power(matrix<complex>, int);
template double largest_part(const aligned_vector<double>&);
template double largest_part(const aligned_vector<complex>&);
template std::vector<int> column_guards(const aligned_vector<double>&, std::size_t);
template std::vector<int> column_guards(const aligned_vector<complex>&, std::size_t);
template void multiply_columns(aligned_vector<double>&, const std::vector<int>&);
template void multiply_columns(aligned_vector<complex>&, const std::vector<int>&);

} // namespace numerical::detail
