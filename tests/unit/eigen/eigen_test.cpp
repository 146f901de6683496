#include "numerical/eigen/eigen.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <cmath>
#include <complex>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>

namespace {

using numerical::eigen_blocks;
using numerical::eigen_method;
using numerical::matrix;
using complex = std::complex<double>;
using test::text_thrown_by;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr auto ql = eigen_method::tridiagonal_ql;
constexpr auto divide = eigen_method::divide_and_conquer;
constexpr auto jacobi = eigen_method::jacobi;

template <class T>
using decomposition_of = std::conditional_t<std::is_same_v<T, double>, numerical::symmetric_eigen,
                                            numerical::hermitian_eigen>;

// LAPACK's own tests accept ratios below 30; what is seen here stays far below.
constexpr double accepted = 30;

struct largest_ratios
{
    test::eigen_ratios largest{0, 0};
    std::string where;

    void add(const test::eigen_ratios& seen, const std::string& name)
    {
        if (!(test::worse(seen.residual, seen.orthogonality) <=
              test::worse(largest.residual, largest.orthogonality)))
            where = name;
        largest.residual = test::worse(largest.residual, seen.residual);
        largest.orthogonality = test::worse(largest.orthogonality, seen.orthogonality);
    }

    void print(const char* what) const
    {
        std::printf("%s: largest |AV - VL| %.3f, |I - V'V| %.3f (%s)\n", what, largest.residual,
                    largest.orthogonality, where.c_str());
    }
};

template <class T>
void check_families(std::size_t n, eigen_method method, largest_ratios& ratios,
                    eigen_blocks blocks = eigen_blocks::fixed)
{
    for (const auto& [name, a] : test::hermitian_families<T>(n)) {
        const decomposition_of<T> eigen(a, method, blocks);
        const auto seen = test::ratios_of(a, eigen.values, eigen.vectors);
        const std::string where = name + ", n = " + std::to_string(n);
        ratios.add(seen, where);
        EXPECT_LT(seen.residual, accepted) << where;
        EXPECT_LT(seen.orthogonality, accepted) << where;
        EXPECT_TRUE(std::is_sorted(eigen.values.begin(), eigen.values.end())) << where;
        EXPECT_EQ(eigen.size, n);
    }
}

template <class T>
class eigendecomposition : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(eigendecomposition, element_types);

TYPED_TEST(eigendecomposition, by_ql_is_accurate_on_all_families)
{
    largest_ratios ratios;
    for (const std::size_t n : {0, 1, 2, 3, 31, 32, 33, 34, 63, 64, 65, 66, 128, 257})
        check_families<TypeParam>(n, ql, ratios);
    ratios.print("QL");
}

TYPED_TEST(eigendecomposition, by_divide_and_conquer_is_accurate_on_all_families)
{
    largest_ratios ratios;
    for (const std::size_t n : {0, 1, 2, 3, 31, 32, 33, 34, 63, 64, 65, 66, 128, 257})
        check_families<TypeParam>(n, divide, ratios);
    ratios.print("divide and conquer");
}

TYPED_TEST(eigendecomposition, of_large_matrices_is_accurate)
{
    largest_ratios ratios;
    for (const std::size_t n : {513, 600, 1025}) {
        const auto random = test::random_hermitian<TypeParam>(n, 3);
        const decomposition_of<TypeParam> of_random(random, divide);
        ratios.add(test::ratios_of(random, of_random.values, of_random.vectors), "random");
        const auto glued = test::glued_wilkinson<TypeParam>(n, 1e-8);
        const decomposition_of<TypeParam> of_glued(glued, n < 1000 ? ql : divide);
        ratios.add(test::ratios_of(glued, of_glued.values, of_glued.vectors), "glued Wilkinson");
    }
    ratios.print("large");
    EXPECT_LT(ratios.largest.residual, accepted);
    EXPECT_LT(ratios.largest.orthogonality, accepted);
}

TEST(symmetric_eigen, is_accurate_where_vectors_change_from_columns_to_rows)
{
    constexpr std::size_t last = numerical::detail::greatest_order_of_columns;
    largest_ratios ratios;
    for (const std::size_t n : {last, last + 1}) {
        const auto a = test::random_hermitian<double>(n, 3);
        const numerical::symmetric_eigen found(a, divide);
        ratios.add(test::ratios_of(a, found.values, found.vectors), "random");
    }
    EXPECT_LT(ratios.largest.residual, accepted);
    EXPECT_LT(ratios.largest.orthogonality, accepted);
}

TYPED_TEST(eigendecomposition, is_accurate_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        largest_ratios ratios;
        for (const eigen_method method : {ql, divide})
            for (const std::size_t n : {31, 67, 130})
                check_families<TypeParam>(n, method, ratios);
        ratios.print(("path " + std::to_string(path)).c_str());
    }
}

