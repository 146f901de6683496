#include "numerical/aligned_block.hpp"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <utility>

namespace {

using namespace numerical::detail;

template <class T>
class aligned_block_of : public testing::Test
{
protected:
    static constexpr std::size_t large = least_on_huge_pages / sizeof(T);
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(aligned_block_of, element_types);

template <class T>
std::size_t bytes_past(aligned_block<T>& block, std::size_t boundary)
{
    return reinterpret_cast<std::uintptr_t>(block.data()) % boundary;
}

TYPED_TEST(aligned_block_of, has_room_for_its_elements_from_a_boundary_on)
{
    for (const std::size_t count : {std::size_t{1}, std::size_t{1000}, this->large - 1, this->large,
                                    8 * this->large, 8 * this->large + 1}) {
        aligned_block<TypeParam> block(count);
        EXPECT_GE(block.size(), count);
        const bool is_large = count >= this->large;
        EXPECT_EQ(bytes_past(block, is_large ? huge_page_bytes : line_bytes), 0U) << count;
        std::fill_n(block.data(), block.size(), TypeParam(1));
        EXPECT_EQ(block.data()[block.size() - 1], TypeParam(1));
    }
}

TYPED_TEST(aligned_block_of, wastes_no_more_than_a_page_of_its_size)
{
    constexpr std::size_t page = huge_page_bytes / sizeof(TypeParam);
    EXPECT_EQ(aligned_block<TypeParam>(this->large - 1).size(), this->large - 1);
    EXPECT_EQ(aligned_block<TypeParam>(this->large).size(), page);
    EXPECT_EQ(aligned_block<TypeParam>(page).size(), page);
    EXPECT_EQ(aligned_block<TypeParam>(page + 1).size(), 2 * page);
}

TYPED_TEST(aligned_block_of, is_empty_until_made_and_once_moved_from)
{
    aligned_block<TypeParam> block;
    EXPECT_EQ(block.size(), 0U);
    block = aligned_block<TypeParam>(100);
    const aligned_block<TypeParam> taken = std::exchange(block, {});
    EXPECT_EQ(block.size(), 0U);
    EXPECT_EQ(taken.size(), 100U);
}

} // namespace
