#include "numerical/errors.hpp"

#include "numerical/aligned_vector.hpp"
#include "stack_cases.hpp"
#include "thrown.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;

template <class T>
class stacked_products : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(stacked_products, element_types);

template <class T>
operation<T> products(std::size_t columns)
{
    return {"multiply",
            [](std::size_t count, const auto& a, const auto& b) {
                numerical::aligned_vector<T> c(count * a.rows * b.cols, T(7));
                stacks::multiply(count, a, b, c.data());
                return bits_of(c);
            },
            [](const auto& a, const auto& b) { return results{bits_of((a * b).data)}; },
            [=](auto, auto) { return columns; }};
}

TYPED_TEST(stacked_products, bits_are_those_of_the_single_call)
{
    const std::vector<std::size_t> extents{0, 1, 2, 3, 4, 7, 8, 9, 16, 33};
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const std::size_t m : extents)
            for (const std::size_t k : extents)
                for (const std::size_t n : extents)
                    for (const std::size_t count : {1, 9}) {
                        const auto a = random_stack<TypeParam>(count, m, k, unsigned(m));
                        const auto b = random_stack<TypeParam>(count, k, n, unsigned(n));
                        expect_same_outcome<TypeParam>(count, a, b, products<TypeParam>(n));
                    }
    }
}

TYPED_TEST(stacked_products, unusual_values_give_what_the_single_call_gives)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 8, 9, 12})
            for (const std::size_t columns : {std::size_t{1}, n})
                for (const auto& a : unusual_stacks<TypeParam>(n, n)) {
                    const auto b = random_stack<TypeParam>(a.count, n, columns, unsigned(n));
                    expect_same_outcome<TypeParam>(a.count, a, b, products<TypeParam>(columns));
                }
    }
}

TYPED_TEST(stacked_products, operands_may_be_repeated_and_overlap)
{
    const auto elements = random_vector<TypeParam>(800, 1);
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const std::size_t n : {3, 8, 20})
            for (const std::size_t columns : {std::size_t{1}, n})
                for (const std::size_t step_a : {0, 1})
                    for (const std::size_t step_b : {0, 2}) {
                        const matrix_stack<TypeParam> a{elements.data(), n, n, step_a};
                        const matrix_stack<TypeParam> b{elements.data(), n, columns, step_b};
                        expect_same_outcome<TypeParam>(21, a, b, products<TypeParam>(columns));
                    }
    }
}

TYPED_TEST(stacked_products, bits_are_the_same_at_every_thread_count)
{
    const std::size_t count = 3000;
    for (const std::size_t n : {3, 8, 12}) {
        const auto a = random_stack<TypeParam>(count, n, n, 1);
        const auto b = random_stack<TypeParam>(count, n, n, 2);
        for (const std::size_t threads : thread_counts) {
            const thread_limit limit(threads);
            expect_same_outcome<TypeParam>(count, a, b, products<TypeParam>(n));
        }
    }
}

TYPED_TEST(stacked_products, inner_extents_must_agree)
{
    const matrix_stack<TypeParam> a{nullptr, 2, 3, 6};
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>(
                  [&] { stacks::multiply(0, a, a, static_cast<TypeParam*>(nullptr)); }),
              "matrix–matrix product: inner dimensions differ");
}

TEST(stack_places, of_a_stack_of_its_own_shape_lie_one_after_the_other)
{
    const numerical::stack_places places({2, 3}, {2, 3}, 4);
    EXPECT_EQ(places.step, 4U);
    EXPECT_TRUE(places.offsets.empty());
}

TEST(stack_places, of_one_matrix_are_all_the_same)
{
    for (const auto& own : {std::vector<std::size_t>{}, {1}, {1, 1}}) {
        const numerical::stack_places places(own, {2, 3}, 4);
        EXPECT_EQ(places.step, 0U);
        EXPECT_TRUE(places.offsets.empty());
    }
}

TEST(stack_places, of_repeated_axes_are_named_one_by_one)
{
    EXPECT_EQ(numerical::stack_places({3}, {2, 3}, 4).offsets,
              (std::vector<std::size_t>{0, 4, 8, 0, 4, 8}));
    EXPECT_EQ(numerical::stack_places({2, 1}, {2, 3}, 4).offsets,
              (std::vector<std::size_t>{0, 0, 0, 4, 4, 4}));
    EXPECT_EQ(numerical::stack_places({2, 1, 2}, {2, 2, 2}, 1).offsets,
              (std::vector<std::size_t>{0, 1, 0, 1, 2, 3, 2, 3}));
}

TEST(stack_places, of_an_empty_stack_need_no_offsets)
{
    EXPECT_TRUE(numerical::stack_places({1, 2}, {0, 2}, 4).offsets.empty());
    EXPECT_TRUE(numerical::stack_places({0}, {3, 0}, 4).offsets.empty());
}

} // namespace