TYPED_TEST(eigendecomposition, is_accurate_in_the_fastest_blocks)
{
    largest_ratios ratios;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const eigen_method method : {ql, divide})
            for (const std::size_t n : {15, 16, 17, 18, 33, 97})
                check_families<TypeParam>(n, method, ratios, eigen_blocks::fastest);
    }
    check_families<TypeParam>(257, divide, ratios, eigen_blocks::fastest);
    ratios.print("fastest blocks");
}

// The orders at which the panels of complex and the blocks of real matrices widen, and one less.
TEST(hermitian_eigen, is_accurate_on_both_sides_of_the_width_of_panels)
{
    using numerical::detail::fastest_panel;
    largest_ratios ratios;
    for (const std::size_t n : {599, 600}) {
        const auto a = test::random_hermitian<std::complex<double>>(n, 3);
        const numerical::hermitian_eigen found(a, divide, eigen_blocks::fastest);
        ratios.add(test::ratios_of(a, found.values, found.vectors), "random");
    }
    EXPECT_LT(fastest_panel(599), fastest_panel(600));
    EXPECT_LT(ratios.largest.residual, accepted);
    EXPECT_LT(ratios.largest.orthogonality, accepted);
}

TEST(symmetric_eigen, is_accurate_on_both_sides_of_the_width_of_blocks)
{
    using numerical::detail::fastest_way_back;
    largest_ratios ratios;
    for (const std::size_t n : {799, 800}) {
        const auto a = test::random_hermitian<double>(n, 3);
        const numerical::symmetric_eigen found(a, divide, eigen_blocks::fastest);
        ratios.add(test::ratios_of(a, found.values, found.vectors), "random");
    }
    EXPECT_LT(fastest_way_back<double>(799), fastest_way_back<double>(800));
    EXPECT_LT(ratios.largest.residual, accepted);
    EXPECT_LT(ratios.largest.orthogonality, accepted);
}

TYPED_TEST(eigendecomposition, finds_a_prescribed_spectrum)
{
    for (const std::size_t n : {5, 33, 150}) {
        auto values = test::spectrum(n, [](double x) { return std::sin(7 * x) + 0.25 * x; });
        const auto a = test::with_spectrum<TypeParam>(values, 12);
        std::sort(values.begin(), values.end());
        for (const eigen_method method : {ql, divide}) {
            const decomposition_of<TypeParam> eigen(a, method);
            for (std::size_t i = 0; i < n; ++i)
                EXPECT_NEAR(eigen.values[i], values[i], (20 + double(n)) * test::eps)
                    << i << " of " << n;
        }
    }
}

TYPED_TEST(eigendecomposition, has_the_same_bits_at_every_thread_count)
{
    const auto a = test::random_hermitian<TypeParam>(257, 4);
    for (const eigen_method method : {ql, divide}) {
        const test::thread_limit one(1);
        const decomposition_of<TypeParam> expected(a, method);
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            const decomposition_of<TypeParam> eigen(a, method);
            EXPECT_EQ(eigen.values, expected.values) << threads << " threads";
            EXPECT_EQ(eigen.vectors.data, expected.vectors.data) << threads << " threads";
        }
    }
}

TEST(symmetric_eigen, has_the_same_bits_at_every_thread_count_in_wide_blocks)
{
    constexpr std::size_t n = 801;
    static_assert(numerical::detail::fastest_way_back<double>(n) !=
                  numerical::detail::fixed_way_back);
    const auto a = test::random_hermitian<double>(n, 4);
    const auto vectors_on = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        return numerical::symmetric_eigen(a, divide, eigen_blocks::fastest).vectors.data;
    };
    const auto one = vectors_on(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(vectors_on(threads), one) << threads << " threads";
}

