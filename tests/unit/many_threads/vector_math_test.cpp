#include "numerical/aligned_vector.hpp"
#include "numerical/vector_math/complex_functions.hpp"
#include "numerical/vector_math/functions.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>

namespace {

namespace vm = numerical::vector_math;
using complex = std::complex<double>;

// Long enough for each of 64 threads to have work.
constexpr std::size_t count = 5'000'011;

TEST(vector_math_on_64_cores, has_the_bits_of_one_core)
{
    const auto x = test::random_vector<double>(count, 1);
    const auto z = test::random_vector<complex>(count / 4, 2);
    const auto everything = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        numerical::aligned_vector<double> exponentials(x.size());
        numerical::aligned_vector<double> powers(x.size());
        numerical::aligned_vector<complex> roots(z.size());
        const double exponent = 3;
        vm::exp(x.data(), exponentials.data(), x.size());
        vm::pow({x.data()}, {&exponent, false}, powers.data(), x.size());
        vm::find_complex_unary("sqrt")(z.data(), roots.data(), z.size());
        return std::tuple(exponentials, powers, roots);
    };
    const auto serial = everything(1);
    for (const std::size_t threads : {2UL, 3UL, 64UL})
        EXPECT_TRUE(everything(threads) == serial) << threads;
}

} // namespace
