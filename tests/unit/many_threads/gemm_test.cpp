#include "numerical/gemm/gemm.hpp"

#include "many.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/matrix_vector.hpp"
#include "paths.hpp"
#include "product_case.hpp"

#include <cfenv>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using test::product_case;
using test::product_shape;

template <class T>
class product_on_64_cores : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(product_on_64_cores, element_types);

template <class T>
void expect_bits_of_one_core(const product_shape& shape, int path)
{
    const test::path_limit limit(path);
    const product_case<T> start(shape, test::random_vector<T>);
    product_case<T> serial = start;
    {
        const test::thread_limit one(1);
        serial.run(gemm<T>);
    }
    for (const std::size_t threads : test::numbers_of_threads(path)) {
        const test::thread_limit cap(threads);
        product_case<T> got = start;
        got.run(gemm<T>);
        ASSERT_TRUE(test::same_bits(got.c, serial.c))
            << label(shape) << ", path " << path << ", threads " << threads;
    }
}

TYPED_TEST(product_on_64_cores, has_the_bits_of_one_core)
{
    for (const product_shape& shape : {product_shape{300, 310, 290},
                                       {2000, 40, 70},
                                       {40, 2000, 70},
                                       {13, 2100, 300},
                                       {2000, 1, 500},
                                       {1, 2000, 500}})
        for (const int path : test::available_paths())
            expect_bits_of_one_core<TypeParam>(shape, path);
}

// Rows of a small C go through all blocks of the depth from 2048 positions on for 16 rows on
// AVX-512, from 4096 on on AVX2.
TYPED_TEST(product_on_64_cores, of_small_and_deep_operands_has_the_bits_of_one_core)
{
    for (const int path : test::available_paths()) {
        for (const std::size_t depth : {2047, 2048, 2049, 4095, 4096, 4097})
            expect_bits_of_one_core<TypeParam>({16, 16, depth}, path);
        for (const std::size_t rows : {1, 7, 9, 37, 127, 128})
            expect_bits_of_one_core<TypeParam>({rows, 21, 6000}, path);
    }
}

TYPED_TEST(product_on_64_cores, of_a_matrix_with_a_vector_has_the_bits_of_one_core)
{
    constexpr std::size_t rows = 1100;
    constexpr std::size_t cols = 1300;
    const auto a = test::random_vector<TypeParam>(rows * cols, 1);
    const auto right = test::random_vector<TypeParam>(cols, 2);
    const auto left = test::random_vector<TypeParam>(rows, 3);
    const auto products = [&](std::size_t threads) {
        const test::thread_limit cap(threads);
        numerical::aligned_vector<TypeParam> all(rows + cols + 1);
        matrix_times_vector(rows, cols, a.data(), right.data(), all.data());
        vector_times_matrix(rows, cols, left.data(), a.data(), all.data() + rows);
        all.back() = vector_times_vector(a.size(), a.data(), a.data());
        return all;
    };
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto serial = products(1);
        for (const std::size_t threads : {2UL, 3UL, 7UL, 64UL})
            EXPECT_TRUE(test::same_bits(products(threads), serial))
                << "path " << path << ", threads " << threads;
    }
}

TYPED_TEST(product_on_64_cores, rounds_as_its_caller_does_on_every_core)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const product_case<TypeParam> start({300, 310, 290}, test::random_vector<TypeParam>);
        const auto on = [&](std::size_t threads, int rounding) {
            const test::thread_limit cap(threads);
            product_case<TypeParam> got = start;
            std::fesetround(rounding);
            got.run(gemm<TypeParam>);
            std::fesetround(FE_TONEAREST);
            return got.c;
        };
        const auto upward = on(1, FE_UPWARD);
        EXPECT_FALSE(test::same_bits(upward, on(1, FE_TONEAREST)));
        for (const std::size_t threads : {2UL, 64UL}) {
            EXPECT_TRUE(test::same_bits(upward, on(threads, FE_UPWARD))) << threads;
            EXPECT_TRUE(test::same_bits(on(1, FE_TONEAREST), on(threads, FE_TONEAREST)));
        }
    }
}

} // namespace
