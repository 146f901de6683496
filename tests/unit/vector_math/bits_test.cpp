#include "numerical/vector_math/functions.hpp"

#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

// An element's bits are the same on every path, at every place and at every number of threads.

namespace {

namespace vm = numerical::vector_math;

const std::vector<std::string> unary_names{
    "exp",  "exp2", "expm1", "log",    "log2",   "log10",  "log1p",   "sin",     "cos",    "tan",
    "sinh", "cosh", "tanh",  "arcsin", "arccos", "arctan", "arcsinh", "arccosh", "arctanh"};
const std::vector<std::string> binary_names{"pow", "arctan2", "hypot"};

// Numbers of all kinds, common and rare ones side by side.
numerical::aligned_vector<double> arguments(std::size_t count, unsigned int seed)
{
    std::mt19937_64 engine(seed);
    std::uniform_real_distribution<double> unit(-1, 1);
    const double special[] = {0.0,
                              -0.0,
                              1.0,
                              -1.0,
                              std::numeric_limits<double>::infinity(),
                              5e-324,
                              -std::numeric_limits<double>::infinity(),
                              1e300,
                              -800.0,
                              2.0,
                              std::numeric_limits<double>::quiet_NaN()};
    numerical::aligned_vector<double> x(count);
    for (double& element : x) {
        const double scales[] = {1.0, 30.0, 700.0, 1e5, 1e9};
        element = engine() % 16 == 0  ? special[engine() % std::size(special)]
                  : engine() % 4 == 0 ? std::bit_cast<double>(engine())
                                      : unit(engine) * scales[engine() % 5];
        if (std::isnan(element)) // one NaN, as any other may come out as it or as a quiet one
            element = std::numeric_limits<double>::quiet_NaN();
    }
    return x;
}

bool same_bits(const numerical::aligned_vector<double>& x,
               const numerical::aligned_vector<double>& y)
{
    return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0;
}

numerical::aligned_vector<double> unary(const std::string& name,
                                        const numerical::aligned_vector<double>& x)
{
    numerical::aligned_vector<double> y(x.size());
    vm::find_unary(name)(x.data(), y.data(), x.size());
    return y;
}

numerical::aligned_vector<double> binary(const std::string& name,
                                         const numerical::aligned_vector<double>& x,
                                         const numerical::aligned_vector<double>& y)
{
    numerical::aligned_vector<double> z(x.size());
    vm::find_binary(name)({x.data()}, {y.data()}, z.data(), x.size());
    return z;
}

TEST(bits, are_the_same_on_every_path)
{
    const numerical::aligned_vector<double> x = arguments(40000, 1);
    const numerical::aligned_vector<double> y = arguments(40000, 2);
    for (const int path : test::available_paths()) {
        const auto on = [path](const auto& f) {
            const test::path_limit limit(path);
            return f();
        };
        const auto portable = [](const auto& f) {
            const test::path_limit limit(numerical::detail::portable_path);
            return f();
        };
        for (const std::string& name : unary_names) {
            const auto f = [&] { return unary(name, x); };
            EXPECT_TRUE(same_bits(on(f), portable(f))) << name << " on " << path;
        }
        for (const std::string& name : binary_names) {
            const auto f = [&] { return binary(name, x, y); };
            EXPECT_TRUE(same_bits(on(f), portable(f))) << name << " on " << path;
        }
    }
}

// Every remainder of every width, every start within a vector, in place, with guards round it.
TEST(bits, are_the_same_at_every_place)
{
    constexpr std::size_t longest = 35;
    constexpr double guard = 123.0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::string& name : unary_names) {
            const numerical::aligned_vector<double> x = arguments(longest + 8, 3);
            numerical::aligned_vector<double> alone;
            for (const double element : x)
                alone.push_back(unary(name, {element})[0]);
            for (std::size_t first = 0; first < 8; ++first)
                for (std::size_t count = 0; count <= longest; ++count) {
                    numerical::aligned_vector<double> y(x.size() + 1, guard);
                    std::copy_n(x.begin() + static_cast<std::ptrdiff_t>(first), count,
                                y.begin() + static_cast<std::ptrdiff_t>(first));
                    vm::find_unary(name)(y.data() + first, y.data() + first, count);
                    numerical::aligned_vector<double> expected(x.size() + 1, guard);
                    std::copy_n(alone.begin() + static_cast<std::ptrdiff_t>(first), count,
                                expected.begin() + static_cast<std::ptrdiff_t>(first));
                    ASSERT_TRUE(same_bits(y, expected))
                        << name << " of " << count << " from " << first << " on " << path;
                }
        }
    }
}

TEST(bits, are_the_same_with_an_operand_for_all)
{
    const numerical::aligned_vector<double> x = arguments(37, 4);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::string& name : binary_names)
            for (const double scalar : {2.0, -0.5, 3.0, 0.0, 1e300, std::nan("")}) {
                const numerical::aligned_vector<double> constant(x.size(), scalar);
                numerical::aligned_vector<double> z(x.size());
                vm::find_binary(name)({x.data()}, {&scalar, false}, z.data(), x.size());
                EXPECT_TRUE(same_bits(z, binary(name, x, constant))) << name << " by " << scalar;
                vm::find_binary(name)({&scalar, false}, {x.data()}, z.data(), x.size());
                EXPECT_TRUE(same_bits(z, binary(name, constant, x))) << name << " of " << scalar;
                const double other = 0.75;
                vm::find_binary(name)({&scalar, false}, {&other, false}, z.data(), x.size());
                EXPECT_TRUE(same_bits(
                    z, binary(name, constant, numerical::aligned_vector<double>(x.size(), other))));
            }
    }
}

TEST(bits, are_the_same_at_every_number_of_threads)
{
    const numerical::aligned_vector<double> x = arguments(300001, 5);
    const numerical::aligned_vector<double> y = arguments(300001, 6);
    const auto results = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        std::vector<numerical::aligned_vector<double>> all;
        for (const std::string& name : unary_names)
            all.push_back(unary(name, x));
        for (const std::string& name : binary_names)
            all.push_back(binary(name, x, y));
        return all;
    };
    const auto expected = results(1);
    for (const std::size_t threads : test::thread_counts) {
        const auto all = results(threads);
        for (std::size_t i = 0; i < all.size(); ++i)
            EXPECT_TRUE(same_bits(all[i], expected[i])) << i << " with " << threads << " threads";
    }
}

TEST(symmetry, of_odd_and_even_functions_is_exact)
{
    numerical::aligned_vector<double> x = arguments(20000, 7);
    for (double& element : x)
        if (std::isnan(element))
            element = 1;
    numerical::aligned_vector<double> minus_x = x;
    for (double& element : minus_x)
        element = -element;
    for (const char* name :
         {"sin", "tan", "sinh", "tanh", "arcsin", "arctan", "arcsinh", "arctanh", "cos", "cosh"}) {
        const bool even = std::string(name).starts_with("cos");
        const numerical::aligned_vector<double> y = unary(name, x);
        const numerical::aligned_vector<double> z = unary(name, minus_x);
        for (std::size_t i = 0; i < x.size(); ++i)
            EXPECT_TRUE(std::isnan(y[i]) ? std::isnan(z[i]) : z[i] == (even ? y[i] : -y[i]))
                << name << " of " << x[i];
    }
}

} // namespace
