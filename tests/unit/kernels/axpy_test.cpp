#include "numerical/gemm/kernels/axpy.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
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

TEST(axpy, scaled_add_rounds_once_on_vector_paths)
{
    constexpr double alpha = 1.0 / 3;
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= most; ++n) {
            auto x = operand(n, 9);
            auto y = operand(n, 10);
            auto want = y.values();
            for (std::size_t i = 0; i < n; ++i)
                want[i] = model::add_product(model::form_of(path), want[i], alpha, x.data()[i]);
            scaled_add_on(path, y.data(), x.data(), alpha, n);
            expect_same_bits(y.values(), want, label(path, n));
            EXPECT_TRUE(y.intact()) << label(path, n);
        }
}

TEST(axpy, subtract_scaled_adds_the_negated_multiple)
{
    constexpr double alpha = 1.0 / 3;
    for (const int path : test::available_paths()) {
        auto x = operand(37, 9);
        auto y = operand(37, 10);
        auto want = y;
        scaled_add_on(path, want.data(), x.data(), -alpha, 37);
        subtract_scaled_on(path, y.data(), x.data(), alpha, 37);
        expect_same_bits(y.values(), want.values(), label(path, 37));
    }
}

} // namespace
