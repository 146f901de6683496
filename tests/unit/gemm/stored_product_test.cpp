#include "numerical/gemm/gemm.hpp"

#include "numerical/aligned_vector.hpp"
#include "paths.hpp"
#include "product_case.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;
using test::product_case;
using test::product_shape;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <class T>
class stored_product : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(stored_product, element_types);

template <class T>
void expect_bits_of_product_on_zeros(const product_shape& shape)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        product_case<T> want(shape, test::random_vector<T>);
        product_case<T> got = want;
        want.fill_c(T(0));
        got.fill_c(T(nan));
        want.run(gemm<T>);
        got.run(gemm_new<T>);
        ASSERT_TRUE(test::same_bits(got.c, want.c)) << label(shape) << ", path " << path;
    }
}

TYPED_TEST(stored_product, has_the_bits_of_one_on_zeros_at_every_remainder)
{
    for (std::size_t m = 1; m <= 26; ++m)
        for (std::size_t n = 1; n <= 35; ++n)
            expect_bits_of_product_on_zeros<TypeParam>({m, n, 8 + (m + n) % 3});
}

TYPED_TEST(stored_product, has_the_bits_of_one_on_zeros_at_every_block_edge)
{
    for (const product_shape& shape : {product_shape{30, 40, 256},
                                       {30, 40, 257},
                                       {16, 16, 700},
                                       {1, 1, 2000},
                                       {13, 513, 520},
                                       {9, 1025, 300},
                                       {9, 2049, 300},
                                       {300, 16, 16},
                                       {16, 300, 16},
                                       {300, 70, 530},
                                       {64, 64, 64, 0}})
        expect_bits_of_product_on_zeros<TypeParam>(shape);
}

TEST(stored_product_by_columns, has_the_bits_of_one_by_rows)
{
    for (const product_shape& shape : {product_shape{1, 64, 8},
                                       {30, 40, 256},
                                       {31, 37, 257},
                                       {16, 16, 700},
                                       {9, 2049, 20},
                                       {300, 17, 33},
                                       {17, 300, 9},
                                       {300, 131, 530},
                                       {64, 64, 64}})
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            product_case<double> want(shape, test::random_vector<double>);
            product_case<double> got = want;
            want.run(gemm_new<double>);
            const std::size_t ldb = shape.k + 3;
            numerical::aligned_vector<double> columns(shape.n * ldb, nan);
            for (std::size_t l = 0; l < shape.k; ++l)
                for (std::size_t j = 0; j < shape.n; ++j)
                    columns[j * ldb + l] = got.b_first()[l * got.ldb + j];
            gemm_new_by_columns(shape.m, shape.n, shape.k, got.a_first(), got.lda, columns.data(),
                                ldb, got.c_first(), got.ldc);
            ASSERT_TRUE(test::same_bits(got.c, want.c)) << label(shape) << ", path " << path;
        }
}

TYPED_TEST(stored_product, by_rows_has_the_bits_of_one_on_zeros)
{
    for (std::size_t m = 1; m <= 5; ++m)
        for (std::size_t n = 1; n <= 23; ++n)
            for (std::size_t k = 0; k <= 7; ++k)
                expect_bits_of_product_on_zeros<TypeParam>({m, n, k});
    expect_bits_of_product_on_zeros<TypeParam>({70, 90, 5});
}

// Rows whose complex products are computed again, by Annex G, begin with zeros too.
TEST(stored_product, by_rows_recovers_complex_infinities)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const numerical::aligned_vector<complex> a{{infinity, infinity}, {0, 0}};
        for (std::size_t n = 1; n <= 9; ++n) {
            const numerical::aligned_vector<complex> b(2 * n, complex(1, 1));
            numerical::aligned_vector<complex> c(n, complex(nan, nan));
            gemm_new<complex>(1, n, 2, a.data(), 2, b.data(), n, c.data(), n);
            for (const complex value : c)
                EXPECT_TRUE(std::isinf(value.real()) || std::isinf(value.imag())) << value;
        }
    }
}

// Of matrices of rows × cols one after the other.
template <class T>
numerical::aligned_vector<T> each_transposed(const numerical::aligned_vector<T>& all,
                                             std::size_t rows, std::size_t cols)
{
    numerical::aligned_vector<T> out(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t in_one = i % (rows * cols);
        out[i - in_one + in_one % cols * rows + in_one / cols] = all[i];
    }
    return out;
}

template <class T>
void expect_bits_of_single_products(const batch_sizes& sizes)
{
    const std::size_t batches = sizes.batches;
    const std::size_t m = sizes.m;
    const std::size_t n = sizes.n;
    const std::size_t k = sizes.k;
    const auto a = test::random_vector<T>(batches * m * k, 1);
    const auto b = test::random_vector<T>(batches * k * n, 2);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        numerical::aligned_vector<T> want(batches * m * n, T(0));
        for (std::size_t i = 0; i < batches; ++i)
            gemm<T>(m, n, k, a.data() + i * m * k, k, b.data() + i * k * n, n,
                    want.data() + i * m * n, n);
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit cap(threads);
            const auto expect_wanted = [&](decltype(&gemm_batch<T>) multiply, bool transposed) {
                numerical::aligned_vector<T> got(batches * m * n + 1, T(nan));
                multiply(sizes, a.data(), b.data(), got.data());
                EXPECT_TRUE(std::isnan(std::abs(got.back())));
                got.pop_back();
                if (transposed)
                    got = each_transposed(got, n, m);
                EXPECT_TRUE(test::same_bits(got, want))
                    << batches << " of " << m << "x" << n << "x" << k << ", path " << path
                    << ", threads " << threads << (transposed ? ", transposed" : "");
            };
            expect_wanted(gemm_batch<T>, false);
            if (m * n <= most_transposed)
                expect_wanted(gemm_batch_transposed<T>, true);
        }
    }
}

// Among them batches whose next product is asked for ahead, and some just too small and too large
// for it: 3072 and 32768 elements of a product, 2^20 of all.
TYPED_TEST(stored_product, of_a_batch_has_the_bits_of_single_ones)
{
    for (const batch_sizes& sizes : {batch_sizes{0, 3, 3, 3},
                                     {1, 40, 50, 60},
                                     {7, 4, 4, 4},
                                     {7, 1, 5, 0},
                                     {9, 8, 8, 8},
                                     {50, 9, 17, 8},
                                     {50, 7, 33, 21},
                                     {400, 31, 32, 32},
                                     {360, 32, 32, 32},
                                     {360, 37, 27, 33},
                                     {3, 64, 64, 9},
                                     {3, 64, 65, 9},
                                     {40, 104, 104, 105},
                                     {35, 105, 105, 105},
                                     {3, 20, 300, 40},
                                     {3, 300, 20, 300}})
        expect_bits_of_single_products<TypeParam>(sizes);
}

} // namespace
