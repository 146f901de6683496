#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/systems/vector_system.hpp"

#include "stack_cases.hpp"
#include "thrown.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;
using numerical::lu_decomposition;

template <class T>
class stacked_systems : public testing::Test
{
};

// The factors that a solution or an inverse is made of.
template <class T>
lu_decomposition<T> regular_lu(const matrix<T>& a, const char* singular_text)
{
    lu_decomposition<T> lu{matrix<T>(a)};
    if (lu.singular)
        throw numerical::singular_matrix_error(singular_text);
    return lu;
}

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(stacked_systems, element_types);

template <class T>
operation<T> solution_of_vectors()
{
    return {"solve_vectors",
            [](std::size_t count, const auto& a, const auto& b) {
                numerical::aligned_vector<T> x(count * a.rows);
                stacks::solve_vectors(count, a, b, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto& b) {
                return results{
                    bits_of(solve_vector(regular_lu<T>(a, "solve: matrix is singular"), b.data))};
            },
            [](auto, auto) { return 1; }};
}

template <class T>
operation<T> solution_of_matrices(std::size_t columns)
{
    return {"solve_matrices",
            [](std::size_t count, const auto& a, const auto& b) {
                numerical::aligned_vector<T> x(count * a.rows * b.cols);
                stacks::solve_matrices(count, a, b, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto& b) {
                return results{bits_of(
                    regular_lu<T>(a, "solve: matrix is singular")
                        .solve_matrix(b.data.data(), b.cols, numerical::block_sums::in_any_order))};
            },
            [=](auto, auto) { return columns; }};
}

template <class T>
operation<T> inverses()
{
    return {"inverse",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<T> x(count * a.rows * a.cols);
                stacks::inverse(count, a, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto&) {
                return results{bits_of(regular_lu<T>(a, "inverse: matrix is singular")
                                           .inverse(numerical::block_sums::in_any_order)
                                           .data)};
            }};
}

template <class T>
operation<T> determinants()
{
    return {"determinant",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<T> x(count);
                stacks::determinant(count, a, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto&) {
                return results{bits_of(numerical::aligned_vector<T>{
                    numerical::determinant(lu_decomposition<T>(matrix<T>(a)))})};
            }};
}

template <class T>
operation<T> signs_and_logs()
{
    return {"slogdet",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<T> signs(count);
                numerical::aligned_vector<double> logs(count);
                stacks::slogdet(count, a, signs.data(), logs.data());
                numerical::aligned_vector<double> all = bits_of(signs);
                append_bits(all, logs);
                return all;
            },
            [](const auto& a, const auto&) {
                const auto found = numerical::slogdet(lu_decomposition<T>(matrix<T>(a)));
                return results{bits_of(numerical::aligned_vector<T>{found.sign}),
                               numerical::aligned_vector<double>{found.log}};
            }};
}

template <class T>
std::vector<operation<T>> all_operations()
{
    return {solution_of_vectors<T>(),    solution_of_matrices<T>(1),  solution_of_matrices<T>(3),
            solution_of_matrices<T>(17), solution_of_matrices<T>(33), inverses<T>(),
            determinants<T>(),           signs_and_logs<T>()};
}

TYPED_TEST(stacked_systems, bits_are_those_of_the_single_call)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const std::size_t n : stack_orders)
            for (const std::size_t count : n <= 17 ? stack_counts : std::vector<std::size_t>{3})
                for (const auto& operation : all_operations<TypeParam>()) {
                    const auto a = random_stack<TypeParam>(count, n, n, unsigned(n + count));
                    const auto b =
                        random_stack<TypeParam>(count, n, operation.columns(n, n), unsigned(n));
                    expect_same_outcome<TypeParam>(count, a, b, operation);
                }
    }
}

