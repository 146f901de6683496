#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"

#include "paths.hpp"
#include "product_case.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using test::product_case;
using test::product_shape;

template <class T>
class adjoint_product : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(adjoint_product, element_types);

// The array whose adjoint is A, with NaN beside it.
template <class T>
numerical::aligned_vector<T> adjoint_of_a(const product_case<T>& of, std::size_t stride)
{
    const auto& [m, n, k, padding] = of.shape;
    numerical::aligned_vector<T> out(k * stride + 1, T(std::numeric_limits<double>::quiet_NaN()));
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t p = 0; p < k; ++p)
            out[1 + p * stride + i] = conjugate(of.a_first()[i * of.lda + p]);
    return out;
}

// Every remainder of rows by 12 and 6 and of columns by 16 and 8, too little for tiles and enough.
std::vector<product_shape> small_shapes()
{
    std::vector<product_shape> shapes;
    for (std::size_t m = 1; m <= 26; ++m)
        for (std::size_t n = 1; n <= 35; ++n)
            shapes.push_back({m, n, 6 + (m + n) % 5});
    return shapes;
}

// The edges of the blocks, remainders of a few positions among them.
std::vector<product_shape> block_shapes()
{
    return {{32, 40, 255},  {32, 40, 256},   {32, 40, 257},   {32, 40, 259}, {32, 40, 300},
            {1, 3, 257},    {2, 2, 261},     {32, 511, 20},   {32, 512, 20}, {32, 513, 20},
            {7, 1025, 9},   {7, 2049, 9},    {32, 32, 700},   {32, 1, 500},  {1, 32, 500},
            {40, 100, 530}, {32, 64, 64, 0}, {16, 16, 512, 0}};
}

template <class T>
void expect_bits_of_the_copy(const product_shape& shape)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        product_case<T> want(shape, test::random_vector<T>);
        product_case<T> got = want;
        const std::size_t stride = shape.m + shape.padding;
        const numerical::aligned_vector<T> a = adjoint_of_a(want, stride);
        want.run(gemm<T>);
        gemm_adjoint<T>(shape.m, shape.n, shape.k, a.data() + 1, stride, got.b_first(), got.ldb,
                        got.c_first(), got.ldc);
        ASSERT_TRUE(test::same_bits(got.c, want.c)) << label(shape) << ", path " << path;
    }
}

TYPED_TEST(adjoint_product, has_the_bits_of_a_product_with_a_copy)
{
    for (const product_shape& shape : small_shapes())
        expect_bits_of_the_copy<TypeParam>(shape);
    for (const product_shape& shape : block_shapes())
        expect_bits_of_the_copy<TypeParam>(shape);
    for (const product_shape& shape : {product_shape{0, 9, 9}, {9, 0, 9}, {9, 9, 0}})
        expect_bits_of_the_copy<TypeParam>(shape);
}

TYPED_TEST(adjoint_product, has_the_same_bits_at_every_thread_count)
{
    for (const std::size_t threads : test::thread_counts) {
        const test::thread_limit cap(threads);
        expect_bits_of_the_copy<TypeParam>({32, 600, 300});
    }
}

} // namespace