TYPED_TEST(eigendecomposition, reads_nothing_above_the_diagonal)
{
    const auto clean = test::random_hermitian<TypeParam>(70, 5);
    auto dirty = clean;
    for (std::size_t i = 0; i < 70; ++i)
        for (std::size_t j = i + 1; j < 70; ++j)
            dirty.data[i * 70 + j] = TypeParam(nan);
    for (const eigen_method method : {ql, divide}) {
        const decomposition_of<TypeParam> expected(clean, method);
        const decomposition_of<TypeParam> eigen(dirty, method);
        EXPECT_EQ(eigen.values, expected.values);
        EXPECT_EQ(eigen.vectors.data, expected.vectors.data);
    }
}

TYPED_TEST(eigendecomposition, of_empty_single_and_zero_matrices)
{
    using decomposition = decomposition_of<TypeParam>;
    for (const eigen_method method : {ql, divide}) {
        const decomposition none(matrix<TypeParam>(0, 0, {}), method);
        EXPECT_TRUE(none.values.empty() && none.vectors.data.empty());
        const decomposition one(matrix<TypeParam>(1, 1, {-2.5}), method);
        EXPECT_EQ(one.values, numerical::aligned_vector<double>{-2.5});
        EXPECT_EQ(std::abs(one.vectors.data[0]), 1.0);
        const decomposition zero(
            matrix<TypeParam>(40, 40, numerical::aligned_vector<TypeParam>(1600)), method);
        EXPECT_EQ(zero.values, numerical::aligned_vector<double>(40, 0.0));
    }
}

TYPED_TEST(eigendecomposition, names_what_is_wrong_with_its_input)
{
    using decomposition = decomposition_of<TypeParam>;
    const std::string kind = std::is_same_v<TypeParam, double> ? "symmetric" : "Hermitian";
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>([] {
                  decomposition(matrix<TypeParam>(2, 3, numerical::aligned_vector<TypeParam>(6)),
                                ql);
              }),
              kind + " eigendecomposition requires a square matrix");
    for (const double bad : {nan, std::numeric_limits<double>::infinity()})
        for (const std::size_t at : {0, 2, 3}) {
            auto a = test::random_hermitian<TypeParam>(2, 1);
            a.data[at] = TypeParam(bad);
            EXPECT_EQ(
                text_thrown_by<numerical::non_finite_error>([&] { decomposition(a, divide); }),
                kind + " eigendecomposition: the matrix holds an infinite or NaN entry");
        }
}

TEST(jacobi, is_accurate_on_all_families)
{
    largest_ratios ratios;
    for (const std::size_t n : {0, 1, 2, 3, 8, 33, 64})
        check_families<double>(n, jacobi, ratios);
    ratios.print("Jacobi");
}

// Left where they are, these 4500 roundings of the first element were hundreds of n·ε of residual.
TEST(jacobi, leaves_nothing_but_roundings_off_the_diagonal)
{
    const matrix<double> a(3, 3, {1, 1e-12, 1e-12, 1e-12, 2, 1e-12, 1e-12, 1e-12, 3});
    const numerical::symmetric_eigen eigen(a, jacobi);
    EXPECT_LT(test::ratios_of(a, eigen.values, eigen.vectors).residual, 1);
}

TEST(jacobi, of_single_element_and_empty_matrices)
{
    const numerical::symmetric_eigen one(matrix<double>(1, 1, {-7.0}), jacobi);
    EXPECT_EQ(one.values, numerical::aligned_vector<double>{-7.0});
    EXPECT_EQ(one.vectors.data, numerical::aligned_vector<double>{1.0});
    EXPECT_TRUE(numerical::symmetric_eigen(matrix<double>(0, 0, {}), jacobi).values.empty());
}

TEST(jacobi, ignores_the_upper_triangle)
{
    auto a = test::random_hermitian<double>(20, 6);
    const numerical::symmetric_eigen expected(a, jacobi);
    a.data[3] = nan;
    EXPECT_EQ(numerical::symmetric_eigen(a, jacobi).values, expected.values);
}

TEST(jacobi, reports_the_end_of_its_sweeps)
{
    const auto a = test::random_hermitian<double>(8, 2);
    EXPECT_EQ(text_thrown_by<numerical::convergence_error>(
                  [&] { numerical::detail::two_sided_jacobi(a, 1.0, 2); }),
              "symmetric eigendecomposition: Jacobi did not converge within its sweeps");
}

