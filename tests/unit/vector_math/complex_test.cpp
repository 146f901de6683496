#include "numerical/vector_math/complex_functions.hpp"

#include "numerical/aligned_vector.hpp"
#include "paths.hpp"
#include "units.hpp"

#include <cmath>
#include <complex>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

// The oracle is the C library: its functions in 80 bits for errors, those of double for what annex
// G says of infinities, NaN and zeros.

namespace {

namespace vm = numerical::vector_math;
using complex = std::complex<double>;
using wide = std::complex<long double>;

struct function_case
{
    const char* name;
    wide (*wide_oracle)(const wide&);
    complex (*oracle)(const complex&);
    double bound; // of each part
};

const std::vector<function_case> functions{
    {"exp", std::exp<long double>, std::exp<double>, 3},
    {"log", std::log<long double>, std::log<double>, 2},
    {"sqrt", std::sqrt<long double>, std::sqrt<double>, 3},
    {"sin", std::sin<long double>, std::sin<double>, 3},
    {"cos", std::cos<long double>, std::cos<double>, 3},
    {"tan", std::tan<long double>, std::tan<double>, 5},
    {"sinh", std::sinh<long double>, std::sinh<double>, 3},
    {"cosh", std::cosh<long double>, std::cosh<double>, 3},
    {"tanh", std::tanh<long double>, std::tanh<double>, 5},
};

numerical::aligned_vector<complex> results(const std::string& name,
                                           const numerical::aligned_vector<complex>& z)
{
    numerical::aligned_vector<complex> y(z.size());
    vm::find_complex_unary(name)(z.data(), y.data(), z.size());
    return y;
}

numerical::aligned_vector<complex> square(double half_side, std::size_t count)
{
    std::mt19937_64 engine(5);
    std::uniform_real_distribution<double> numbers(-half_side, half_side);
    numerical::aligned_vector<complex> z(count);
    for (complex& element : z) {
        const double x = numbers(engine);
        element = {x, numbers(engine)};
    }
    return z;
}

// Where the logarithm's real part is small.
numerical::aligned_vector<complex> near_unit_circle(std::size_t count)
{
    numerical::aligned_vector<complex> z(count);
    for (std::size_t i = 0; i < count; ++i)
        z[i] = std::polar(1 + 1e-9 * static_cast<double>(i % 7), static_cast<double>(i));
    return z;
}

TEST(complex_accuracy, of_each_part)
{
    for (const function_case& f : functions)
        for (const auto& z : {square(1, 5000), square(15, 5000), square(1e-5, 5000),
                              square(700, 5000), near_unit_circle(5000)}) {
            const numerical::aligned_vector<complex> y = results(f.name, z);
            for (std::size_t i = 0; i < z.size(); ++i) {
                const wide expected = f.wide_oracle(wide(z[i]));
                ASSERT_LT(test::units_off(y[i].real(), expected.real()), f.bound)
                    << f.name << std::hexfloat << z[i] << y[i];
                ASSERT_LT(test::units_off(y[i].imag(), expected.imag()), f.bound)
                    << f.name << std::hexfloat << z[i] << y[i];
            }
        }
}

TEST(complex_accuracy, near_the_ends_of_the_range)
{
    for (const function_case& f : functions)
        for (const double x : {709.0, 710.0, 720.0, -709.0, -740.0, 1e-300, 1e300, 5e-324, 1.7e308})
            for (const double y : {1.0, -1.5, 709.5, 1e-310, 1e300, 1.7e308}) {
                const complex z = results(f.name, {{x, y}})[0];
                const wide expected = f.wide_oracle(wide(x, y));
                EXPECT_LT(test::units_off(z.real(), expected.real()), f.bound + 1)
                    << f.name << x << ", " << y << z << expected;
                EXPECT_LT(test::units_off(z.imag(), expected.imag()), f.bound + 1)
                    << f.name << x << ", " << y << z << expected;
            }
}

bool same(double x, double y)
{
    return (std::isnan(x) && std::isnan(y)) || (x == y && std::signbit(x) == std::signbit(y));
}

// The standard leaves the sign open of a zero or an infinity beside a NaN.
bool close(double x, double expected, double other_part)
{
    if (std::isnan(other_part))
        return same(std::fabs(x), std::fabs(expected));
    return same(x, expected) || (x != 0 && std::fabs(x - expected) < 1e-14 * std::fabs(x));
}

numerical::aligned_vector<double> moduli(const numerical::aligned_vector<complex>& z)
{
    numerical::aligned_vector<double> y(z.size());
    vm::modulus(z.data(), y.data(), z.size());
    return y;
}

TEST(modulus, is_the_root_of_the_squares_to_the_last_unit)
{
    for (const auto& z :
         {square(1, 5001), square(1e-310, 500), square(1.2e308, 500), near_unit_circle(5000)}) {
        const numerical::aligned_vector<double> y = moduli(z);
        for (std::size_t i = 0; i < z.size(); ++i)
            ASSERT_LT(test::units_off(y[i], std::abs(wide(z[i]))), 0.6) << std::hexfloat << z[i];
    }
    constexpr double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(moduli({{3.0, -4.0}, {-0.0, 0.0}, {inf, std::nan("")}, {0.0, -5e-324}}),
              (numerical::aligned_vector<double>{5.0, 0.0, inf, 5e-324}));
    EXPECT_TRUE(std::isnan(moduli({{1.0, std::nan("")}})[0]));
}

TEST(complex_special_values, are_those_of_the_c_library)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    const double numbers[] = {0.0, -0.0, 1.0, -2.5, inf, -inf, std::nan("")};
    for (const function_case& f : functions)
        for (const double x : numbers)
            for (const double y : numbers) {
                if (std::isfinite(x) && std::isfinite(y) && x != 0 && y != 0)
                    continue;
                const complex z = results(f.name, {{x, y}})[0];
                const complex expected = f.oracle({x, y});
                EXPECT_TRUE(close(z.real(), expected.real(), expected.imag()) &&
                            close(z.imag(), expected.imag(), expected.real()))
                    << f.name << complex(x, y) << " gives " << z << ", not " << expected;
            }
}

