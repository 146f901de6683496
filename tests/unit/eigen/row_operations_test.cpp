#include "numerical/eigen/row_operations.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;

constexpr auto rotation = row_operation_kind::rotation;

row_operation random_rotation(std::size_t first, std::size_t second, std::mt19937_64& generator)
{
    std::uniform_real_distribution<double> angle(0.0, 6.28);
    const double t = angle(generator);
    return {rotation, first, second, std::cos(t), std::sin(t)};
}

// Chains as the iterations make them, descending and ascending, of ragged lengths, with single
// rotations of distant rows, negations and swaps between them.
row_operations mixed_operations(std::size_t n, std::size_t chains, unsigned seed)
{
    std::mt19937_64 generator(seed);
    row_operations list;
    for (std::size_t chain = 0; chain < chains; ++chain) {
        const std::size_t low = generator() % n;
        const std::size_t high = generator() % 3 == 0 ? n - 1 : generator() % n;
        switch (generator() % 8) {
        case 0:
            list.push_back({row_operation_kind::negation, low, low, 0, 0});
            break;
        case 1:
            list.push_back({row_operation_kind::swap, low, high, 0, 0});
            break;
        case 2:
            if (low != high)
                list.push_back(random_rotation(low, high, generator));
            break;
        case 3:
        case 4:
            for (std::size_t i = low / 4; i < high; ++i)
                list.push_back(random_rotation(i, i + 1, generator));
            break;
        default:
            for (std::size_t i = high; i > low / 4; --i)
                list.push_back(random_rotation(i - 1, i, generator));
        }
    }
    return list;
}

// One operation after the other over whole rows.
template <class T>
void apply_plainly(numerical::aligned_vector<T>& basis, std::size_t n,
                   const row_operations& operations)
{
    for (const auto& [kind, first, second, c, s] : operations)
        for (std::size_t j = 0; j < n; ++j) {
            T& x = basis[first * n + j];
            T& y = basis[second * n + j];
            if (kind == row_operation_kind::negation) {
                x = -x;
            } else if (kind == row_operation_kind::swap) {
                std::swap(x, y);
            } else {
                const T old = x;
                x = c * old + s * y;
                y = c * y - s * old;
            }
        }
}

template <class T>
class row_operations_of : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(row_operations_of, element_types);

TYPED_TEST(row_operations_of, have_the_bits_of_whole_rows_in_list_order_on_every_path)
{
    for (const std::size_t n : {1, 2, 3, 5, 31, 63, 64, 65, 67, 127, 128, 130, 200}) {
        const auto operations = mixed_operations(n, 60, static_cast<unsigned>(n));
        const auto basis = test::random_vector<TypeParam>(n * n, 7);
        auto expected = basis;
        apply_plainly(expected, n, operations);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            auto actual = basis;
            apply_row_operations(actual, n, operations);
            EXPECT_EQ(actual, expected) << "n = " << n << ", path " << path;
        }
    }
}

TEST(row_operations, on_rows_of_any_length_leave_what_is_beside_them)
{
    constexpr std::size_t n = 40;
    constexpr double guard = 12345;
    const auto operations = mixed_operations(n, 60, 5);
    for (const std::size_t width : {1, 2, 4, 5, 17}) {
        numerical::aligned_vector<double> actual(n * n, guard);
        numerical::aligned_vector<double> square(n * n); // of which the first columns count
        const auto entries = test::random_vector<double>(n * width, 8);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < width; ++j)
                actual[i * n + j] = square[i * n + j] = entries[i * width + j];
        apply_plainly(square, n, operations);
        numerical::aligned_vector<double> expected(n * n, guard);
        for (std::size_t i = 0; i < n; ++i)
            std::copy_n(square.begin() + static_cast<std::ptrdiff_t>(i * n), width,
                        expected.begin() + static_cast<std::ptrdiff_t>(i * n));
        apply_row_operations(block_view<double>{actual.data(), n, width, n}, operations);
        EXPECT_EQ(actual, expected) << "width " << width;
    }
}

TYPED_TEST(row_operations_of, do_not_depend_on_the_number_of_threads)
{
    constexpr std::size_t n = 300;
    const auto operations = mixed_operations(n, 100, 3);
    const auto basis = test::random_vector<TypeParam>(n * n, 7);
    auto expected = basis;
    apply_plainly(expected, n, operations);
    for (const std::size_t threads : test::thread_counts) {
        const test::thread_limit limit(threads);
        auto actual = basis;
        apply_row_operations(actual, n, operations);
        EXPECT_EQ(actual, expected) << threads << " threads";
    }
}

TYPED_TEST(row_operations_of, an_empty_list_leaves_the_basis_alone)
{
    auto basis = test::random_vector<TypeParam>(9, 1);
    const auto before = basis;
    apply_row_operations(basis, 3, {});
    EXPECT_EQ(basis, before);
    numerical::aligned_vector<TypeParam> none;
    apply_row_operations(none, 0, {});
    EXPECT_TRUE(none.empty());
}

TEST(row_operations, are_cut_where_a_chain_turns_or_ends)
{
    const auto rotate = [](std::size_t first, std::size_t second) {
        return row_operation{rotation, first, second, 1, 0};
    };
    const row_operations list{rotate(3, 4),
                              rotate(2, 3),
                              rotate(1, 2), // descending
                              rotate(2, 3),
                              rotate(3, 4), // ascending
                              {row_operation_kind::negation, 3, 3, 0, 0},
                              rotate(0, 7),
                              rotate(5, 6)};
    const auto runs = cut_into_runs(list);
    ASSERT_EQ(runs.size(), 5U);
    EXPECT_TRUE(runs[0].start == 0 && runs[0].count == 3 && runs[0].descending);
    EXPECT_TRUE(runs[1].start == 3 && runs[1].count == 2 && !runs[1].descending);
    EXPECT_TRUE(runs[2].start == 5 && runs[2].count == 1);
    EXPECT_TRUE(runs[3].start == 6 && runs[3].count == 1);
    EXPECT_TRUE(runs[4].start == 7 && runs[4].count == 1);
}

} // namespace