TEST(jacobi, may_use_the_last_sweep_it_has)
{
    const auto a = test::random_hermitian<double>(8, 2);
    int needed = 1;
    while (text_thrown_by<numerical::convergence_error>([&] {
               numerical::detail::two_sided_jacobi(a, 1.0, needed);
           }) != "nothing was thrown")
        ++needed;
    EXPECT_GT(needed, 2);
    EXPECT_LT(needed, 12);
}

TEST(jacobi, of_a_complex_matrix_is_refused_before_its_shape_is_seen)
{
    EXPECT_EQ(text_thrown_by<std::invalid_argument>([] {
                  numerical::hermitian_eigen(matrix<complex>(1, 2, {1.0, 2.0}), jacobi);
              }),
              "Hermitian eigendecomposition: the Jacobi method is for real symmetric matrices");
}

TEST(hermitian_eigen, drops_the_imaginary_part_of_the_diagonal)
{
    const complex with_imaginary[] = {{2e-10, 1e308}, {0, 0}, {1e-10, 5e-11}, {-1e-10, 3.0}};
    const complex without[] = {2e-10, 0, {1e-10, 5e-11}, -1e-10};
    for (const eigen_method method : {ql, divide}) {
        const numerical::hermitian_eigen eigen({2, 2, {with_imaginary, with_imaginary + 4}},
                                               method);
        const numerical::hermitian_eigen expected({2, 2, {without, without + 4}}, method);
        EXPECT_EQ(eigen.values, expected.values);
        EXPECT_EQ(eigen.vectors.data, expected.vectors.data);
    }
}

TEST(hermitian_eigen, of_entries_whose_modulus_overflows)
{
    const double big = 1.7e308;
    const numerical::hermitian_eigen eigen({2, 2, {0, 0, {big / 2, big / 2}, 0}}, divide);
    EXPECT_NEAR(eigen.values[1] / (big / std::sqrt(2.0)), 1, 1e-15);
    const numerical::hermitian_eigen beyond({2, 2, {0, 0, {big, big}, 1.0}}, ql);
    EXPECT_TRUE(std::isinf(beyond.values[1])); // the value itself is out of range
    EXPECT_NEAR(std::abs(beyond.vectors.data[0]), std::sqrt(0.5), 1e-15);
}

TEST(symmetric_eigen, of_a_matrix_with_entries_of_very_different_size)
{
    // The shift's p is 1e200 in the first and beyond the largest double in the second.
    for (const double small : {1e-200, 1e-320})
        for (const eigen_method method : {ql, divide, jacobi}) {
            const numerical::symmetric_eigen eigen({2, 2, {small, small, small, 1.0}}, method);
            EXPECT_EQ(eigen.values, (numerical::aligned_vector<double>{small, 1.0}));
            EXPECT_EQ(std::abs(eigen.vectors.data[0]), 1.0);
        }
}

TEST(symmetric_eigen, near_the_limits_of_the_range)
{
    const double huge = std::numeric_limits<double>::max();
    const numerical::symmetric_eigen of_huge({2, 2, {huge, 0, 0, -huge}}, divide);
    EXPECT_EQ(of_huge.values, (numerical::aligned_vector<double>{-huge, huge}));
    const double least = std::numeric_limits<double>::denorm_min();
    const numerical::symmetric_eigen of_least({2, 2, {0, 0, 3 * least, 0}}, ql);
    EXPECT_EQ(of_least.values, (numerical::aligned_vector<double>{-3 * least, 3 * least}));
}

TEST(columns_by_value, puts_rows_into_columns_in_the_given_order)
{
    for (const std::size_t n : {0, 1, 31, 32, 33, 70}) {
        const auto rows = test::integer_vector<double>(n * n, 1, 1000);
        std::vector<std::size_t> order(n);
        for (std::size_t j = 0; j < n; ++j)
            order[j] = (j * 7 + 3) % n; // a permutation: 7 divides none of the orders but 70
        const auto columns = numerical::detail::columns_by_value(rows, order, n);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                EXPECT_EQ(columns[i * n + j], rows[order[j] * n + i]);
    }
}

} // namespace