TEST(complex_power, is_the_exponential_of_a_product)
{
    const numerical::aligned_vector<complex> z = square(3, 2000);
    numerical::aligned_vector<complex> w = square(4, 2000);
    std::reverse(w.begin(), w.end());
    numerical::aligned_vector<complex> y(z.size());
    vm::pow({z.data()}, {w.data()}, y.data(), z.size());
    for (std::size_t i = 0; i < z.size(); ++i) {
        const wide expected = std::exp(wide(w[i]) * std::log(wide(z[i])));
        const double scale = 1 + std::abs(w[i] * std::log(z[i]));
        ASSERT_LT(std::abs(wide(y[i]) - expected), 0x1p-52 * scale * 3 * std::abs(expected));
    }
}

TEST(complex_power, of_zeros)
{
    const auto power = [](complex z, complex w) {
        complex y;
        vm::pow({&z}, {&w}, &y, 1);
        return y;
    };
    EXPECT_EQ(power({0, 0}, {0, 0}), complex(1, 0));
    EXPECT_EQ(power({2, 3}, {0, 0}), complex(1, 0));
    EXPECT_EQ(power({0, 0}, {2, 1}), complex(0, 0));
    EXPECT_TRUE(std::isnan(power({0, 0}, {-1, 0}).real()));
}

TEST(complex_bits, are_the_same_on_every_path_at_every_place_and_number_of_threads)
{
    const numerical::aligned_vector<complex> z = square(30, 20011);
    const complex exponent(0.5, -2);
    const auto all = [&](int path, std::size_t threads) {
        const test::path_limit path_limit(path);
        const test::thread_limit thread_limit(threads);
        numerical::aligned_vector<complex> together;
        for (const function_case& f : functions)
            for (const complex& y : results(f.name, z))
                together.push_back(y);
        numerical::aligned_vector<complex> y = z;
        vm::pow({y.data()}, {&exponent, false}, y.data(), y.size());
        together.insert(together.end(), y.begin(), y.end());
        vm::pow({&exponent, false}, {z.data()}, y.data(), y.size());
        together.insert(together.end(), y.begin(), y.end());
        return together;
    };
    const auto expected = all(numerical::detail::portable_path, 1);
    for (const int path : test::available_paths())
        for (const std::size_t threads : test::thread_counts) {
            const auto together = all(path, threads);
            EXPECT_EQ(
                std::memcmp(together.data(), expected.data(), expected.size() * sizeof(complex)), 0)
                << "path " << path << ", " << threads << " threads";
        }
    for (const function_case& f : functions) {
        const numerical::aligned_vector<complex> together = results(f.name, z);
        for (std::size_t i = 0; i < 600; ++i)
            EXPECT_EQ(results(f.name, {z[i]})[0], together[i]) << f.name;
    }
}

} // namespace
