#include "numerical/eigen/hermitian_two_stage.hpp"

#include "hermitian_matrices.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/selected.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "order_one.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <tuple>

namespace {

using namespace numerical::detail;
using numerical::eigen_selection;
using numerical::matrix;

constexpr double accepted = 30;

template <class T>
class two_stages : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(two_stages, element_types);

numerical::aligned_vector<double> identity_rows(std::size_t n)
{
    numerical::aligned_vector<double> rows(n * n);
    for (std::size_t i = 0; i < n; ++i)
        rows[i * n + i] = 1;
    return rows;
}

// The reduction with its whole basis Q.
template <class T>
struct formed_reduction
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> e;
    matrix<T> q;

    formed_reduction(const matrix<T>& a, std::size_t width)
        : d(a.rows), e(a.rows), q(a.rows, a.rows, numerical::aligned_vector<T>(a.rows * a.rows))
    {
        const auto reduction = reduce_in_two_stages(a.data, a.rows, width, d, e);
        q.data = columns_in_matrix_basis(reduction, identity_rows(a.rows), a.rows);
    }
};

TYPED_TEST(two_stages, basis_takes_the_tridiagonal_matrix_to_every_family)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t width : {16, 32})
            for (const std::size_t n : {2, 3, 15, 16, 17, 18, 33, 34, 49, 66})
                for (const auto& [name, a] : test::hermitian_families<TypeParam>(n)) {
                    if (!test::is_of_order_one(a))
                        continue;
                    const formed_reduction<TypeParam> formed(a, width);
                    const auto t = test::tridiagonal_matrix<TypeParam>(formed.d, formed.e);
                    const auto made = test::reference_product(test::reference_product(formed.q, t),
                                                              adjoint(formed.q));
                    EXPECT_LT(test::difference_ratio(a, made), accepted)
                        << name << ", n = " << n << ", width " << width << ", path " << path;
                    EXPECT_LT(test::orthogonality_ratio(formed.q), accepted) << name;
                }
    }
}

template <class T>
void expect_pairs(const matrix<T>& a, const numerical::aligned_vector<double>& values,
                  const matrix<T>& x)
{
    auto residual = test::reference_product(a, x);
    for (std::size_t i = 0; i < residual.data.size(); ++i)
        residual.data[i] -= x.data[i] * values[i % x.cols];
    EXPECT_LT(test::norm_inf(residual), accepted * double(a.rows) * test::eps * test::norm_inf(a));
    EXPECT_LT(test::orthogonality_ratio(x), accepted);
}

TYPED_TEST(two_stages, few_columns_are_those_of_the_whole_basis)
{
    constexpr std::size_t n = 100;
    const auto a = test::random_hermitian<TypeParam>(n, 4);
    const formed_reduction<TypeParam> formed(a, 16);
    numerical::aligned_vector<double> d(n);
    numerical::aligned_vector<double> e(n);
    const auto reduction = reduce_in_two_stages(a.data, n, 16, d, e);
    for (const std::size_t count : {1, 7, 8, 31, 32, 33, 64, 65}) {
        numerical::aligned_vector<double> rows = identity_rows(n);
        rows.resize(count * n);
        matrix<TypeParam> expected(n, count, numerical::aligned_vector<TypeParam>(n * count));
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < count; ++j)
                expected.data[i * count + j] = formed.q.data[i * n + j];
        const matrix<TypeParam> found(n, count, columns_in_matrix_basis(reduction, rows, n));
        EXPECT_LT(test::difference_ratio(expected, found), accepted) << count;
    }
}

TYPED_TEST(two_stages, bits_do_not_depend_on_the_number_of_threads)
{
    constexpr std::size_t n = 700;
    const auto a = test::random_hermitian<TypeParam>(n, 5);
    const auto pairs_on = [&](std::size_t threads) {
        const test::thread_limit limit(threads);
        numerical::aligned_vector<double> d(n);
        numerical::aligned_vector<double> e(n);
        const auto reduction = reduce_in_two_stages(a.data, n, 16, d, e);
        numerical::aligned_vector<double> rows = identity_rows(n);
        rows.resize(100 * n);
        return std::tuple(d, e, columns_in_matrix_basis(reduction, rows, n));
    };
    const auto one = pairs_on(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_EQ(one, pairs_on(threads)) << threads;
}

// What is done where inverse iteration doesn't pass its tests.
TYPED_TEST(two_stages, vectors_of_divide_and_conquer_come_back_too)
{
    constexpr std::size_t n = 130;
    const auto a = test::glued_wilkinson<TypeParam>(n, 1e-14);
    numerical::aligned_vector<double> d(n);
    numerical::aligned_vector<double> e(n);
    const auto reduction = reduce_in_two_stages(a.data, n, 16, d, e);
    const auto [range, rows] =
        divide_choosing(d, e, n, [](const numerical::aligned_vector<double>&) {
            return index_range{n - 40, n};
        });
    expect_pairs(a, numerical::aligned_vector<double>(d.end() - 40, d.end()),
                 matrix<TypeParam>(n, 40, columns_in_matrix_basis(reduction, rows, n)));
}

// From the order on from which two stages serve few vectors, and one below it.
TEST(two_stages_of_real_matrices, serve_few_vectors_of_large_matrices)
{
    std::size_t n = 100;
    while (most_two_stage_vectors<double>(n) == 0)
        ++n;
    for (const std::size_t order : {n - 1, n, n + 1}) {
        numerical::aligned_vector<double> together(order);
        for (std::size_t i = 0; i < order; ++i)
            together[i] = i < order / 2 ? -1 : double(i) / double(order);
        for (const auto& a :
             {test::random_hermitian<double>(order, 6), test::with_spectrum<double>(together, 7),
              test::glued_wilkinson<double>(order, 1e-14)})
            for (const std::size_t first : {std::size_t{0}, order - order / 20}) {
                const auto [values, x] = numerical::selected_eigenpairs(
                    a, eigen_selection::by_place(first, first + order / 20));
                expect_pairs(a, values, x);
            }
    }
}

} // namespace
