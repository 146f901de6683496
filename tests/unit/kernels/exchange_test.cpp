#include "numerical/gemm/kernels/exchange.hpp"

#include "guarded.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "paths.hpp"
#include "vector_model.hpp"

#include <complex>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using namespace test;

TEST(exchange, moves_every_element_and_no_other)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n <= 70; ++n) {
            auto x = operand(n, 9);
            auto y = operand(n, 10);
            const auto before_x = x.values();
            const auto before_y = y.values();
            exchange_on(path, x.data(), y.data(), n);
            expect_same_bits(x.values(), before_y, label(path, n));
            expect_same_bits(y.values(), before_x, label(path, n));
            EXPECT_TRUE(x.intact() && y.intact()) << label(path, n);
        }
}

TEST(exchange, moves_both_parts_of_complex_numbers)
{
    for (const int path : test::available_paths()) {
        numerical::aligned_vector<std::complex<double>> x{{1, 2}, {3, 4}, {5, 6}};
        numerical::aligned_vector<std::complex<double>> y{{7, 8}, {9, 10}, {11, 12}};
        const auto before_x = x;
        const auto before_y = y;
        exchange_on(path, x.data(), y.data(), x.size());
        EXPECT_EQ(x, before_y);
        EXPECT_EQ(y, before_x);
    }
}

} // namespace
