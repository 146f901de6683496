#include "numerical/gemm/gemm.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/unfused.hpp"

#include "paths.hpp"
#include "product_case.hpp"
#include "product_model.hpp"
#include "ratios.hpp"
#include "same_bits_of_threads.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;
using test::product_case;
using test::product_shape;

constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
class product : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(product, element_types);

// Every remainder of rows by 12, 6 and 4 and of columns by 16, 12, 8 and 6, few and many.
std::vector<product_shape> remainder_shapes()
{
    std::vector<product_shape> shapes;
    for (std::size_t m = 1; m <= 26; ++m)
        for (std::size_t n = 1; n <= 35; ++n)
            shapes.push_back({m, n, 8 + (m + n) % 3});
    for (std::size_t edge = 0; edge <= 16; ++edge) {
        shapes.push_back({90 + edge, 64 + 3 * edge, 33 + edge});
        shapes.push_back({5 + edge, 160 + 5 * edge, 40 + edge});
        shapes.push_back({160 + 5 * edge, 5 + edge, 40 + edge});
    }
    return shapes;
}

// Each crossover of the blocking and one to either side; thin shapes of every kind.
std::vector<product_shape> block_shapes()
{
    return {{30, 40, 255},   {30, 40, 256},   {30, 40, 257},    {30, 40, 259},    {30, 40, 264},
            {13, 17, 512},   {13, 17, 513},   {13, 511, 20},    {13, 512, 20},    {13, 513, 20},
            {9, 767, 9},     {9, 768, 9},     {9, 769, 9},      {9, 1024, 9},     {9, 1025, 9},
            {9, 1535, 9},    {9, 1536, 9},    {9, 1537, 9},     {9, 2047, 9},     {9, 2048, 9},
            {9, 2049, 9},    {16, 16, 700},   {1, 1, 512},      {1, 1, 2000},     {1, 300, 300},
            {300, 1, 300},   {2, 2, 1000},    {300, 16, 16},    {16, 300, 16},    {64, 64, 64},
            {65, 63, 66},    {128, 128, 64},  {64, 128, 128},   {130, 70, 300},   {300, 70, 130},
            {64, 16, 64, 0}, {64, 64, 64, 0}, {16, 16, 512, 0}, {128, 16, 512, 0}};
}

// Both operands in panels, packed beside tiles or, where a stride is a multiple of 4 KiB, before;
// every crossover to an operand in place.
std::vector<product_shape> packed_shapes()
{
    return {{192, 193, 40}, {193, 192, 40},  {24, 210, 257},    {25, 210, 257},
            {205, 199, 40}, {204, 208, 257}, {193, 200, 512},   {197, 195, 513},
            {450, 200, 9},  {200, 1030, 9},  {193, 512, 20, 0}, {193, 196, 512, 0}};
}

// A in place beside panels of B: depths at which its rows begin to be prefetched, and of the
// deepest blocks, real ones and complex ones, one position less and more.
std::vector<product_shape> tall_shapes()
{
    return {{200, 17, 255},  {203, 17, 256},  {201, 17, 257},  {200, 16, 4095},
            {199, 16, 4097}, {200, 7, 3071},  {196, 16, 1537}, {204, 129, 512},
            {195, 128, 513}, {193, 192, 260}, {197, 90, 700},  {205, 24, 1025}};
}

// Tasks that pack B for themselves, from some rows on and up to others; last panels of A that share
// their rows, beside a B in place where it is not deep; a stride of B that is a multiple of 4 KiB;
// more columns than a group has, and two blocks of positions.
std::vector<product_shape> wide_shapes()
{
    return {{11, 210, 40},  {12, 210, 257}, {13, 199, 300}, {23, 197, 256},    {24, 213, 257},
            {36, 260, 258}, {37, 260, 257}, {38, 195, 20},  {60, 700, 30},     {41, 512, 270, 0},
            {144, 201, 40}, {145, 201, 40}, {16, 256, 270}, {13, 256, 270, 0}, {143, 195, 511},
            {17, 200, 64},  {17, 200, 65},  {18, 300, 16},  {19, 300, 16},     {30, 300, 33}};
}

template <class T>
void expect_stated_bits(const product_shape& shape)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        product_case<T> got(shape, test::random_vector<T>);
        product_case<T> want = got;
        got.run(gemm<T>);
        model::multiply(path, shape.m, shape.n, shape.k, {want.a_first(), want.lda},
                        {want.b_first(), want.ldb}, want.c_first(), want.ldc);
        ASSERT_TRUE(test::same_bits(got.c, want.c)) << label(shape) << ", path " << path;
    }
}

