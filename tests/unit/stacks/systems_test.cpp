#include "stack_cases.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;
using numerical::lu_decomposition;

template <class T>
class stacked_systems : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(stacked_systems, element_types);

template <class T>
operation<T> solution_of_vectors()
{
    return {"solve_vectors",
            [](std::size_t count, const auto& a, const auto& b) {
                std::vector<T> x(count * a.rows);
                stacks::solve_vectors(count, a, b, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto& b) {
                return results{bits_of(lu_decomposition<T>(matrix<T>(a)).solve_vector(b.data))};
            },
            [](auto, auto) { return 1; }};
}

template <class T>
operation<T> solution_of_matrices(std::size_t columns)
{
    return {"solve_matrices",
            [](std::size_t count, const auto& a, const auto& b) {
                std::vector<T> x(count * a.rows * b.cols);
                stacks::solve_matrices(count, a, b, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto& b) {
                return results{
                    bits_of(lu_decomposition<T>(matrix<T>(a)).solve_matrix(b.data, b.cols))};
            },
            [=](auto, auto) { return columns; }};
}

template <class T>
operation<T> inverses()
{
    return {"inverse",
            [](std::size_t count, const auto& a, const auto&) {
                std::vector<T> x(count * a.rows * a.cols);
                stacks::inverse(count, a, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto&) {
                return results{bits_of(lu_decomposition<T>(matrix<T>(a)).inverse().data)};
            }};
}

template <class T>
operation<T> determinants()
{
    return {"determinant",
            [](std::size_t count, const auto& a, const auto&) {
                std::vector<T> x(count);
                stacks::determinant(count, a, x.data());
                return bits_of(x);
            },
            [](const auto& a, const auto&) {
                return results{bits_of(
                    std::vector<T>{numerical::determinant(lu_decomposition<T>(matrix<T>(a)))})};
            }};
}

template <class T>
operation<T> signs_and_logs()
{
    return {"slogdet",
            [](std::size_t count, const auto& a, const auto&) {
                std::vector<T> signs(count);
                std::vector<double> logs(count);
                stacks::slogdet(count, a, signs.data(), logs.data());
                std::vector<double> all = bits_of(signs);
                append_bits(all, logs);
                return all;
            },
            [](const auto& a, const auto&) {
                const auto found = numerical::slogdet(lu_decomposition<T>(matrix<T>(a)));
                return results{bits_of(std::vector<T>{found.sign}), std::vector<double>{found.log}};
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
                    expect_same_bits<TypeParam>(count, a, b, operation);
                }
    }
}

} // namespace
