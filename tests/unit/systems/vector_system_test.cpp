#include "numerical/systems/vector_system.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::lu_decomposition;
using numerical::matrix;

template <class T>
class vector_system : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(vector_system, element_types);

TYPED_TEST(vector_system, is_solved_on_either_side_of_the_order_where_the_method_changes)
{
    constexpr std::size_t last = numerical::greatest_order_by_elements<TypeParam>;
    for (const int path : test::available_paths())
        for (const std::size_t n : {std::size_t{1}, last - 1, last, last + 1, last + 7,
                                    std::size_t{130}, std::size_t{600}})
            for (const double decades : {0.0, 12.0}) {
                const test::path_limit limit(path);
                const auto a = test::graded_matrix<TypeParam>(n, n, decades, 7);
                const auto b = test::random_matrix<TypeParam>(n, 1, 8);
                const matrix<TypeParam> x(n, 1,
                                          solve_vector(lu_decomposition<TypeParam>(a), b.data));
                EXPECT_LT(test::residual_ratio(a, x, b), 4) << n << " path " << path;
            }
}

TYPED_TEST(vector_system, is_substituted_by_elements_up_to_that_order)
{
    constexpr std::size_t last = numerical::greatest_order_by_elements<TypeParam>;
    const lu_decomposition<TypeParam> lu(test::random_matrix<TypeParam>(last, last, 3));
    const auto b = test::random_vector<TypeParam>(last, 4);
    EXPECT_EQ(solve_vector(lu, b), lu.solve_vector(b));
}

TYPED_TEST(vector_system, has_the_same_bits_for_every_number_of_threads)
{
    for (const std::size_t n : {100, 700, 1030}) {
        const lu_decomposition<TypeParam> lu(test::random_matrix<TypeParam>(n, n, 3));
        const auto b = test::random_vector<TypeParam>(n, 4);
        const test::thread_limit one(1);
        const auto first = solve_vector(lu, b);
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            EXPECT_TRUE(first == solve_vector(lu, b)) << n << ' ' << threads;
        }
    }
}

} // namespace