TYPED_TEST(product, has_the_stated_bits_where_operands_are_packed)
{
    for (const product_shape& shape : packed_shapes())
        expect_stated_bits<TypeParam>(shape);
}

TYPED_TEST(product, has_the_stated_bits_of_a_tall_a_in_place)
{
    for (const product_shape& shape : tall_shapes())
        expect_stated_bits<TypeParam>(shape);
}

TYPED_TEST(product, has_the_stated_bits_where_tasks_pack_b)
{
    for (const product_shape& shape : wide_shapes())
        expect_stated_bits<TypeParam>(shape);
}

TYPED_TEST(product, has_the_stated_bits_at_every_remainder)
{
    for (const product_shape& shape : remainder_shapes())
        expect_stated_bits<TypeParam>(shape);
}

TYPED_TEST(product, has_the_stated_bits_at_every_block_edge)
{
    for (const product_shape& shape : block_shapes())
        expect_stated_bits<TypeParam>(shape);
}

TYPED_TEST(product, is_exact_on_small_integers)
{
    const auto integers = [](std::size_t count, unsigned seed) {
        return test::integer_vector<TypeParam>(count, seed);
    };
    for (const product_shape& shape :
         {product_shape{3, 5, 7}, {7, 9, 8}, {50, 60, 70}, {100, 600, 300}, {97, 530, 261}}) {
        product_case<TypeParam> want(shape, integers);
        for (std::size_t i = 0; i < shape.m; ++i)
            for (std::size_t l = 0; l < shape.k; ++l)
                for (std::size_t j = 0; j < shape.n; ++j)
                    want.c_first()[i * want.ldc + j] +=
                        want.a_first()[i * want.lda + l] * want.b_first()[l * want.ldb + j];
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            product_case<TypeParam> got(shape, integers);
            got.run(gemm<TypeParam>);
            for (std::size_t i = 0; i < shape.m; ++i)
                for (std::size_t j = 0; j < shape.n; ++j)
                    ASSERT_EQ(got.c_first()[i * got.ldc + j], want.c_first()[i * want.ldc + j])
                        << label(shape) << ", path " << path;
        }
    }
}

// The direct way rounds product and sum, tiles on a vector path round once: the bits tell which
// way was taken.
TEST(gemm_decision, goes_by_tiles_from_eight_positions_and_512_products)
{
    const int path = test::available_paths().back();
    if (path == portable_path)
        GTEST_SKIP() << "no vector path here";
    const test::path_limit limit(path);
    const auto by_tiles = [](product_shape shape) {
        product_case<double> got(shape, test::random_vector<double>);
        product_case<double> direct = got;
        got.run(gemm<double>);
        direct.run(gemm_rows<double>);
        return !test::same_bits(got.c, direct.c);
    };
    EXPECT_FALSE(by_tiles({200, 200, 7}));
    EXPECT_FALSE(by_tiles({7, 9, 8}));
    EXPECT_TRUE(by_tiles({8, 8, 8}));
    EXPECT_FALSE(by_tiles({1, 7, 64}));
    EXPECT_TRUE(by_tiles({1, 8, 64}));
    EXPECT_FALSE(by_tiles({1, 1, 511}));
    EXPECT_TRUE(by_tiles({1, 2, 256}));
    EXPECT_TRUE(by_tiles({1, 1, 512}));
}

TYPED_TEST(product, of_an_empty_size_leaves_c_alone)
{
    for (const product_shape& shape :
         {product_shape{0, 20, 30}, {20, 0, 30}, {20, 30, 0}, {0, 0, 0}})
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            product_case<TypeParam> got(shape, test::random_vector<TypeParam>);
            const auto before = got.c;
            got.run(gemm<TypeParam>);
            EXPECT_TRUE(test::same_bits(got.c, before)) << label(shape);
        }
}

TYPED_TEST(product, has_the_same_bits_at_every_thread_count)
{
    test::expect_same_bits_of_threads<TypeParam>({{200, 210, 190},
                                                  {500, 33, 300},
                                                  {33, 500, 300},
                                                  {24, 24, 3000},
                                                  {400, 16, 4100},
                                                  {40, 900, 300},
                                                  {144, 200, 600},
                                                  {13, 1500, 300}},
                                                 gemm<TypeParam>);
}

