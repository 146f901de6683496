#include "numerical/gemm/kernels/dot.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "paths.hpp"
#include "vector_model.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using namespace numerical::detail;
using namespace test;
using complex = std::complex<double>;

constexpr std::size_t most = 70; // beyond two steps of 32

TEST(dot, dot_is_exact_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= most; ++n) {
            auto a = integers(n, 1);
            auto b = integers(n, 2);
            const auto x = a.values();
            const auto y = b.values();
            const double sum = std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
            EXPECT_EQ(dot_on(path, a.data(), b.data(), n), sum) << label(path, n);
        }
}

TEST(dot, dot_sums_in_its_stated_order)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= 3 * most; ++n) {
            auto a = operand(n, 3);
            auto b = operand(n, 4);
            EXPECT_TRUE(same_bits(dot_on(path, a.data(), b.data(), n),
                                  model::dot(model::form_of(path), a.data(), b.data(), n)))
                << label(path, n);
        }
}

TEST(dot, dot_does_not_depend_on_alignment)
{
    const auto a = test::random_vector<double>(200, 5);
    const auto b = test::random_vector<double>(200, 6);
    for (const int path : test::available_paths()) {
        const double first = dot_on(path, a.data(), b.data(), 150);
        for (std::size_t shift = 1; shift < 8; ++shift) {
            numerical::aligned_vector<double> x(200);
            numerical::aligned_vector<double> y(200);
            std::copy_n(a.begin(), 150, x.begin() + static_cast<std::ptrdiff_t>(shift));
            std::copy_n(b.begin(), 150, y.begin() + static_cast<std::ptrdiff_t>(2 * shift));
            EXPECT_TRUE(same_bits(dot_on(path, x.data() + shift, y.data() + 2 * shift, 150), first))
                << label(path, shift);
        }
    }
}

TEST(dot, dispatched_dot_follows_the_path_in_force)
{
    const auto a = test::random_vector<double>(1000, 7);
    const auto b = test::random_vector<double>(1000, 8);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        EXPECT_TRUE(same_bits(dot_product(a.data(), b.data(), 1000),
                              model::dot(model::form_of(path), a.data(), b.data(), 1000)))
            << label(path, 1000);
    }
}

} // namespace
