#include "numerical/svd/bidiagonal_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>

namespace {

using numerical::convergence_error;
using numerical::detail::bidiagonal_entries;
using numerical::detail::bidiagonal_operations;
using numerical::detail::bidiagonal_qr;
using numerical::detail::row_operation_span;
using test::matrix;

numerical::aligned_vector<double> identity(std::size_t n)
{
    numerical::aligned_vector<double> a(n * n);
    for (std::size_t i = 0; i < n; ++i)
        a[i * n + i] = 1;
    return a;
}

// Of identities as bases, so that B = leftᵀ·diag(d)·right.
struct qr_result
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> left;
    numerical::aligned_vector<double> right;
};

qr_result solved(numerical::aligned_vector<double> d, numerical::aligned_vector<double> e,
                 std::size_t max_steps)
{
    const std::size_t n = d.size();
    qr_result out{std::move(d), identity(n), identity(n)};
    bidiagonal_qr(out.d, e, out.left, out.right, n, max_steps);
    return out;
}

qr_result solved(const numerical::aligned_vector<double>& d,
                 const numerical::aligned_vector<double>& e)
{
    return solved(d, e, 30 * d.size());
}

void expect_svd_of(const numerical::aligned_vector<double>& d,
                   const numerical::aligned_vector<double>& e, const qr_result& result)
{
    const std::size_t n = d.size();
    const auto b = test::filled<double>(n, n, [&](std::size_t i, std::size_t j) {
        return i == j ? d[i] : (j == i + 1 ? e[i] : 0.0);
    });
    EXPECT_TRUE(std::is_sorted(result.d.rbegin(), result.d.rend()));
    EXPECT_GE(result.d.back(), 0);
    matrix<double> left(n, n, result.left);
    matrix<double> right(n, n, result.right);
    EXPECT_LT(test::orthogonality_ratio(left), 10);
    EXPECT_LT(test::orthogonality_ratio(right), 10);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            right.data[i * n + j] *= result.d[i];
    numerical::detail::transpose_in_place(left.data, n);
    EXPECT_LT(test::difference_ratio(b, test::reference_product(left, right)), 10);
}

TEST(bidiagonal_qr, of_order_zero_does_nothing)
{
    EXPECT_TRUE(solved({}, {}, 0).d.empty());
}

TEST(bidiagonal_qr, sign_of_a_single_entry_goes_to_the_right_basis)
{
    const qr_result result = solved({-2}, {0}, 0);
    EXPECT_EQ(result.d, numerical::aligned_vector<double>{2});
    EXPECT_EQ(result.left, numerical::aligned_vector<double>{1});
    EXPECT_EQ(result.right, numerical::aligned_vector<double>{-1});
}

TEST(bidiagonal_qr, two_by_two_has_the_known_values)
{
    const qr_result result = solved({1, 1}, {1, 0}); // the golden ratio and its inverse
    EXPECT_NEAR(result.d[0], (std::sqrt(5.0) + 1) / 2, 4e-16);
    EXPECT_NEAR(result.d[1], (std::sqrt(5.0) - 1) / 2, 4e-16);
    expect_svd_of({1, 1}, {1, 0}, result);
}

TEST(bidiagonal_qr, zeros_on_the_diagonal_deflate_without_a_step)
{
    for (const numerical::aligned_vector<double>& d :
         {numerical::aligned_vector<double>{3, 0}, {0, 4}}) {
        const numerical::aligned_vector<double> e{4, 0};
        const qr_result result = solved(d, e, 0);
        EXPECT_DOUBLE_EQ(result.d[0], std::hypot(d[0] + d[1], 4.0));
        EXPECT_EQ(result.d[1], 0);
        expect_svd_of(d, e, result);
    }
}

TEST(bidiagonal_qr, zero_inside_a_block_splits_it)
{
    for (std::size_t zero = 0; zero < 6; ++zero) {
        numerical::aligned_vector<double> d{1, 2, 3, 4, 5, 6};
        const numerical::aligned_vector<double> e{1, -1, 2, 1, 3, 0};
        d[zero] = 0;
        const qr_result result = solved(d, e);
        EXPECT_LT(result.d[5], 1e-14);
        expect_svd_of(d, e, result);
    }
}

