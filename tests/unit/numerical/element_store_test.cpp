#include "numerical/aligned_vector.hpp"
#include "numerical/element_store.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>
#include <gtest/gtest.h>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace {

using store = numerical::element_store<double>;

numerical::aligned_vector<double> counted(std::size_t count)
{
    numerical::aligned_vector<double> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1.0);
    return numbers;
}

TEST(element_store, takes_a_vector_over)
{
    numerical::aligned_vector<double> numbers = counted(5);
    const double* const address = numbers.data();
    const store elements(std::move(numbers));
    EXPECT_EQ(elements.data(), address);
    EXPECT_EQ(elements.size(), 5U);
    EXPECT_EQ(elements.held(), 5U);
}

TEST(element_store, copies_lie_elsewhere_and_moves_where_they_lay)
{
    store elements(counted(5));
    const double* const address = elements.data();
    const store copy = elements;
    EXPECT_NE(copy.data(), address);
    EXPECT_EQ(copy, elements);
    const store moved = std::move(elements);
    EXPECT_EQ(moved.data(), address);
    EXPECT_TRUE(elements.empty()); // NOLINT: what a move leaves is part of the contract
}

TEST(element_store, a_part_shares_and_outlives_the_store_it_is_of)
{
    std::optional<store> elements(counted(10));
    const double* const address = elements->data();
    std::optional<store> part(elements->part(2, 6));
    EXPECT_EQ(elements->data(), address);
    EXPECT_EQ(*elements, store(counted(10)));
    const store of_part = part->part(1, 3);
    elements.reset();
    EXPECT_EQ(part->data(), address + 2);
    EXPECT_EQ(part->held(), 10U);
    part.reset();
    EXPECT_EQ(of_part, (store{4, 5, 6}));
    EXPECT_EQ(of_part.data(), address + 3);
}

TEST(element_store, a_copy_of_a_part_holds_no_more_than_its_elements)
{
    const store elements(counted(100));
    const store copy = elements.part(50, 2); // a move
    const store apart(copy);
    EXPECT_EQ(copy.held(), 100U);
    EXPECT_EQ(apart.held(), 2U);
    EXPECT_EQ(apart, (store{51, 52}));
}

TEST(reshaped_share, has_the_elements_of_the_tensor_itself)
{
    const numerical::tensor<double> a({2, 3}, counted(6));
    const numerical::tensor<double> b = numerical::reshaped_share(a, {3, 1, 2});
    EXPECT_EQ(b.data.data(), a.data.data());
    EXPECT_EQ(b.shape, (std::vector<std::size_t>{3, 1, 2}));
    EXPECT_EQ(b.strides, (std::vector<std::size_t>{2, 2, 1}));
    EXPECT_NE(numerical::reshape(a, {6}).data.data(), a.data.data());
    EXPECT_THROW(numerical::reshaped_share(a, {5}), std::exception);
}

} // namespace