TYPED_TEST(product, runs_inside_a_parallel_body)
{
    const product_shape shape{80, 90, 100};
    const product_case<TypeParam> start(shape, test::random_vector<TypeParam>);
    product_case<TypeParam> want = start;
    want.run(gemm<TypeParam>);
    std::vector<product_case<TypeParam>> nested(8, start);
    const auto multiply = [&](std::size_t i) { nested[i].run(gemm<TypeParam>); };
    parallel_for(nested.size(), std::size_t{1} << 20, multiply);
    for (const auto& each : nested)
        EXPECT_TRUE(test::same_bits(each.c, want.c));
}

// An infinite A element times a finite B: the textbook formula gives NaN + NaN·i, that of Annex G
// an infinity. Portable tiles and the direct way recover it, on every path.
TEST(complex_product, recovers_infinities_by_portable_tiles_and_directly)
{
    const complex infinite(infinity, infinity);
    for (const std::size_t k : {4UL, 64UL}) {
        const test::path_limit limit(portable_path);
        numerical::aligned_vector<complex> a(9 * k, complex(0));
        numerical::aligned_vector<complex> b(k * 9, complex(1.0, 1.0));
        numerical::aligned_vector<complex> c(81, complex(0));
        a[0] = infinite;
        gemm<complex>(9, 9, k, a.data(), k, b.data(), 9, c.data(), 9);
        EXPECT_TRUE(std::isinf(c[0].real()) || std::isinf(c[0].imag())) << c[0];
        EXPECT_EQ(c[9], complex(0));
    }
}

TEST(complex_product, by_split_treats_infinities_as_real_arithmetic_does)
{
    for (const int path : test::available_paths()) {
        if (path == portable_path)
            continue;
        const test::path_limit limit(path);
        numerical::aligned_vector<complex> a(64 * 8, complex(0));
        numerical::aligned_vector<complex> b(8 * 64, complex(1.0, 1.0));
        numerical::aligned_vector<complex> c(64 * 64, complex(0));
        a[0] = complex(infinity, infinity);
        gemm<complex>(64, 64, 8, a.data(), 8, b.data(), 64, c.data(), 64);
        EXPECT_TRUE(std::isnan(c[0].real())) << c[0];
        EXPECT_EQ(c[0].imag(), infinity);
        EXPECT_EQ(c[64], complex(0));
    }
}

TEST(matrix_product, refuses_inner_dimensions_that_differ)
{
    const numerical::matrix<double> a(2, 3, numerical::aligned_vector<double>(6));
    const numerical::matrix<double> b(4, 2, numerical::aligned_vector<double>(8));
    try {
        a* b;
        FAIL() << "no exception";
    } catch (const numerical::dimension_error& error) {
        EXPECT_STREQ(error.what(), "matrix–matrix product: inner dimensions differ");
    }
}

// (2^32, 0)·(0, 2^32) would need 2^64 elements, (2^31, 0)·(0, 2^31) more than a vector may hold.
TEST(matrix_product, refuses_results_beyond_the_address_space)
{
    constexpr std::size_t huge = std::size_t{1} << 32;
    const numerical::matrix<double> tall(huge, 0, {});
    const numerical::matrix<double> wide(0, huge, {});
    EXPECT_THROW(tall * wide, numerical::dimension_error);
    const numerical::matrix<double> half_tall(huge / 2, 0, {});
    const numerical::matrix<double> half_wide(0, huge / 2, {});
    EXPECT_THROW(half_tall * half_wide, std::length_error);
}

TYPED_TEST(product, of_matrices_agrees_with_wider_arithmetic)
{
    const auto a = test::random_matrix<TypeParam>(70, 600, 4);
    const auto b = test::random_matrix<TypeParam>(600, 530, 5);
    const auto want = test::reference_product(a, b);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto c = a * b;
        EXPECT_EQ(c.rows, 70U);
        EXPECT_EQ(c.cols, 530U);
        EXPECT_LT(test::difference_ratio(want, c), 1.0) << "path " << path;
    }
    const numerical::matrix<TypeParam> no_columns(70, 0, {});
    const numerical::matrix<TypeParam> no_rows(0, 5, {});
    EXPECT_EQ((no_columns * no_rows).data, numerical::aligned_vector<TypeParam>(350));
}

} // namespace
