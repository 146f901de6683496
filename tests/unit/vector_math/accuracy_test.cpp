#include "numerical/vector_math/functions.hpp"

#include "numerical/aligned_vector.hpp"
#include "units.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

// The oracle is the C library in 80 bits, whose own errors are a thousandth of a unit.

namespace {

namespace vm = numerical::vector_math;

using wide_function = long double (*)(long double);

numerical::aligned_vector<double> results(const std::string& name,
                                          const numerical::aligned_vector<double>& x)
{
    numerical::aligned_vector<double> y(x.size());
    vm::find_unary(name)(x.data(), y.data(), x.size());
    return y;
}

void expect_within(const std::string& name, double bound,
                   const numerical::aligned_vector<double>& x, wide_function oracle)
{
    const numerical::aligned_vector<double> y = results(name, x);
    double worst = 0;
    double where = 0;
    for (std::size_t i = 0; i < x.size(); ++i)
        if (const double off = test::units_off(y[i], oracle(x[i])); !(off <= worst)) {
            worst = off;
            where = x[i];
        }
    EXPECT_LT(worst, bound) << name << " of " << std::hexfloat << where;
}

numerical::aligned_vector<double> even(double low, double high, std::size_t count = 20000)
{
    std::mt19937_64 engine(7);
    std::uniform_real_distribution<double> numbers(low, high);
    numerical::aligned_vector<double> x(count);
    for (double& element : x)
        element = numbers(engine);
    return x;
}

// As many in each binade, of either sign.
numerical::aligned_vector<double> by_binades(double low, double high, std::size_t count = 20000)
{
    std::mt19937_64 engine(8);
    std::uniform_int_distribution<std::uint64_t> bits(std::bit_cast<std::uint64_t>(low),
                                                      std::bit_cast<std::uint64_t>(high));
    numerical::aligned_vector<double> x(count);
    for (double& element : x)
        element = std::bit_cast<double>(bits(engine)) * (engine() % 2 == 0 ? 1 : -1);
    return x;
}

numerical::aligned_vector<double> positive(numerical::aligned_vector<double> x)
{
    for (double& element : x)
        element = std::fabs(element);
    return x;
}

// The doubles next to a place.
numerical::aligned_vector<double> around(double place, int steps = 500)
{
    numerical::aligned_vector<double> x{place};
    double below = place;
    double above = place;
    for (int i = 0; i < steps; ++i) {
        x.push_back(below = std::nextafter(below, -HUGE_VAL));
        x.push_back(above = std::nextafter(above, HUGE_VAL));
    }
    return x;
}

TEST(accuracy, of_exponentials)
{
    for (const auto& x :
         {even(-708, 709.8), even(-1, 1), by_binades(1e-20, 700), around(709.78), around(708)})
        expect_within("exp", 0.6, x, expl);
    for (const auto& x : {even(-1022, 1024), even(-1, 1), around(1021)})
        expect_within("exp2", 0.65, x, exp2l);
    // Subnormal results are rounded twice.
    for (const auto& x : {even(-745.2, -708), around(-708.4), around(-745.13)})
        expect_within("exp", 0.8, x, expl);
    for (const auto& x : {even(-1075, -1022), around(-1022)})
        expect_within("exp2", 0.8, x, exp2l);
    for (const auto& x : {even(-45, 709.8), even(-1, 1), by_binades(1e-310, 700), around(0.0217),
                          around(-0.0217), around(-40)})
        expect_within("expm1", 0.6, x, expm1l);
}

TEST(accuracy, of_logarithms)
{
    const std::vector<std::pair<std::string, wide_function>> functions{
        {"log", logl}, {"log2", log2l}, {"log10", log10l}};
    for (const auto& [name, oracle] : functions)
        for (const auto& x : {positive(by_binades(5e-324, 1.79e308)), even(0.5, 2), around(1),
                              even(0.96, 1.04), around(2.2250738585072014e-308), around(0.703125)})
            expect_within(name, 0.65, x, oracle);
    for (const auto& x : {even(-0.999, 1), positive(by_binades(1e-310, 1.79e308)),
                          by_binades(1e-310, 0.99), around(-1 + 1e-13), even(-0.04, 0.04)})
        expect_within("log1p", 0.75, x, log1pl);
}

// Multiples of pi / 2, and the double that comes nearest to one (Muller 2016).
numerical::aligned_vector<double> near_quarter_turns()
{
    numerical::aligned_vector<double> x{0x1.6ac5b262ca1ffp+849, -0x1.6ac5b262ca1ffp+849};
    for (int k = 1; k < 1 << 22; k += k / 64 + 1)
        for (const double place : around(static_cast<double>(k * 1.5707963267948966192313L), 1))
            x.push_back(place);
    return x;
}

TEST(accuracy, of_angles_functions)
{
    const std::vector<std::tuple<std::string, wide_function, double>> functions{
        {"sin", sinl, 0.9}, {"cos", cosl, 0.9}, {"tan", tanl, 0.98}};
    for (const auto& [name, oracle, bound] : functions)
        for (const auto& x : {even(-10, 10), by_binades(1e-310, 1e6), by_binades(1e6, 1.79e308),
                              near_quarter_turns(), around(0x1p20)})
            expect_within(name, bound, x, oracle);
}

TEST(accuracy, of_hyperbolic_functions)
{
    const std::vector<std::pair<std::string, wide_function>> functions{
        {"sinh", sinhl}, {"cosh", coshl}, {"tanh", tanhl}};
    for (const auto& [name, oracle] : functions)
        for (const auto& x : {even(-710.5, 710.5), even(-1, 1), by_binades(1e-310, 40), around(708),
                              around(710.4758), around(20), around(0.0217)})
            expect_within(name, 0.65, x, oracle);
}

TEST(accuracy, of_inverse_hyperbolic_functions)
{
    for (const auto& x : {even(-10, 10), even(-1, 1), by_binades(1e-310, 1.79e308), around(0x1p500),
                          around(-0x1p500), around(0.703125), around(0x1p-14), around(0x1p-53)})
        expect_within("arcsinh", 0.8, x, asinhl);
    for (const auto& x : {even(1, 1.01), even(1, 20), positive(by_binades(1.0001, 1.79e308)),
                          around(0x1p500), even(1, 1 + 1e-9)})
        expect_within("arccosh", 0.8, x, acoshl);
    for (const auto& x : {even(-1, 1), by_binades(1e-310, 0.99), even(0.999999, 1), around(0x1p-14),
                          around(0x1p-53)})
        expect_within("arctanh", 0.8, x, atanhl);
}

TEST(accuracy, of_inverse_angle_functions)
{
    for (const auto& x : {even(-1, 1), by_binades(1e-310, 1), around(0.5), around(-0.5)}) {
        expect_within("arcsin", 0.85, x, asinl);
        expect_within("arccos", 0.85, x, acosl);
    }
    for (const auto& x : {even(-20, 20), even(-1, 1), by_binades(1e-310, 1.79e308), around(0.09375),
                          around(12), around(0x1p60)})
        expect_within("arctan", 0.9, x, atanl);
}

void expect_pairs_within(const std::string& name, double bound,
                         const numerical::aligned_vector<double>& x,
                         const numerical::aligned_vector<double>& y,
                         long double (*oracle)(long double, long double))
{
    numerical::aligned_vector<double> z(x.size());
    vm::find_binary(name)({x.data()}, {y.data()}, z.data(), x.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        ASSERT_LT(test::units_off(z[i], oracle(x[i], y[i])), bound)
            << name << std::hexfloat << " of " << x[i] << ", " << y[i];
}

TEST(accuracy, of_functions_of_two_operands)
{
    const auto shuffled = [](numerical::aligned_vector<double> y) {
        std::shuffle(y.begin(), y.end(), std::mt19937_64(3));
        return y;
    };
    const numerical::aligned_vector<double> wide = by_binades(1e-320, 1.79e308);
    expect_pairs_within("pow", 0.7, even(0.01, 100), shuffled(even(-150, 150)), powl);
    expect_pairs_within("pow", 0.7, even(0.97, 1.03), shuffled(even(-2e4, 2e4)), powl);
    expect_pairs_within("pow", 0.7, positive(wide), shuffled(by_binades(1e-3, 1e3)), powl);
    expect_pairs_within("pow", 0.7, around(1, 10000), even(-1e18, 1e18, 20001), powl);
    expect_pairs_within("arctan2", 0.9, even(-10, 10), shuffled(even(-10, 10)), atan2l);
    expect_pairs_within("arctan2", 0.9, wide, shuffled(wide), atan2l);
    expect_pairs_within("hypot", 0.6, even(-10, 10), shuffled(even(-10, 10)), hypotl);
    expect_pairs_within("hypot", 0.6, wide, shuffled(wide), hypotl);
}

// Integers and half integers that the functions give exactly.
TEST(accuracy, is_exact_where_the_result_is_a_short_number)
{
    for (int k = -1074; k < 1024; ++k)
        EXPECT_EQ(results("log2", {std::ldexp(1.0, k)})[0], k);
    for (int k = -1074; k < 1024; ++k)
        EXPECT_EQ(results("exp2", {static_cast<double>(k)})[0], std::ldexp(1.0, k));
    double power = 1;
    for (int k = 0; k <= 22; ++k, power *= 10)
        EXPECT_EQ(results("log10", {power})[0], k);
    for (int base = 1; base < 200; ++base)
        for (int k = 0; k < 7; ++k) {
            const double x = base;
            const double y = k;
            double z = 0;
            vm::pow({&x}, {&y}, &z, 1);
            EXPECT_EQ(z, std::pow(static_cast<long double>(base), k));
        }
}

} // namespace
