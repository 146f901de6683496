#include "numerical/svd/thin_product.hpp"

#include "matrices.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"

#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::detail::add_thin_product;
using numerical::detail::block_view;
using numerical::detail::conjugate;
using numerical::detail::thin_update;

template <class T>
class thin_product : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(thin_product, element_types);

TYPED_TEST(thin_product, is_exact_on_small_integers_and_keeps_within_its_block)
{
    using T = TypeParam;
    constexpr std::size_t m = 9;
    constexpr std::size_t k = 5;
    constexpr std::size_t n = 11;
    const auto a = test::integer_vector<T>(m * k, 1);
    const auto b = test::integer_vector<T>(k * n, 2);
    auto c = test::integer_vector<T>(m * (n + 2), 3);
    auto expected = c;
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t p = 0; p < k; ++p)
                expected[i * (n + 2) + j] += a[i * k + p] * b[p * n + j];
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        auto result = c;
        add_thin_product<T>({a.data(), m, k, k}, {b.data(), k, n, n}, {result.data(), m, n, n + 2});
        EXPECT_EQ(result, expected) << "path " << path;
    }
}

// Two slabs and more, the last ones of another width.
TYPED_TEST(thin_product, update_is_exact_on_small_integers_in_every_slab)
{
    using T = TypeParam;
    constexpr std::size_t rows = 20;
    constexpr std::size_t depth = 3;
    constexpr std::size_t cols = 1031;
    constexpr std::size_t stride = cols + 1;
    const auto v = test::integer_vector<T>(rows * depth, 4);
    const auto vf = test::integer_vector<T>(rows * depth, 5);
    const auto c = test::integer_vector<T>(rows * stride, 6);
    auto expected = c;
    for (std::size_t j = 0; j < cols; ++j)
        for (std::size_t t = 0; t < depth; ++t) {
            T w = 0;
            for (std::size_t i = 0; i < rows; ++i)
                w += conjugate(v[i * depth + t]) * c[i * stride + j];
            for (std::size_t i = 0; i < rows; ++i)
                expected[i * stride + j] += vf[i * depth + t] * w;
        }
    const thin_update<T> update({v.data(), rows, depth, depth}, vf);
    for (const int path : test::available_paths())
        for (const std::size_t threads : test::thread_counts) {
            const test::path_limit limit(path);
            const test::thread_limit width(threads);
            auto result = c;
            update.apply_to({result.data(), rows, cols, stride});
            EXPECT_EQ(result, expected) << "path " << path << ", " << threads << " threads";
        }
}

} // namespace
