#include "numerical/vector_math/functions.hpp"

#include "paths.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

// The values of ISO/IEC 9899:1999, annex F.9. NaN is one value here.

namespace {

namespace vm = numerical::vector_math;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double tiny = std::numeric_limits<double>::denorm_min();
constexpr double max = std::numeric_limits<double>::max();
constexpr double pi = 0x1.921fb54442d18p+1;

bool same(double x, double y)
{
    return (std::isnan(x) && std::isnan(y)) ||
           std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

struct unary_value
{
    const char* name;
    double x;
    double result;
};

const std::vector<unary_value> unary_values{
    {"exp", 0.0, 1},
    {"exp", -0.0, 1},
    {"exp", inf, inf},
    {"exp", -inf, 0},
    {"exp", nan, nan},
    {"exp", 710, inf},
    {"exp", max, inf},
    {"exp", -746, 0},
    {"exp", -max, 0},
    {"exp", tiny, 1},
    {"exp", -745.13, tiny},
    {"exp", 0x1.62e42fefa39efp+9, 0x1.fffffffffff2ap+1023},
    {"exp", 0x1.62e42fefa39fp+9, inf},
    {"exp2", 0.0, 1},
    {"exp2", inf, inf},
    {"exp2", -inf, 0},
    {"exp2", nan, nan},
    {"exp2", 1024, inf},
    {"exp2", -1074, tiny},
    {"exp2", -1076, 0},
    {"exp2", 10, 1024},
    {"expm1", 0.0, 0.0},
    {"expm1", -0.0, -0.0},
    {"expm1", inf, inf},
    {"expm1", -inf, -1},
    {"expm1", nan, nan},
    {"expm1", tiny, tiny},
    {"expm1", -tiny, -tiny},
    {"expm1", 710, inf},
    {"expm1", -max, -1},
    {"expm1", -38, -1},
    {"log", 0.0, -inf},
    {"log", -0.0, -inf},
    {"log", 1, 0.0},
    {"log", -1, nan},
    {"log", inf, inf},
    {"log", -inf, nan},
    {"log", nan, nan},
    {"log", -tiny, nan},
    {"log", tiny, -0x1.74385446d71c3p+9},
    {"log", max, 0x1.62e42fefa39efp+9},
    {"log2", 0.0, -inf},
    {"log2", 1, 0.0},
    {"log2", -1, nan},
    {"log2", inf, inf},
    {"log2", nan, nan},
    {"log2", tiny, -1074},
    {"log10", -0.0, -inf},
    {"log10", 1, 0.0},
    {"log10", -1, nan},
    {"log10", inf, inf},
    {"log10", nan, nan},
    {"log10", 1000, 3},
    {"log1p", 0.0, 0.0},
    {"log1p", -0.0, -0.0},
    {"log1p", -1, -inf},
    {"log1p", -2, nan},
    {"log1p", inf, inf},
    {"log1p", -inf, nan},
    {"log1p", nan, nan},
    {"log1p", tiny, tiny},
    {"log1p", -tiny, -tiny},
    {"log1p", max, 0x1.62e42fefa39efp+9},
    {"sin", 0.0, 0.0},
    {"sin", -0.0, -0.0},
    {"sin", inf, nan},
    {"sin", -inf, nan},
    {"sin", nan, nan},
    {"sin", tiny, tiny},
    {"sin", -tiny, -tiny},
    {"sin", pi, 0x1.1a62633145c07p-53},
    {"cos", 0.0, 1},
    {"cos", -0.0, 1},
    {"cos", inf, nan},
    {"cos", -inf, nan},
    {"cos", nan, nan},
    {"cos", tiny, 1},
    {"cos", pi, -1},
    {"cos", pi / 2, 0x1.1a62633145c07p-54},
    {"tan", 0.0, 0.0},
    {"tan", -0.0, -0.0},
    {"tan", inf, nan},
    {"tan", nan, nan},
    {"tan", -tiny, -tiny},
    {"tan", pi / 2, 0x1.d02967c31cdb5p+53},
    {"sinh", 0.0, 0.0},
    {"sinh", -0.0, -0.0},
    {"sinh", inf, inf},
    {"sinh", -inf, -inf},
    {"sinh", nan, nan},
    {"sinh", -tiny, -tiny},
    {"sinh", 711, inf},
    {"sinh", -711, -inf},
    {"cosh", 0.0, 1},
    {"cosh", -0.0, 1},
    {"cosh", inf, inf},
    {"cosh", -inf, inf},
    {"cosh", nan, nan},
    {"cosh", -711, inf},
    {"tanh", 0.0, 0.0},
    {"tanh", -0.0, -0.0},
    {"tanh", inf, 1},
    {"tanh", -inf, -1},
    {"tanh", nan, nan},
    {"tanh", tiny, tiny},
    {"tanh", max, 1},
    {"tanh", -20, -1},
    {"arcsin", 0.0, 0.0},
    {"arcsin", -0.0, -0.0},
    {"arcsin", 1, pi / 2},
    {"arcsin", -1, -pi / 2},
    {"arcsin", 1 + 0x1p-52, nan},
    {"arcsin", -inf, nan},
    {"arcsin", nan, nan},
    {"arcsin", -tiny, -tiny},
    {"arccos", 1, 0.0},
    {"arccos", -1, pi},
    {"arccos", 0.0, pi / 2},
    {"arccos", -0.0, pi / 2},
    {"arccos", 1 + 0x1p-52, nan},
    {"arccos", inf, nan},
    {"arccos", nan, nan},
    {"arcsinh", 0.0, 0.0},
    {"arcsinh", -0.0, -0.0},
    {"arcsinh", inf, inf},
    {"arcsinh", -inf, -inf},
    {"arcsinh", nan, nan},
    {"arcsinh", tiny, tiny},
    {"arcsinh", -tiny, -tiny},
    {"arcsinh", max, 0x1.633ce8fb9f87ep+9},
    {"arccosh", 1, 0.0},
    {"arccosh", 0x1.fffffffffffffp-1, nan},
    {"arccosh", 0.0, nan},
    {"arccosh", -2, nan},
    {"arccosh", inf, inf},
    {"arccosh", -inf, nan},
    {"arccosh", nan, nan},
    {"arccosh", max, 0x1.633ce8fb9f87ep+9},
    {"arctanh", 0.0, 0.0},
    {"arctanh", -0.0, -0.0},
    {"arctanh", 1, inf},
    {"arctanh", -1, -inf},
    {"arctanh", 0x1.0000000000001p0, nan},
    {"arctanh", -inf, nan},
    {"arctanh", nan, nan},
    {"arctanh", tiny, tiny},
    {"arctanh", -tiny, -tiny},
    {"arctan", 0.0, 0.0},
    {"arctan", -0.0, -0.0},
    {"arctan", inf, pi / 2},
    {"arctan", -inf, -pi / 2},
    {"arctan", nan, nan},
    {"arctan", tiny, tiny},
    {"arctan", 1, pi / 4},
    {"arctan", -max, -pi / 2},
};

struct binary_value
{
    const char* name;
    double x;
    double y;
    double result;
};

const std::vector<binary_value> binary_values{
    {"pow", 0.0, 0.0, 1},
    {"pow", nan, 0.0, 1},
    {"pow", inf, -0.0, 1},
    {"pow", 1, nan, 1},
    {"pow", 1, inf, 1},
    {"pow", nan, 1, nan},
    {"pow", 2, nan, nan},
    {"pow", -1, inf, 1},
    {"pow", -1, -inf, 1},
    {"pow", 0.5, -inf, inf},
    {"pow", 2, -inf, 0},
    {"pow", 0.5, inf, 0},
    {"pow", -2, inf, inf},
    {"pow", 0.0, -3, inf},
    {"pow", -0.0, -3, -inf},
    {"pow", -0.0, -2, inf},
    {"pow", -0.0, -inf, inf},
    {"pow", 0.0, 3, 0.0},
    {"pow", -0.0, 3, -0.0},
    {"pow", -0.0, 2.5, 0.0},
    {"pow", -inf, -3, -0.0},
    {"pow", -inf, -2.5, 0.0},
    {"pow", -inf, 3, -inf},
    {"pow", -inf, 2, inf},
    {"pow", inf, -1, 0.0},
    {"pow", inf, 0.5, inf},
    {"pow", -8, 1.0 / 3, nan},
    {"pow", -8, 3, -512},
    {"pow", -8, 2, 64},
    {"pow", -2, -3, -0.125},
    {"pow", -1, 0x1p53, 1},
    {"pow", -1, 0x1p53 - 1, -1},
    {"pow", -1, max, 1},
    {"pow", 10, 309, inf},
    {"pow", -10, 309, -inf},
    {"pow", 10, -400, 0.0},
    {"pow", -10, -401, -0.0},
    {"pow", 2, -1074, tiny},
    {"pow", 2, 1023, 0x1p1023},
    {"pow", tiny, 0.5, 0x1p-537},
    {"pow", tiny, -1, inf},
    {"pow", 1 + 0x1p-52, max, inf},
    {"pow", 1 - 0x1p-53, max, 0.0},
    {"pow", max, 1, max},
    {"pow", -tiny, 1, -tiny},
    {"pow", 4, 0.5, 2},
    {"pow", tiny, max, 0.0},
    {"arctan2", 0.0, 1, 0.0},
    {"arctan2", -0.0, 1, -0.0},
    {"arctan2", 0.0, -1, pi},
    {"arctan2", -0.0, -1, -pi},
    {"arctan2", 0.0, 0.0, 0.0},
    {"arctan2", -0.0, 0.0, -0.0},
    {"arctan2", 0.0, -0.0, pi},
    {"arctan2", -0.0, -0.0, -pi},
    {"arctan2", 1, 0.0, pi / 2},
    {"arctan2", -1, -0.0, -pi / 2},
    {"arctan2", 1, inf, 0.0},
    {"arctan2", -1, inf, -0.0},
    {"arctan2", 1, -inf, pi},
    {"arctan2", -1, -inf, -pi},
    {"arctan2", inf, 1, pi / 2},
    {"arctan2", -inf, -1, -pi / 2},
    {"arctan2", inf, inf, pi / 4},
    {"arctan2", -inf, inf, -pi / 4},
    {"arctan2", inf, -inf, 0x1.2d97c7f3321d2p+1},
    {"arctan2", -inf, -inf, -0x1.2d97c7f3321d2p+1},
    {"arctan2", nan, 1, nan},
    {"arctan2", 1, nan, nan},
    {"arctan2", tiny, max, 0.0},
    {"arctan2", tiny, tiny, pi / 4},
    {"arctan2", max, max, pi / 4},
    {"arctan2", tiny, -max, pi},
    {"arctan2", max, tiny, pi / 2},
    {"arctan2", tiny, 1, tiny},
    {"hypot", 0.0, -0.0, 0.0},
    {"hypot", inf, nan, inf},
    {"hypot", nan, -inf, inf},
    {"hypot", nan, 1, nan},
    {"hypot", 1, nan, nan},
    {"hypot", 3, -4, 5},
    {"hypot", max, max, inf},
    {"hypot", tiny, 0.0, tiny},
    {"hypot", -max, 0.0, max},
    {"hypot", 3e-320, 4e-320, 5e-320},
    {"hypot", 3e300, 4e300, 5e300},
    {"hypot", -inf, inf, inf},
};

TEST(special_values, of_one_operand_are_those_of_c)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const unary_value& v : unary_values) {
            double result = 0;
            vm::find_unary(v.name)(&v.x, &result, 1);
            EXPECT_TRUE(same(result, v.result)) << v.name << " of " << v.x << " gives "
                                                << std::hexfloat << result << " on " << path;
        }
    }
}

TEST(special_values, of_two_operands_are_those_of_c)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const binary_value& v : binary_values) {
            double result = 0;
            vm::find_binary(v.name)({&v.x}, {&v.y}, &result, 1);
            EXPECT_TRUE(same(result, v.result))
                << v.name << " of " << v.x << ", " << v.y << " gives " << result << " on " << path;
        }
    }
}

TEST(names, are_found_and_no_others)
{
    for (const char* name : {"", "ex", "expm", "asin", "atan2", "power", "sqrt"}) {
        EXPECT_EQ(vm::find_unary(name), nullptr) << name;
        EXPECT_EQ(vm::find_binary(name), nullptr) << name;
    }
    EXPECT_EQ(vm::find_unary("tanh"), vm::tanh);
    EXPECT_EQ(vm::find_binary("hypot"), vm::hypot);
    EXPECT_EQ(vm::find_unary("pow"), nullptr);
}

} // namespace
