#include "numerical/storage.hpp"

#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <gtest/gtest.h>

namespace {

using numerical::detail::clear_new_block;
using numerical::detail::zeros;

// From here on the system clears the pages.
constexpr std::size_t fresh_doubles = (std::size_t{32} << 20) / sizeof(double);

template <class T>
bool all_zero(const numerical::aligned_vector<T>& store)
{
    return std::all_of(store.begin(), store.end(), [](const T& x) { return x == T(0); });
}

TEST(zeros, are_zero_at_every_size)
{
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{1000},
                                    fresh_doubles - 1, fresh_doubles, fresh_doubles + 777}) {
        const numerical::aligned_vector<double> store = zeros<double>(count);
        EXPECT_EQ(store.size(), count);
        EXPECT_TRUE(all_zero(store)) << count;
    }
    EXPECT_TRUE(all_zero(zeros<std::complex<double>>(fresh_doubles / 2 + 1)));
}

TEST(clear_new_block, clears_what_was_written_and_nothing_round_it)
{
    constexpr std::size_t page = 4096 / sizeof(double);
    numerical::aligned_vector<double> store(fresh_doubles + 3 * page, 1.5);
    for (const std::size_t lead : {std::size_t{1}, page / 2, page - 1, page + 3}) {
        std::fill(store.begin(), store.end(), 1.5);
        const std::size_t count = fresh_doubles + lead % 5;
        clear_new_block(store.data() + lead, count * sizeof(double));
        const auto first = store.begin() + static_cast<std::ptrdiff_t>(lead);
        const auto last = first + static_cast<std::ptrdiff_t>(count);
        EXPECT_TRUE(std::all_of(first, last, [](double x) { return x == 0; }));
        EXPECT_EQ(std::count(store.begin(), first, 1.5), first - store.begin());
        EXPECT_EQ(std::count(last, store.end(), 1.5), store.end() - last);
    }
}

} // namespace
