#include "numerical/gemm/vector_product.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"

#include "paths.hpp"
#include "product_case.hpp"
#include "product_model.hpp"
#include "same_bits_of_threads.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;
using test::product_case;
using test::product_shape;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <class T>
class vector_product : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(vector_product, element_types);

// Added to C and in the place of C, on every path, by the plain loop of the stated order.
template <class T>
void expect_stated_bits(const product_shape& shape)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const product_case<T> start(shape, test::random_vector<T>);
        for (const bool adds : {true, false}) {
            product_case<T> want = start;
            product_case<T> got = start;
            if (!adds) {
                want.fill_c(T(0));
                got.fill_c(T(nan));
            }
            model::multiply(path, shape.m, shape.n, shape.k, {want.a_first(), want.lda},
                            {want.b_first(), want.ldb}, want.c_first(), want.ldc);
            got.run(adds ? gemm<T> : gemm_new<T>);
            ASSERT_TRUE(test::same_bits(got.c, want.c))
                << label(shape) << ", path " << path << (adds ? ", added" : ", stored");
        }
    }
}

// Both sides: a matrix of rows × depth times a column, and a row times its transpose.
template <class T>
void expect_stated_bits_on_both_sides(std::size_t rows, std::size_t depth, std::size_t padding)
{
    expect_stated_bits<T>({rows, 1, depth, padding});
    expect_stated_bits<T>({1, rows, depth, padding});
}

// Without padding the vector's elements lie side by side, with it they are apart.
TYPED_TEST(vector_product, has_the_stated_bits_at_every_remainder)
{
    for (const std::size_t padding : {0U, 3U})
        for (std::size_t rows = 1; rows <= 35; ++rows)
            for (std::size_t depth : {16U, 17U, 18U, 19U, 20U, 21U, 22U, 23U, 512U, 513U})
                expect_stated_bits_on_both_sides<TypeParam>(rows, depth, padding);
}

// Depths about the blocks of 256, of which a last one may be too small for tiles; columns about a
// task's, a complex block's and the near ones; rows that begin a multiple of 4 KiB apart.
TYPED_TEST(vector_product, has_the_stated_bits_at_every_block_edge)
{
    for (const std::size_t depth : {255U, 256U, 257U, 259U, 264U, 511U, 520U, 768U, 1030U})
        for (const std::size_t rows : {1U, 2U, 8U, 100U})
            expect_stated_bits_on_both_sides<TypeParam>(rows, depth, 3);
    for (const std::size_t cols : {63U, 64U, 65U, 127U, 128U, 129U, 255U, 256U, 257U, 511U, 512U,
                                   513U, 514U, 769U, 1024U, 1030U, 2047U, 2048U, 2049U})
        for (const std::size_t depth : {8U, 15U, 300U})
            expect_stated_bits_on_both_sides<TypeParam>(cols, depth, 1);
    for (const std::size_t depth : {256U, 512U, 1024U})
        expect_stated_bits_on_both_sides<TypeParam>(40, depth, 0);
}

TYPED_TEST(vector_product, goes_directly_below_512_products_and_eight_positions)
{
    expect_stated_bits_on_both_sides<TypeParam>(1, 511, 0);
    expect_stated_bits_on_both_sides<TypeParam>(63, 8, 0);
    expect_stated_bits_on_both_sides<TypeParam>(64, 8, 0);
    expect_stated_bits_on_both_sides<TypeParam>(500, 7, 0);
}

TYPED_TEST(vector_product, has_the_same_bits_at_every_thread_count)
{
    test::expect_same_bits_of_threads<TypeParam>(
        {{700, 1, 900}, {1, 700, 900}, {33, 1, 20000}, {1, 33, 20000}, {1, 5000, 99}},
        gemm<TypeParam>);
}

TYPED_TEST(vector_product, of_a_batch_has_the_bits_of_single_ones)
{
    using T = TypeParam;
    for (const auto [batches, m, n, k] :
         {batch_sizes{5, 1, 70, 90}, {5, 70, 1, 90}, {3, 1, 1, 600}})
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto a = test::random_vector<T>(batches * m * k, 1);
            const auto b = test::random_vector<T>(batches * k * n, 2);
            numerical::aligned_vector<T> want(batches * m * n);
            for (std::size_t i = 0; i < batches; ++i)
                gemm_new<T>(m, n, k, a.data() + i * m * k, k, b.data() + i * k * n, n,
                            want.data() + i * m * n, n);
            numerical::aligned_vector<T> got(want.size(), T(nan));
            gemm_batch<T>({batches, m, n, k}, a.data(), b.data(), got.data());
            EXPECT_TRUE(test::same_bits(got, want)) << m << "x" << n << "x" << k;
        }
}

// NaN and infinity spread to their own element only, the way of real arithmetic.
TEST(real_vector_product, of_a_row_with_an_infinity_leaves_other_rows_alone)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr std::size_t n = 67;
    numerical::aligned_vector<double> a(n * n, 1.0);
    const numerical::aligned_vector<double> x(n, 2.0);
    a[5 * n + 66] = infinity;
    a[6 * n] = nan;
    numerical::aligned_vector<double> y(n);
    gemm_new<double>(n, 1, n, a.data(), n, x.data(), 1, y.data(), 1);
    EXPECT_EQ(y[5], infinity);
    EXPECT_TRUE(std::isnan(y[6]));
    y[5] = y[6] = 2.0 * n;
    EXPECT_EQ(y, numerical::aligned_vector<double>(n, 2.0 * n));
}

// A row times columns that lie one after the other, and a matrix times such a column.
TEST(real_vector_product, by_columns_has_the_bits_of_one_by_rows)
{
    for (const auto [m, n, k, padding] :
         {product_shape{1, 77, 90, 0}, {77, 1, 90, 1}, {1, 5, 300, 2}})
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto a = test::random_vector<double>(m * k, 1);
            const auto b = test::random_vector<double>(k * n, 2);
            numerical::aligned_vector<double> columns(n * (k + padding), nan);
            for (std::size_t l = 0; l < k; ++l)
                for (std::size_t j = 0; j < n; ++j)
                    columns[j * (k + padding) + l] = b[l * n + j];
            numerical::aligned_vector<double> want(m * n);
            numerical::aligned_vector<double> got(m * n, nan);
            gemm_new<double>(m, n, k, a.data(), k, b.data(), n, want.data(), n);
            gemm_new_by_columns(m, n, k, a.data(), k, columns.data(), k + padding, got.data(), n);
            EXPECT_TRUE(test::same_bits(got, want)) << m << "x" << n << "x" << k;
        }
}

} // namespace
