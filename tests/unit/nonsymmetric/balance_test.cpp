#include "numerical/nonsymmetric/balance.hpp"
#include "numerical/strided/transpose.hpp"

#include "general_matrices.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::detail::balance_matrix;
using numerical::detail::balancing;
using numerical::detail::eigenvector_side;
using test::complex;
using test::matrix;

template <class T>
class balanced_matrix : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(balanced_matrix, element_types);

template <class T>
long double frobenius(const matrix<T>& a)
{
    long double square = 0;
    for (const T& x : a.data)
        square += std::norm(test::wide<T>(x));
    return std::sqrt(square);
}

// X = P·D and Y = P·D⁻¹ as vectors are multiplied by them: YᵀX = I, and YᵀAX is the result.
TYPED_TEST(balanced_matrix, is_similar_to_the_matrix_to_the_bit)
{
    for (const std::size_t n : {1, 2, 5, 12, 30})
        for (const auto& [name, a] : test::gallery<TypeParam>(n)) {
            if (name == "near overflow" || name == "near underflow" || name == "subnormal")
                continue; // matrices are scaled before
            auto b = a;
            const auto result = balance_matrix(b, balancing::permute_and_scale);
            auto x = test::filled<TypeParam>(n, [](auto i, auto j) { return double(i == j); });
            auto y = x;
            undo_balance(result, eigenvector_side::right, x);
            undo_balance(result, eigenvector_side::left, y);
            const auto product = test::reference_product(numerical::detail::adjoint(y),
                                                         test::reference_product(a, x));
            for (std::size_t i = 0; i < n * n; ++i)
                ASSERT_EQ(product.data[i], b.data[i]) << name << ", n = " << n;
            EXPECT_LE(double(frobenius(b)), double(frobenius(a)) * (1 + 1e-12)) << name;
        }
}

TYPED_TEST(balanced_matrix, parts_off_what_a_permuted_triangle_shows)
{
    const std::size_t n = 20;
    const auto random = test::random_matrix<TypeParam>(n, n, 1);
    const auto shuffled = [](std::size_t i) { return (7 * i + 3) % n; };
    auto a = test::filled<TypeParam>(n, [&](auto i, auto j) {
        return shuffled(i) <= shuffled(j) ? random.data[i * n + j] : TypeParam(0);
    });
    const auto b = balance_matrix(a, balancing::permute);
    EXPECT_EQ(b.from, b.to);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_EQ(a.data[i * n + j], TypeParam(0));
}

TYPED_TEST(balanced_matrix, keeps_a_block_between_what_it_parts_off)
{
    // Index 3 has an empty column, index 0 an empty row.
    auto a = test::random_matrix<TypeParam>(5, 5, 2);
    for (std::size_t k = 0; k < 5; ++k) {
        if (k != 3)
            a.data[k * 5 + 3] = 0;
        if (k != 0)
            a.data[k] = 0;
    }
    const auto b = balance_matrix(a, balancing::permute);
    EXPECT_EQ(b.to - b.from, 3U);
    for (std::size_t i = 0; i < 5; ++i)
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_TRUE((j >= b.from && i < b.to) || a.data[i * 5 + j] == TypeParam(0));
}

TYPED_TEST(balanced_matrix, has_rows_and_columns_of_like_norm)
{
    const std::size_t n = 12;
    const auto random = test::random_matrix<TypeParam>(n, n, 3);
    auto a = test::filled<TypeParam>(n, [&](auto i, auto j) {
        return random.data[i * n + j] * std::pow(10.0, double(i) - double(j));
    });
    const auto b = balance_matrix(a, balancing::permute_and_scale);
    EXPECT_FALSE(b.scale.empty());
    for (std::size_t i = 0; i < n; ++i) {
        double row = 0;
        double column = 0;
        for (std::size_t j = 0; j < n; ++j) {
            row += std::norm(a.data[i * n + j]);
            column += std::norm(a.data[j * n + i]);
        }
        EXPECT_LT(std::sqrt(row / column), 4);
        EXPECT_LT(std::sqrt(column / row), 4);
    }
}

// A chain in which each index wants to be 2^100 times the one before it.
TYPED_TEST(balanced_matrix, has_scales_within_the_limit)
{
    using numerical::detail::greatest_scale;
    auto a = test::filled<TypeParam>(
        12, [](auto i, auto j) { return j == i + 1 ? 0x1p-100 : (i == j + 1 ? 0x1p100 : 0.0); });
    const auto b = balance_matrix(a, balancing::permute_and_scale);
    ASSERT_FALSE(b.scale.empty());
    const auto [least, greatest] = std::minmax_element(b.scale.begin(), b.scale.end());
    EXPECT_GE(*least, 1 / greatest_scale);
    EXPECT_LE(*greatest, greatest_scale);
    EXPECT_GT(*greatest / *least, 0x1p400);
}

// The 1-norm without the diagonal would scale it (James, Langou and Lowery 2014).
TYPED_TEST(balanced_matrix, with_a_dominant_diagonal_is_left_alone)
{
    auto a = test::filled<TypeParam>(
        4, [](auto i, auto j) { return i == j ? 1.0 : (i < j ? 1e-3 : 1e-9); });
    const auto before = a.data;
    EXPECT_TRUE(balance_matrix(a, balancing::permute_and_scale).scale.empty());
    EXPECT_EQ(a.data, before);
}

} // namespace
