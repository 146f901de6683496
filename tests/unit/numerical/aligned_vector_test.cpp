#include "numerical/aligned_vector.hpp"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using numerical::aligned_vector;

constexpr std::size_t least_aligned = 32; // doubles: four lines

bool begins_a_line(const void* address)
{
    return reinterpret_cast<std::uintptr_t>(address) % 64 == 0;
}

TEST(aligned_vector, begins_a_line_from_four_lines_on)
{
    std::vector<aligned_vector<double>> kept; // so that each block lies elsewhere
    for (std::size_t count = least_aligned; count < 300; ++count) {
        kept.emplace_back(count);
        EXPECT_TRUE(begins_a_line(kept.back().data())) << count;
        EXPECT_TRUE(begins_a_line(aligned_vector<std::complex<double>>(count).data())) << count;
        EXPECT_TRUE(begins_a_line(aligned_vector<char>(8 * count).data())) << count;
    }
    EXPECT_TRUE(begins_a_line(aligned_vector<double>(std::size_t{1} << 22).data()));
}

TEST(aligned_vector, keeps_its_elements_as_it_grows)
{
    aligned_vector<double> grown;
    for (std::size_t i = 0; i < 5000; ++i)
        grown.push_back(double(i));
    aligned_vector<double> expected(5000);
    std::iota(expected.begin(), expected.end(), 0.0);
    EXPECT_EQ(grown, expected);

    grown.resize(least_aligned - 1);
    grown.shrink_to_fit(); // into a block of the other kind
    expected.resize(least_aligned - 1);
    EXPECT_EQ(grown, expected);
}

TEST(aligned_vector, hands_its_block_over)
{
    for (const std::size_t count : {least_aligned - 1, least_aligned}) {
        aligned_vector<double> from(count, 1.5);
        const double* const block = from.data();
        const aligned_vector<double> to = std::move(from);
        EXPECT_EQ(to.data(), block);
        EXPECT_EQ(to, aligned_vector<double>(count, 1.5));
    }
}

TEST(aligned_vector, refuses_more_elements_than_a_vector_holds)
{
    const std::size_t count = std::numeric_limits<std::size_t>::max() / 8;
    try {
        aligned_vector<double> store(count);
        ADD_FAILURE() << "made";
    } catch (const std::length_error& error) {
        EXPECT_EQ(error.what(), std::string("cannot create std::vector larger than max_size()"));
    }
}

} // namespace
