#include "numerical/strided/spread_rows.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <set>
#include <utility>

namespace {

using numerical::detail::spread_rows;
using numerical::detail::working_stride;

TEST(working_stride, spreads_only_rows_whole_multiples_of_2_KiB_apart)
{
    EXPECT_EQ(working_stride<double>(255), 255);
    EXPECT_EQ(working_stride<double>(256), 264);
    EXPECT_EQ(working_stride<double>(257), 257);
    EXPECT_EQ(working_stride<double>(1024), 1032);
    EXPECT_EQ(working_stride<std::complex<double>>(127), 127);
    EXPECT_EQ(working_stride<std::complex<double>>(128), 132);
}

TEST(spread_rows, has_rows_that_do_not_overlap)
{
    for (const std::size_t cols : {1, 255, 256}) {
        spread_rows<double> a(3, cols);
        a.set_to_zero();
        for (std::size_t i = 0; i < 3; ++i)
            std::fill_n(a.view().row(i), cols, double(i));
        const auto& constant = a;
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < cols; ++j)
                EXPECT_EQ(constant.view()(i, j), double(i));
    }
}

TEST(spread_rows, keeps_its_elements_when_it_moves)
{
    for (const std::size_t order : {3, 256, 700}) { // the last in memory that no thread keeps
        spread_rows<double> from(order, order);
        from.view()(order - 1, order - 1) = 5;
        const double* const place = from.view().first;
        spread_rows<double> to(std::move(from));
        EXPECT_EQ(to.view()(order - 1, order - 1), 5);
        EXPECT_EQ(to.view().first, place);
        from = spread_rows<double>(2, 2);
        from.view()(0, 0) = 1;
        EXPECT_EQ(to.view()(order - 1, order - 1), 5);
    }
}

TEST(spread_rows, gets_the_memory_of_the_last_two_but_never_that_of_a_living_one)
{
    const auto place = [](const spread_rows<double>& a) { return a.view().first; };
    std::set<const double*> before;
    {
        const spread_rows<double> one(300, 300);
        const spread_rows<double> other(300, 300);
        const spread_rows<double> third(10, 10);
        before = {place(one), place(other)};
    }
    const spread_rows<double> one(300, 300);
    const spread_rows<double> other(290, 290);
    const spread_rows<double> third(300, 300);
    EXPECT_EQ((std::set{place(one), place(other)}), before);
    EXPECT_EQ(before.count(place(third)), 0);
}

TEST(spread_rows, without_rows_or_columns_is_empty)
{
    EXPECT_EQ(spread_rows<double>().view().rows, 0);
    EXPECT_EQ(spread_rows<double>(0, 256).view().cols, 256);
    EXPECT_EQ(spread_rows<double>(3, 0).view().rows, 3);
}

} // namespace