TEST(bidiagonal_qr, equal_values_keep_their_order)
{
    const qr_result result = solved({1, 2, 2, 1}, {0, 0, 0, 0}, 0);
    EXPECT_EQ(result.d, (numerical::aligned_vector<double>{2, 2, 1, 1}));
    const numerical::aligned_vector<double> expected{0, 1, 0, 0, 0, 0, 1, 0,
                                                     1, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_EQ(result.left, expected);
    EXPECT_EQ(result.right, expected);
}

TEST(bidiagonal_qr, entries_below_the_least_square_count_as_zero)
{
    const qr_result result = solved({1e-293, 1e-293, 1e-293}, {1e-293, 1e-293, 0}, 0);
    EXPECT_LE(result.d[0], 2e-293);
}

TEST(bidiagonal_qr, out_of_steps_leaves_the_bases)
{
    numerical::aligned_vector<double> d{1, 1, 1};
    numerical::aligned_vector<double> e{1, 1, 0};
    numerical::aligned_vector<double> left = identity(3);
    numerical::aligned_vector<double> right = identity(3);
    EXPECT_EQ(
        test::text_thrown_by<convergence_error>([&] { bidiagonal_qr(d, e, left, right, 3, 0); }),
        "SVD: the bidiagonal QR iteration did not converge within its steps");
    EXPECT_EQ(
        test::text_thrown_by<convergence_error>([&] { bidiagonal_qr(d, e, left, right, 3, 1); }),
        "SVD: the bidiagonal QR iteration did not converge within its steps");
    EXPECT_EQ(left, identity(3));
    EXPECT_EQ(right, identity(3));
}

TEST(bidiagonal_qr, two_zeros_and_an_underflowing_bulge_give_no_nan)
{
    numerical::aligned_vector<double> d(30, 1.0);
    d[29] = d[3] = 0;
    numerical::aligned_vector<double> e(30, 1e-15);
    e[29] = 0;
    expect_svd_of(d, e, solved(d, e));
}

TEST(bidiagonal_qr, converges_on_matrices_graded_upwards)
{
    struct grading
    {
        std::size_t n;
        double step;
    };

    for (const auto& [n, step] : {grading{10, 1e15}, {21, 1e8}, {40, 1e3}, {129, 10}}) {
        numerical::aligned_vector<double> d(n);
        numerical::aligned_vector<double> e(n);
        for (std::size_t i = 0; i < n; ++i)
            d[i] = std::pow(step, -double(n - 1 - i));
        for (std::size_t i = 0; i + 1 < n; ++i)
            e[i] = d[i] / 2;
        expect_svd_of(d, e, solved(d, e));
        std::reverse(d.begin(), d.end());
        std::reverse(e.begin(), e.end() - 1);
        expect_svd_of(d, e, solved(d, e));
    }
}

// Of every kind: chases of several lengths, splits, deflations, and none of them.
std::vector<bidiagonal_entries> assorted_entries()
{
    std::vector<bidiagonal_entries> list{{{}, {}}, {{-2}, {0}}, {{3, 0, 2, 1}, {1, 1, 1, 0}}};
    list.push_back({{1, 1, 0, 1, 1, 0}, {1, 1e-15, 1, 1, 1, 0}});
    list.push_back({{1e-300, 1e-310, 1e-300}, {1e-305, 1e-300, 0}}); // of lengths by hypot
    for (const std::size_t n : {2, 7, 31, 32}) {
        bidiagonal_entries entries{test::random_vector<double>(n, static_cast<unsigned>(n)),
                                   test::random_vector<double>(n, static_cast<unsigned>(n + 1))};
        entries.e.back() = 0;
        list.push_back(entries);
    }
    return list;
}

void expect_same(row_operation_span actual, row_operation_span expected)
{
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        EXPECT_EQ(actual[i].kind, expected[i].kind);
        EXPECT_EQ(actual[i].first, expected[i].first);
        EXPECT_EQ(actual[i].second, expected[i].second);
        EXPECT_EQ(actual[i].c, expected[i].c);
        EXPECT_EQ(actual[i].s, expected[i].s);
    }
}

TEST(bidiagonal_qr, two_iterations_side_by_side_are_those_of_each)
{
    const auto by_itself = [](bidiagonal_entries& of) {
        return numerical::detail::iterate_bidiagonal(of.d, of.e, of.d.size(), 30 * of.d.size());
    };
    for (const bidiagonal_entries& first : assorted_entries())
        for (const bidiagonal_entries& second : assorted_entries()) {
            bidiagonal_entries a = first;
            bidiagonal_entries b = second;
            const auto [of_a, of_b] = numerical::detail::iterate_bidiagonal_pair(a, b, 30);
            bidiagonal_entries expected_a = first;
            bidiagonal_entries expected_b = second;
            const bidiagonal_operations expected_of_a = by_itself(expected_a);
            const bidiagonal_operations expected_of_b = by_itself(expected_b);
            EXPECT_EQ(a.d, expected_a.d);
            EXPECT_EQ(b.d, expected_b.d);
            expect_same(of_a.left_operations(), expected_of_a.left_operations());
            expect_same(of_a.right_operations(), expected_of_a.right_operations());
            expect_same(of_b.left_operations(), expected_of_b.left_operations());
            expect_same(of_b.right_operations(), expected_of_b.right_operations());
        }
}

TEST(bidiagonal_qr, either_of_two_iterations_may_run_out_of_steps)
{
    const bidiagonal_entries diagonal{{1, 2}, {0, 0}};
    const bidiagonal_entries coupled{{1, 2}, {1, 0}};
    for (auto [a, b] : {std::pair(diagonal, coupled), std::pair(coupled, diagonal)})
        EXPECT_EQ(test::text_thrown_by<convergence_error>(
                      [&a = a, &b = b] { numerical::detail::iterate_bidiagonal_pair(a, b, 0); }),
                  "SVD: the bidiagonal QR iteration did not converge within its steps");
}

TEST(bidiagonal_qr, complex_bases_turn_like_real_ones)
{
    using complex = std::complex<double>;
    const std::size_t n = 20;
    const auto d = test::random_vector<double>(n, 1);
    auto e = test::random_vector<double>(n, 2);
    e.back() = 0;
    const qr_result real = solved(d, e);
    auto values = d;
    const auto start = identity(n);
    numerical::aligned_vector<complex> left(start.begin(), start.end());
    numerical::aligned_vector<complex> right = left;
    for (complex& x : right)
        x *= complex(0, 1);
    bidiagonal_qr(values, e, left, right, n, 30 * n);
    EXPECT_EQ(values, real.d);
    for (std::size_t i = 0; i < n * n; ++i) {
        EXPECT_EQ(left[i], complex(real.left[i]));
        EXPECT_EQ(right[i], complex(0, real.right[i]));
    }
}

} // namespace
