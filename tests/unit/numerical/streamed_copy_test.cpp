#include "numerical/streamed_copy.hpp"

#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <complex>
#include <cstdint>
#include <gtest/gtest.h>
#include <numeric>

namespace {

using numerical::detail::block_writer;
using complex = std::complex<double>;

constexpr std::size_t small = 1;
constexpr std::size_t large = numerical::detail::streamed_block_bytes; // elements: plenty

numerical::aligned_vector<double> counted(std::size_t count)
{
    numerical::aligned_vector<double> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1.0);
    return numbers;
}

TEST(block_writer, copies_from_and_to_every_place_in_a_line)
{
    const numerical::aligned_vector<double> source = counted(60);
    for (const std::size_t block : {small, large})
        for (std::size_t from = 0; from < 3; ++from)
            for (std::size_t at = 0; at < 9; ++at)
                for (std::size_t count = 0; count < 40; ++count) {
                    numerical::aligned_vector<double> out(60, -1.0);
                    const double* end = block_writer<double>(block).copy(source.data() + from,
                                                                         count, out.data() + at);
                    EXPECT_EQ(end, out.data() + at + count);
                    for (std::size_t i = 0; i < out.size(); ++i)
                        ASSERT_EQ(out[i], i >= at && i < at + count ? source[from + i - at] : -1.0);
                }
}

template <class T>
void expect_fills(const T& value)
{
    for (const std::size_t block : {small, large})
        for (std::size_t at = 0; at < 9; ++at)
            for (std::size_t count = 0; count < 40; ++count) {
                numerical::aligned_vector<T> out(60, T(-1));
                const T* end = block_writer<T>(block).fill(value, count, out.data() + at);
                EXPECT_EQ(end, out.data() + at + count);
                for (std::size_t i = 0; i < out.size(); ++i)
                    ASSERT_EQ(out[i], i >= at && i < at + count ? value : T(-1));
            }
}

TEST(block_writer, fills_from_every_place_in_a_line)
{
    expect_fills(2.5);
    expect_fills(complex(2.5, -7));
    expect_fills(std::ptrdiff_t{3});
}

} // namespace
