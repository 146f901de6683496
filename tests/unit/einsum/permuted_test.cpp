#include "numerical/einsum/permuted.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::detail::label_extents;
using complex = std::complex<double>;

template <class T>
numerical::aligned_vector<T> permuted(const numerical::aligned_vector<T>& data,
                                      const std::string& from, const std::string& to,
                                      const label_extents& extents)
{
    return numerical::detail::permuted<T>(std::span(data), from, to, extents);
}

template <class T>
class permuted_operand : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(permuted_operand, element_types);

template <class T>
numerical::aligned_vector<T> counted(std::size_t size)
{
    numerical::aligned_vector<T> values(size);
    for (std::size_t i = 0; i < size; ++i)
        values[i] = static_cast<double>(i + 1);
    return values;
}

// Element by element, each position worked out anew.
template <class T>
numerical::aligned_vector<T> rearranged(const numerical::aligned_vector<T>& data,
                                        const std::string& from, const std::string& to,
                                        const label_extents& extents)
{
    numerical::aligned_vector<T> out;
    for (std::size_t i = 0; i < data.size(); ++i) {
        std::array<std::size_t, 128> index{};
        std::size_t rest = i;
        for (auto label = to.rbegin(); label != to.rend(); ++label) {
            index[static_cast<std::size_t>(*label)] = rest % extents[*label];
            rest /= extents[*label];
        }
        std::size_t position = 0;
        for (const char label : from)
            position = position * extents[label] + index[static_cast<std::size_t>(label)];
        out.push_back(data[position]);
    }
    return out;
}

TYPED_TEST(permuted_operand, permutes_axes_of_any_rank)
{
    const std::vector<label_extents> sizes{
        {{'a', 2}, {'b', 3}, {'c', 5}, {'d', 4}},     {{'a', 1}, {'b', 33}, {'c', 1}, {'d', 40}},
        {{'a', 34}, {'b', 3}, {'c', 35}, {'d', 1}},   {{'a', 5}, {'b', 64}, {'c', 2}, {'d', 37}},
        {{'a', 130}, {'b', 3}, {'c', 2}, {'d', 129}},
    };
    for (const label_extents& extents : sizes) {
        std::string to = "abcd";
        const auto data = counted<TypeParam>(numerical::detail::extent_product("abcd", extents));
        do
            ASSERT_EQ(permuted(data, "abcd", to, extents), rearranged(data, "abcd", to, extents))
                << to;
        while (std::next_permutation(to.begin(), to.end()));
    }
}

TYPED_TEST(permuted_operand, of_nothing_is_nothing_and_of_a_number_the_number)
{
    EXPECT_TRUE(permuted<TypeParam>({}, "ij", "ji", {{'i', 0}, {'j', 3}}).empty());
    EXPECT_EQ(permuted<TypeParam>({TypeParam(5)}, "", "", {}),
              numerical::aligned_vector<TypeParam>{5.0});
    EXPECT_EQ(permuted<TypeParam>({TypeParam(5)}, "ij", "ji", {{'i', 1}, {'j', 1}}),
              numerical::aligned_vector<TypeParam>{5.0});
}

TYPED_TEST(permuted_operand, takes_the_diagonal_of_a_repeated_label)
{
    const auto square = counted<TypeParam>(600 * 600);
    const auto diagonal = permuted(square, "ii", "i", {{'i', 600}});
    ASSERT_EQ(diagonal.size(), 600U);
    for (std::size_t i = 0; i < 600; ++i)
        ASSERT_EQ(diagonal[i], square[i * 601]);
    const auto cube = counted<TypeParam>(3 * 4 * 3);
    const auto rows = permuted(cube, "iji", "ji", {{'i', 3}, {'j', 4}});
    for (std::size_t j = 0; j < 4; ++j)
        for (std::size_t i = 0; i < 3; ++i)
            ASSERT_EQ(rows[j * 3 + i], cube[(i * 4 + j) * 3 + i]);
}

TEST(real_operand, keeps_the_bits_of_signed_zeros_and_nan)
{
    const double nan = -std::numeric_limits<double>::quiet_NaN();
    const auto moved = permuted<double>({-0.0, 1, nan, 2}, "ij", "ji", {{'i', 2}, {'j', 2}});
    EXPECT_TRUE(std::signbit(moved[0]));
    EXPECT_TRUE(std::isnan(moved[1]));
    EXPECT_TRUE(std::signbit(moved[1]));
}

} // namespace
