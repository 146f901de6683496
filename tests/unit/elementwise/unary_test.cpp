#include "numerical/elementwise/unary.hpp"

#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <variant>
#include <vector>

namespace {

using numerical::negative;
using numerical::tensor;
using numerical::unary;
using complex = std::complex<double>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// Not constants to the compiler, which would fold a call and round it better than the library.
numerical::aligned_vector<double> arguments()
{
    numerical::aligned_vector<double> x{0.0,   -0.0,   1.0,    -1.0,  0.5, 2.0,
                                        700.0, -745.2, 1e-310, 1e300, inf, -inf};
    for (int i = 0; i < 50; ++i)
        x.push_back(std::ldexp(static_cast<double>(i * i - 600), i % 9 - 8));
    return x;
}

using real_function = double (*)(double);
using complex_function = complex (*)(const complex&);

const std::vector<std::pair<std::string, real_function>> real_functions{
    {"exp", std::exp}, {"log", std::log}, {"sqrt", std::sqrt}, {"sin", std::sin},
    {"cos", std::cos}, {"tan", std::tan}, {"tanh", std::tanh}, {"abs", std::fabs}};

const std::vector<std::pair<std::string, complex_function>> complex_functions{
    {"exp", std::exp<double>},  {"log", std::log<double>}, {"sqrt", std::sqrt<double>},
    {"sin", std::sin<double>},  {"cos", std::cos<double>}, {"tan", std::tan<double>},
    {"tanh", std::tanh<double>}};

bool same(double x, double y)
{
    return (std::isnan(x) && std::isnan(y)) ||
           std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

TEST(unary, of_a_real_number_is_what_the_library_gives)
{
    const numerical::aligned_vector<double> x = arguments();
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [name, function] : real_functions) {
            const auto result = unary(name, tensor<double>({x.size()}, x));
            const auto& values = std::get<0>(*result).data;
            for (std::size_t i = 0; i < x.size(); ++i)
                EXPECT_TRUE(same(values[i], function(x[i]))) << name << " of " << x[i];
        }
    }
}

TEST(unary, of_a_complex_number_is_what_the_library_gives)
{
    numerical::aligned_vector<complex> z;
    for (const double x : arguments())
        for (const double y : {0.0, -0.0, 0.75, -3.0})
            z.emplace_back(x, y);
    for (const auto& [name, function] : complex_functions) {
        const auto result = unary(name, tensor<complex>({z.size()}, z));
        const auto& values = std::get<1>(*result).data;
        for (std::size_t i = 0; i < z.size(); ++i) {
            EXPECT_TRUE(same(values[i].real(), function(z[i]).real())) << name << " of " << z[i];
            EXPECT_TRUE(same(values[i].imag(), function(z[i]).imag())) << name << " of " << z[i];
        }
    }
}

TEST(unary, abs_of_complex_numbers_is_real_and_keeps_the_shape)
{
    const auto result = unary("abs", tensor<complex>({1, 2}, {{3, -4}, {-1e308, 1e308}}));
    const auto& magnitudes = std::get<0>(*result);
    EXPECT_EQ(magnitudes.shape, (std::vector<std::size_t>{1, 2}));
    EXPECT_EQ(magnitudes.data[0], 5.0);
    EXPECT_TRUE(std::isfinite(magnitudes.data[1]));
}

TEST(unary, knows_no_other_name)
{
    const tensor<double> x({1}, {1.0});
    for (const char* name : {"", "ex", "expm", "sinh", "Exp", "abss", "cosh"})
        EXPECT_FALSE(unary(name, x).has_value()) << name;
}

TEST(negative, flips_every_sign_bit)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (std::size_t n = 0; n < 40; ++n) {
            numerical::aligned_vector<double> x(n);
            for (std::size_t i = 0; i < n; ++i)
                x[i] = i % 3 == 0 ? 0.0 : i % 3 == 1 ? -nan : static_cast<double>(i);
            const auto y = negative(tensor<double>({n}, x)).data;
            for (std::size_t i = 0; i < n; ++i)
                EXPECT_EQ(std::bit_cast<std::uint64_t>(y[i]),
                          std::bit_cast<std::uint64_t>(x[i]) ^ (std::uint64_t{1} << 63));
        }
        const auto z = negative(tensor<complex>({1}, {complex(0.0, -2.0)})).data[0];
        EXPECT_TRUE(std::signbit(z.real()));
        EXPECT_EQ(z.imag(), 2.0);
    }
}

} // namespace
