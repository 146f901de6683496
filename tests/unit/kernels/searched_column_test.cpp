#include "numerical/gemm/kernels/searched_column.hpp"

#include "guarded.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using test::guarded_numbers;
using test::label;

template <class T>
class searched_column : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(searched_column, element_types);

template <class T>
T every_bit()
{
    const double part = std::bit_cast<double>(~std::uint64_t{0});
    if constexpr (std::is_same_v<T, double>)
        return part;
    else
        return {part, part};
}

double search_size(double x)
{
    return std::abs(x);
}

double search_size(const complex& z)
{
    return std::norm(z);
}

// Every third row isn't left, nor is the row `beside` searched.
bool is_left(std::size_t i)
{
    return i % 3 != 1;
}

// Small integers, so that no order of rounding matters; NaN where nothing is left.
template <class T>
void expect_update(int path, std::size_t n, std::size_t count, std::size_t beside)
{
    SCOPED_TRACE(label(path, n) + ", columns " + std::to_string(count));
    const std::size_t stride = n + 3;
    guarded_numbers<T> column(n, 1);
    guarded_numbers<T> columns(count * stride, 2);
    guarded_numbers<T> coefficients(count, 3);
    guarded_numbers<T> left(numerical::aligned_vector<T>(n, T(0)));
    guarded_numbers<T> searched(numerical::aligned_vector<T>(n, T(0)));
    test::spoil_beyond(columns, count, stride, n);
    for (std::size_t i = 0; i < n; ++i) {
        if (!is_left(i))
            column.data()[i] = T(test::quiet_nan);
        else
            left.data()[i] = every_bit<T>();
        if (is_left(i) && i != beside)
            searched.data()[i] = every_bit<T>();
    }
    auto expected = column.values();
    largest_in_column largest{0, 0};
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t t = 0; t < count; ++t)
            expected[i] -= coefficients.data()[t] * columns.data()[t * stride + i];
        if (!is_left(i))
            expected[i] = 0;
        else if (i != beside && search_size(expected[i]) > largest.size)
            largest = {search_size(expected[i]), i};
    }
    const largest_in_column found =
        update_and_search_on<T>(path, {column.data(), n, left.data(), searched.data(),
                                       coefficients.data(), columns.data(), stride, count});
    EXPECT_EQ(column.values(), expected);
    EXPECT_TRUE(column.intact());
    EXPECT_EQ(found.size, largest.size);
    if (largest.size > 0) {
        EXPECT_EQ(found.place, largest.place);
    }
}

TYPED_TEST(searched_column, of_every_length_loses_multiples_of_columns)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 1; n <= 50; ++n)
            for (const std::size_t count : {0UL, 1UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL, 9UL})
                expect_update<TypeParam>(path, n, count, n / 2);
}

// Numbers of columns around those that are subtracted in a pass.
TYPED_TEST(searched_column, loses_multiples_in_several_passes)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 17UL, 200UL})
            for (std::size_t count = 10; count <= 33; ++count)
                expect_update<TypeParam>(path, n, count, 0);
}

// The first of two equal ones, past NaNs; nothing but NaNs and zeros has size zero.
TYPED_TEST(searched_column, finds_the_first_of_the_largest)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {5UL, 16UL, 29UL})
            for (std::size_t place = 1; place + 1 < n; ++place) {
                numerical::aligned_vector<TypeParam> column(n, TypeParam(-1));
                const numerical::aligned_vector<TypeParam> every(n, every_bit<TypeParam>());
                const auto searched = [&] {
                    return update_and_search_on<TypeParam>(
                        path,
                        {column.data(), n, every.data(), every.data(), nullptr, nullptr, n, 0});
                };
                column[place - 1] = TypeParam(test::quiet_nan);
                column[place] = TypeParam(-3);
                column[n - 1] = TypeParam(3);
                const largest_in_column found = searched();
                EXPECT_EQ(found.place, place) << label(path, n);
                EXPECT_EQ(found.size, search_size(TypeParam(3))) << label(path, n);
                std::fill(column.begin(), column.end(), TypeParam(test::quiet_nan));
                column[place] = TypeParam(0);
                EXPECT_EQ(searched().size, 0) << label(path, n);
            }
}

} // namespace
