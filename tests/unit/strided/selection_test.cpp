#include "numerical/strided/selection.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"

#include "thrown.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

namespace {

using numerical::gather;
using numerical::selection;
using numerical::tensor;
using numerical::update_operation;
using numerical::updated;
using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

tensor<double> counted(std::vector<std::size_t> shape)
{
    std::size_t count = 1;
    for (const std::size_t extent : shape)
        count *= extent;
    numerical::aligned_vector<double> data(count);
    for (std::size_t i = 0; i < count; ++i)
        data[i] = static_cast<double>(i);
    return {std::move(shape), std::move(data)};
}

// Rows 2, 0, 2 of a 3 × 4 matrix, every second column of each from the last one on.
selection rows_backwards()
{
    selection at;
    at.shape = {3, 2};
    at.origin = 3;
    at.loops = {{3, 0, true}, {2, -2, false}};
    at.table = {8, 0, 8};
    at.table_rank = 1;
    return at;
}

TEST(selection, gathers_by_table_and_by_stride)
{
    const tensor<double> a = counted({3, 4});
    const tensor<double> taken = gather(a, rows_backwards());
    EXPECT_EQ(taken.shape, (std::vector<std::size_t>{3, 2}));
    EXPECT_EQ(taken.data, (numerical::aligned_vector<double>{11, 9, 3, 1, 11, 9}));
}

TEST(selection, gathers_with_the_table_innermost)
{
    selection at; // columns 3, 1 of both rows
    at.shape = {2, 2};
    at.loops = {{2, 4, false}, {2, 0, true}};
    at.table = {3, 1};
    at.table_axis = 1;
    at.table_rank = 1;
    EXPECT_EQ(gather(counted({2, 4}), at).data, (numerical::aligned_vector<double>{3, 1, 7, 5}));
}

TEST(selection, of_no_element_gives_none)
{
    selection at;
    at.shape = {0, 2};
    at.loops = {{0, 0, true}, {2, 1, false}};
    at.table_rank = 1;
    EXPECT_TRUE(gather(counted({3, 2}), at).data.empty());
    EXPECT_EQ(updated(counted({3, 2}), at, update_operation::set, counted({1})).data,
              counted({3, 2}).data);
}

TEST(selection, places_taken_twice_collect_sums_and_keep_the_last_value_set)
{
    const tensor<double> zeros({3, 4}, numerical::aligned_vector<double>(12));
    const tensor<double> values = counted({3, 2});
    const auto added = updated(zeros, rows_backwards(), update_operation::add, values);
    EXPECT_EQ(added.data, (numerical::aligned_vector<double>{0, 3, 0, 2, 0, 0, 0, 0, 0, 6, 0, 4}));
    const auto set = updated(zeros, rows_backwards(), update_operation::set, values);
    EXPECT_EQ(set.data, (numerical::aligned_vector<double>{0, 3, 0, 2, 0, 0, 0, 0, 0, 5, 0, 4}));
}

TEST(selection, values_broadcast_to_the_selected_shape)
{
    const tensor<double> zeros({3, 4}, numerical::aligned_vector<double>(12));
    const tensor<double> row({2}, {1, 2});
    const tensor<double> column({3, 1}, {1, 2, 3});
    EXPECT_EQ(updated(zeros, rows_backwards(), update_operation::set, row).data,
              (numerical::aligned_vector<double>{0, 2, 0, 1, 0, 0, 0, 0, 0, 2, 0, 1}));
    EXPECT_EQ(updated(zeros, rows_backwards(), update_operation::set, column).data,
              (numerical::aligned_vector<double>{0, 2, 0, 2, 0, 0, 0, 0, 0, 3, 0, 3}));
}

TEST(selection, values_that_do_not_broadcast_are_refused)
{
    const auto call = [] {
        updated(counted({3, 4}), rows_backwards(), update_operation::set, counted({3}));
    };
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>(call),
              "values of shape (3,) cannot be broadcast to the selected shape (3, 2)");
}

TEST(selection, extremes_are_nan_where_either_side_is)
{
    selection at;
    at.shape = {3};
    at.loops = {{3, 1, false}};
    const tensor<double> a({3}, {nan, 1, 1});
    const tensor<double> b({3}, {0, nan, 2});
    for (const auto operation : {update_operation::minimum, update_operation::maximum}) {
        const numerical::aligned_vector<double> result = updated(a, at, operation, b).data;
        EXPECT_TRUE(std::isnan(result[0]) && std::isnan(result[1]));
        EXPECT_EQ(result[2], operation == update_operation::minimum ? 1 : 2);
    }
}

TEST(selection, complex_elements_are_multiplied)
{
    selection at;
    at.shape = {2};
    at.loops = {{2, 0, true}};
    at.table = {0, 0};
    at.table_rank = 1;
    const tensor<complex> a({2}, {{0, 1}, {2, 0}});
    const tensor<complex> b({1}, {{0, 1}});
    EXPECT_EQ(updated(a, at, update_operation::multiply, b).data,
              (numerical::aligned_vector<complex>{{0, -1}, {2, 0}}));
}

} // namespace
