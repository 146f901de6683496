#include "numerical/gemm/summation.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"
#include "paths.hpp"
#include "product_case.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace numerical::detail;

TEST(summation, goes_by_tiles_from_a_depth_and_a_number_of_products_on)
{
    EXPECT_EQ(summation_of({1000, 1000, 7}), summation::by_rows);
    EXPECT_EQ(summation_of({8, 8, 8}), summation::by_tiles);
    EXPECT_EQ(summation_of({9, 7, 8}), summation::by_rows);
    EXPECT_EQ(summation_of({1, 64, 8}), summation::by_tiles);
    EXPECT_EQ(summation_of({1, 1, 512}), summation::by_tiles);
    EXPECT_EQ(summation_of({1, 1, 511}), summation::by_rows);
    EXPECT_EQ(summation_of({0, 5, 100}), summation::by_rows);
    EXPECT_EQ(summation_of({5, 5, 0}), summation::by_rows);
}

TEST(summation, of_a_product_summed_as_any_larger_is_that_of_every_larger_one)
{
    for (std::size_t m = 1; m < 20; ++m)
        for (std::size_t n = 1; n < 20; ++n)
            for (std::size_t k = 1; k < 20; ++k)
                for (const std::size_t more : {0, 1, 100}) {
                    if (!summed_as_any_larger({m, n, k}))
                        continue;
                    ASSERT_EQ(summation_of({m, n, k}),
                              summation_of({m + more, n + more, k + more}));
                }
}

TEST(summation, of_an_area_where_depth_decides_is_that_of_every_larger_area)
{
    for (std::size_t m = 1; m <= depth_decides_from; ++m)
        for (std::size_t k = 1; k < 600; ++k) {
            const std::size_t n = (depth_decides_from + m - 1) / m;
            ASSERT_EQ(summation_of({m, n, k}), summation_of({1000, 1000, k})) << m << ", " << k;
        }
}

struct operands
{
    product_sizes sizes;
    numerical::aligned_vector<double> a;
    numerical::aligned_vector<double> b;

    explicit operands(const product_sizes& p)
        : sizes(p), a(test::random_vector<double>(p.m * p.k, 1)),
          b(test::random_vector<double>(p.k * p.n, 2))
    {
    }

    // The product of rows [i, i + m) of A and columns [j, j + n) of B, within the whole C.
    void multiply(summation order, std::size_t i, std::size_t j, std::size_t m, std::size_t n,
                  numerical::aligned_vector<double>& c) const
    {
        product_in_order(order, {m, n, sizes.k, a.data() + i * sizes.k, sizes.k, b.data() + j,
                                 sizes.n, c.data() + i * sizes.n + j, sizes.n, into_c::store});
    }
};

// Wherever the sizes' choice may lie: a product that is cut keeps its bits as long as its parts are
// summed in one order, whichever that is.
void expect_same_bits_when_cut(const product_sizes& sizes, summation order)
{
    const operands given(sizes);
    numerical::aligned_vector<double> whole(sizes.m * sizes.n);
    given.multiply(order, 0, 0, sizes.m, sizes.n, whole);
    for (const std::size_t step : {1, 3, 16, 64}) {
        numerical::aligned_vector<double> parts(whole.size());
        for (std::size_t i = 0; i < sizes.m; i += step)
            given.multiply(order, i, 0, std::min(step, sizes.m - i), sizes.n, parts);
        ASSERT_TRUE(test::same_bits(parts, whole)) << "rows by " << step;
        for (std::size_t j = 0; j < sizes.n; j += step)
            given.multiply(order, 0, j, sizes.m, std::min(step, sizes.n - j), parts);
        ASSERT_TRUE(test::same_bits(parts, whole)) << "columns by " << step;
    }
}

TEST(summation, of_parts_in_the_order_of_the_whole_gives_its_bits_for_either_order)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const product_sizes& sizes :
             {product_sizes{9, 65, 7}, {20, 33, 8}, {65, 130, 64}, {7, 9, 300}, {70, 5, 257}})
            for (const summation order : {summation::by_rows, summation::by_tiles})
                expect_same_bits_when_cut(sizes, order);
    }
}

TEST(summation, that_the_sizes_choose_is_that_of_gemm)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const product_sizes& sizes :
             {product_sizes{9, 7, 8}, {8, 8, 8}, {10, 10, 7}, {1, 64, 8}, {3, 3, 57}, {3, 3, 56}}) {
            const operands given(sizes);
            numerical::aligned_vector<double> ordered(sizes.m * sizes.n);
            numerical::aligned_vector<double> chosen(sizes.m * sizes.n);
            given.multiply(summation_of(sizes), 0, 0, sizes.m, sizes.n, ordered);
            gemm_new(sizes.m, sizes.n, sizes.k, given.a.data(), sizes.k, given.b.data(), sizes.n,
                     chosen.data(), sizes.n);
            ASSERT_TRUE(test::same_bits(chosen, ordered)) << sizes.m << ", " << sizes.k;
        }
    }
}

} // namespace