TYPED_TEST(stacked_systems, unusual_values_give_what_the_single_call_gives)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 4, 7, 16, 20})
            for (const auto& operation : all_operations<TypeParam>())
                for (const auto& a : unusual_stacks<TypeParam>(n, n)) {
                    const auto b =
                        random_stack<TypeParam>(a.count, n, operation.columns(n, n), unsigned(n));
                    expect_same_outcome<TypeParam>(a.count, a, b, operation);
                }
    }
}

TYPED_TEST(stacked_systems, unusual_right_sides_give_what_the_single_call_gives)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& operation :
             {solution_of_vectors<TypeParam>(), solution_of_matrices<TypeParam>(3)})
            for (const std::size_t n : {1, 2, 3, 4, 7, 16, 20})
                for (const auto& b : unusual_stacks<TypeParam>(n, operation.columns(n, n))) {
                    const auto a = random_stack<TypeParam>(b.count, n, n, unsigned(n));
                    expect_same_outcome<TypeParam>(b.count, a, b, operation);
                }
    }
}

TYPED_TEST(stacked_systems, operands_may_be_repeated_and_overlap)
{
    const std::size_t n = 5;
    const std::vector<std::size_t> places{0, 3, 3, 1, 7, 0, 12, 25, 25, 2};
    const auto elements = random_vector<TypeParam>(60, 1);
    const matrix_stack<TypeParam> scattered{elements.data(), n, n, 0, places.data()};
    const matrix_stack<TypeParam> repeated{elements.data(), n, n, 0};
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& operation :
             {solution_of_vectors<TypeParam>(), solution_of_matrices<TypeParam>(3)}) {
            const std::size_t columns = operation.columns(n, n);
            const matrix_stack<TypeParam> one_b{elements.data(), n, columns, 0};
            const matrix_stack<TypeParam> many_b{elements.data(), n, columns, 1};
            for (const auto& a : {scattered, repeated})
                for (const auto& b : {one_b, many_b})
                    expect_same_outcome<TypeParam>(places.size(), a, b, operation);
        }
    }
}

TYPED_TEST(stacked_systems, the_first_failing_place_is_named_at_every_thread_count)
{
    for (const std::size_t n : {3, 20}) {
        auto a = random_stack<TypeParam>(4000, n, n, 1);
        for (const std::size_t singular : {3999, 3001, 1777, 1778, 2500})
            std::fill_n(a.at(singular), n * n, TypeParam(0));
        a.at(1779)[0] = std::numeric_limits<double>::infinity();
        const auto b = random_stack<TypeParam>(4000, n, 1, 2);
        const auto operation = solution_of_vectors<TypeParam>();
        for (const std::size_t threads : thread_counts) {
            const thread_limit limit(threads);
            expect_same_outcome<TypeParam>(4000, a, b, operation);
        }
    }
}

TYPED_TEST(stacked_systems, shapes_that_do_not_fit_are_refused_whatever_the_count)
{
    const matrix_stack<TypeParam> wide{nullptr, 2, 3, 6};
    const matrix_stack<TypeParam> square{nullptr, 3, 3, 9};
    const matrix_stack<TypeParam> short_b{nullptr, 2, 1, 2};
    using numerical::dimension_error;
    const std::string not_square = "LU decomposition requires a square matrix";
    TypeParam* const none = nullptr;
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { stacks::inverse(0, wide, none); }), not_square);
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { stacks::determinant(0, wide, none); }),
              not_square);
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { stacks::slogdet(0, wide, none, nullptr); }),
              not_square);
    EXPECT_EQ(
        text_thrown_by<dimension_error>([&] { stacks::solve_vectors(0, wide, square, none); }),
        not_square);
    EXPECT_EQ(
        text_thrown_by<dimension_error>([&] { stacks::solve_vectors(0, square, short_b, none); }),
        "solve: right-hand side size differs from the matrix");
    EXPECT_EQ(
        text_thrown_by<dimension_error>([&] { stacks::solve_matrices(0, square, short_b, none); }),
        "solve: right-hand side row count differs from the matrix");
}

} // namespace
