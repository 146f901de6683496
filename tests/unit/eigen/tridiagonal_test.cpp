#include "numerical/eigen/tridiagonal.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/hermitian_product.hpp"
#include "numerical/eigen/symmetric_steps.hpp"
#include "numerical/strided/transpose.hpp"
#include "paths.hpp"

#include <cmath>
#include <complex>
#include <cstdio>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>
#include <utility>

namespace {

using namespace numerical::detail;
using numerical::matrix;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <class T>
struct reduced
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> e;
    tridiagonal_reduction<T> reduction;
};

constexpr reduction_form forms[] = {reduction_form::fixed, reduction_form::fastest};

template <class T>
reduced<T> reduce(const matrix<T>& a, reduction_form form = reduction_form::fixed)
{
    auto work = a.data;
    numerical::aligned_vector<double> d(a.rows);
    numerical::aligned_vector<double> e(a.rows, nan);
    auto reduction = tridiagonalize(work, a.rows, d, e, form);
    return {d, e, std::move(reduction)};
}

template <class T>
class tridiagonal : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(tridiagonal, element_types);

struct rebuilt
{
    double ratio; // of Bᵀ·T·conj(B) to A, B the basis by rows
    double orthogonality;
};

template <class T>
rebuilt rebuild(const matrix<T>& a, reduction_form form)
{
    const std::size_t n = a.rows;
    const auto [d, e, reduction] = reduce(a, form);
    EXPECT_EQ(e[n - 1], 0);
    const matrix<T> basis(n, n, tridiagonal_basis(reduction, n));
    matrix<T> transposed = basis;
    matrix<T> conjugated = basis;
    for (std::size_t i = 0; i < n * n; ++i) {
        transposed.data[i] = basis.data[i % n * n + i / n];
        conjugated.data[i] = conjugate(basis.data[i]);
    }
    const auto t = test::tridiagonal_matrix<T>(d, e);
    return {test::difference_ratio(a, (transposed * t) * conjugated),
            test::orthogonality_ratio(transposed)};
}

TYPED_TEST(tridiagonal, reduction_and_basis_give_the_matrix_back)
{
    using T = TypeParam;
    double largest = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 3, 4, 7, 8, 9, 31, 32, 33, 34, 35, 64, 65, 66, 97, 140})
            for (const reduction_form form : forms)
                for (const auto& [name, a] : test::hermitian_families<T>(n)) {
                    const auto [ratio, orthogonality] = rebuild(a, form);
                    largest = test::worse(largest, test::worse(ratio, orthogonality));
                    // Values of a subnormal matrix are rounded far above ε.
                    if (name != "subnormal") {
                        EXPECT_LT(ratio, 30) << name << ", n = " << n << ", path " << path;
                    }
                    EXPECT_LT(orthogonality, 30) << name << ", n = " << n;
                }
    }
    std::printf("largest ratio: %.3f\n", largest);
}

// Passes of steps are cut in strips from certain orders on, in whole blocks; beyond
// most_order_of_steps panels come first.
TYPED_TEST(tridiagonal, in_steps_gives_the_matrix_back_on_both_sides_of_its_crossovers)
{
    constexpr std::size_t most = most_order_of_steps<TypeParam>;
    constexpr std::size_t two = least_order_of_two_strips;
    constexpr std::size_t four = least_order_of_four_strips;
    for (const std::size_t n : {two - 8, two - 7, two, two + 1, two + 9, four - 8, four - 7, four,
                                four + 1, most, most + 1, most + 33}) {
        const auto [ratio, orthogonality] =
            rebuild(test::random_hermitian<TypeParam>(n, 3), reduction_form::fastest);
        EXPECT_LT(ratio, 3) << n;
        EXPECT_LT(orthogonality, 3) << n;
    }
}

TYPED_TEST(tridiagonal, basis_of_the_identity_rows_is_the_basis)
{
    using T = TypeParam;
    for (const std::size_t n : {2, 33, 70}) {
        const auto [d, e, reduction] = reduce(test::random_hermitian<T>(n, 3));
        numerical::aligned_vector<T> rows(n * n);
        for (std::size_t i = 0; i < n; ++i)
            rows[i * n + i] = 1;
        to_matrix_basis(reduction, rows, n);
        const matrix<T> expected(n, n, tridiagonal_basis(reduction, n));
        EXPECT_LT(test::difference_ratio(expected, matrix<T>(n, n, rows)), 3) << n;
    }
}

// For any number of columns. The blocks go slab by slab up to n = 443; n = 600 has dots that other
// forms take in runs.
TEST(columns_to_matrix_basis, has_the_bits_of_the_rows)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1, 2, 33, 34, 97, 443, 444, 600})
            for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{10}, n}) {
                const auto reduction = reduce(test::random_hermitian<double>(n, 5)).reduction;
                numerical::aligned_vector<double> rows = test::random_vector<double>(count * n, 2);
                numerical::aligned_vector<double> columns(rows.size());
                transpose_into<double>({columns.data(), n, count}, {rows.data(), count, n});
                to_matrix_basis(reduction, rows, n);
                numerical::aligned_vector<double> expected(rows.size());
                transpose_into<double>({expected.data(), n, count}, {rows.data(), count, n});
                for (const std::size_t threads : test::thread_counts) {
                    const test::thread_limit some(threads);
                    auto found = columns;
                    columns_to_matrix_basis(reduction, found, n);
                    EXPECT_EQ(found, expected)
                        << n << ", " << count << ", path " << path << ", " << threads;
                }
            }
    }
}

// Slab by slab up to n = 443 if real and 313 if complex; the blocks are those of the basis.
TYPED_TEST(tridiagonal, way_back_has_the_same_bits_at_every_thread_count)
{
    using T = TypeParam;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {2, 180, 313, 314, 443, 444})
            for (const std::size_t count : {std::size_t{1}, std::size_t{70}, n}) {
                const auto reduction = reduce(test::random_hermitian<T>(n, 5)).reduction;
                const auto given = test::random_vector<T>(count * n, 2);
                const matrix<T> expected =
                    matrix<T>(count, n, given) * matrix<T>(n, n, tridiagonal_basis(reduction, n));
                numerical::aligned_vector<T> on_one;
                for (const std::size_t threads : test::thread_counts) {
                    const test::thread_limit some(threads);
                    auto found = given;
                    to_matrix_basis(reduction, found, n);
                    if (on_one.empty())
                        on_one = found;
                    EXPECT_EQ(found, on_one)
                        << n << ", " << count << ", path " << path << ", " << threads;
                }
                EXPECT_LT(test::difference_ratio(expected, matrix<T>(count, n, on_one)), 3)
                    << n << ", " << count << ", path " << path;
            }
    }
}

// Rows go together by fives. A matrix whose last columns need no reflection has empty reflectors.
TYPED_TEST(tridiagonal, few_rows_go_back_reflector_by_reflector)
{
    using T = TypeParam;
    constexpr std::size_t most = most_rows_one_by_one;
    matrix<T> decoupled = test::random_hermitian<T>(70, 3);
    for (std::size_t i = 0; i < 70; ++i)
        for (std::size_t j = 0; j < 70; ++j)
            if (i != j && (i >= 60 || j >= 60 || i == 30 || j == 30))
                decoupled.data[i * 70 + j] = 0;
    const std::vector<matrix<T>> given{test::random_hermitian<T>(1, 4),
                                       test::random_hermitian<T>(2, 4), decoupled,
                                       test::random_hermitian<T>(257, 4)};
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const matrix<T>& a : given)
            for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{5},
                                            std::size_t{6}, most - 1, most, most + 1}) {
                const std::size_t n = a.rows;
                const auto reduction = reduce(a).reduction;
                const auto rows = test::random_vector<T>(count * n, 2);
                const matrix<T> expected =
                    matrix<T>(count, n, rows) * matrix<T>(n, n, tridiagonal_basis(reduction, n));
                for (const std::size_t threads : test::thread_counts) {
                    const test::thread_limit some(threads);
                    auto found = rows;
                    few_to_matrix_basis(reduction, found, n);
                    EXPECT_LT(test::difference_ratio(expected, matrix<T>(count, n, found)), 3)
                        << n << ", " << count << ", path " << path << ", " << threads;
                }
            }
    }
}

TYPED_TEST(tridiagonal, few_rows_have_the_same_bits_at_every_thread_count)
{
    using T = TypeParam;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {256, 515}) {
            const auto reduction = reduce(test::random_hermitian<T>(n, 5)).reduction;
            for (const std::size_t count : {std::size_t{10}, most_rows_one_by_one}) {
                const auto rows = test::random_vector<T>(count * n, 2);
                auto on_one = rows;
                {
                    const test::thread_limit one(1);
                    few_to_matrix_basis(reduction, on_one, n);
                }
                for (const std::size_t threads : test::thread_counts) {
                    const test::thread_limit some(threads);
                    auto found = rows;
                    few_to_matrix_basis(reduction, found, n);
                    EXPECT_EQ(found, on_one)
                        << n << ", " << count << ", path " << path << ", " << threads;
                }
            }
        }
    }
}

// A panel has 32 columns and a strip of the trailing matrix 48 rows.
TYPED_TEST(tridiagonal, trailing_orders_about_one_strip_and_beyond)
{
    using T = TypeParam;
    for (const std::size_t n : {79, 80, 81, 128, 129, 288, 600}) {
        const auto a = test::random_hermitian<T>(n, 8);
        const auto [d, e, reduction] = reduce(a);
        const matrix<T> basis(n, n, tridiagonal_basis(reduction, n));
        matrix<T> conjugated = a;
        for (T& x : conjugated.data)
            x = conjugate(x);
        EXPECT_LT(test::difference_ratio(test::tridiagonal_matrix<T>(d, e),
                                         (basis * conjugated) * adjoint(basis)),
                  3)
            << n;
    }
}

TYPED_TEST(tridiagonal, matrix_of_order_1_is_its_diagonal)
{
    using T = TypeParam;
    const auto [d, e, reduction] = reduce(matrix<T>(1, 1, {T(-3)}));
    EXPECT_EQ(d, numerical::aligned_vector<double>{-3.0});
    EXPECT_EQ(e, numerical::aligned_vector<double>{0.0});
    EXPECT_EQ(reduction.phases, numerical::aligned_vector<T>{T(1)});
    EXPECT_TRUE(reduction.reflectors[0].empty());
}

TYPED_TEST(tridiagonal, matrix_that_is_tridiagonal_already_stays)
{
    using T = TypeParam;
    for (const std::size_t n : {2, 3, 33, 40}) {
        const auto d = test::random_vector<double>(n, 1);
        auto e = test::random_vector<double>(n, 2);
        for (const reduction_form form : forms) {
            const auto kept = reduce(test::tridiagonal_matrix<T>(d, e), form);
            EXPECT_EQ(kept.d, d);
            for (std::size_t i = 0; i + 1 < n; ++i)
                EXPECT_EQ(kept.e[i], (std::is_same_v<T, double> ? e[i] : std::abs(e[i])));
            for (const auto& reflector : kept.reduction.reflectors)
                EXPECT_TRUE(reflector.empty());
        }
    }
}

TYPED_TEST(tridiagonal, column_without_a_reflection_does_not_disturb_its_panel)
{
    using T = TypeParam;
    constexpr std::size_t n = 50;
    auto a = test::random_hermitian<T>(n, 5);
    for (std::size_t i = 0; i < n; ++i) // two blocks: column 20 has nothing below row 21
        for (std::size_t j = 0; j < n; ++j)
            if ((i > 20) != (j > 20))
                a.data[i * n + j] = 0;
    for (const reduction_form form : forms)
        EXPECT_LT(rebuild(a, form).ratio, 3);
}

TEST(tridiagonal, complex_subdiagonal_becomes_its_modulus)
{
    const complex below(3, -4);
    const auto [d, e, reduction] =
        reduce(matrix<complex>(2, 2, {1.0, std::conj(below), below, 2.0}));
    EXPECT_EQ(d, (numerical::aligned_vector<double>{1.0, 2.0}));
    EXPECT_EQ(e, (numerical::aligned_vector<double>{5.0, 0.0}));
    EXPECT_EQ(reduction.phases[0], complex(1));
    EXPECT_EQ(reduction.phases[1], std::conj(phase_of(below)));
}

// y = A·x, added up piece by piece.
template <class T>
void multiply(block_view<const T> a, const numerical::aligned_vector<T>& x,
              numerical::aligned_vector<T>& y, numerical::aligned_vector<T>& partials)
{
    hermitian_product<T> product(a, x.data(), y.data(), partials);
    int calls = 0;
    product.multiply([&] { ++calls; });
    EXPECT_EQ(calls, 1);
    constexpr std::size_t piece = hermitian_product<T>::most_added;
    for (std::size_t from = 0; from < a.rows; from += piece)
        product.add_up(from, std::min(from + piece, a.rows));
}

// y = A·x by the lower triangle, with what lies above it and around the matrix unreadable.
template <class T>
void check_product(std::size_t len, std::size_t lda, int path)
{
    numerical::aligned_vector<T> a(len * lda, T(nan));
    const auto lower = test::integer_vector<T>(len * len, 1, 9);
    const auto x = test::integer_vector<T>(len, 2, 9);
    numerical::aligned_vector<T> expected(len);
    for (std::size_t i = 0; i < len; ++i)
        for (std::size_t j = 0; j <= i; ++j) {
            const T element = i == j ? T(real_part(lower[i * len + j])) : lower[i * len + j];
            a[i * lda + j] = element;
            expected[i] += element * x[j];
            if (i != j)
                expected[j] += conjugate(element) * x[i];
        }
    numerical::aligned_vector<T> y(len + 1, T(77));
    numerical::aligned_vector<T> partials;
    multiply<T>({a.data(), len, len, lda}, x, y, partials);
    EXPECT_EQ(y[len], T(77));
    y.pop_back();
    EXPECT_EQ(y, expected) << "len = " << len << ", path " << path;
}

TYPED_TEST(tridiagonal, hermitian_product_is_exact_on_integers_and_reads_the_lower_triangle)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (std::size_t len = 1; len <= 70; ++len)
            check_product<TypeParam>(len, len + len % 3, path);
        for (const std::size_t len : {127, 128, 129, 300})
            check_product<TypeParam>(len, len + 5, path);
    }
}

// Threads share it from len = 256 on if real and 196 if complex, on the portable path from 353.
TYPED_TEST(tridiagonal, hermitian_product_has_the_same_bits_at_every_thread_count)
{
    for (const int path : test::available_paths())
        for (const std::size_t len : {195, 196, 197, 255, 256, 257, 352, 353, 354, 700}) {
            const test::path_limit limit(path);
            const auto a = test::random_vector<TypeParam>(len * len, 1);
            const auto x = test::random_vector<TypeParam>(len, 2);
            numerical::aligned_vector<TypeParam> expected;
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                numerical::aligned_vector<TypeParam> y(len);
                numerical::aligned_vector<TypeParam> partials(
                    3,
                    TypeParam(nan)); // what it held before is of no account
                multiply<TypeParam>({a.data(), len, len}, x, y, partials);
                if (expected.empty())
                    expected = y;
                EXPECT_EQ(y, expected) << len << ", path " << path << ", " << threads << " threads";
            }
        }
}

template <class T>
void check_bits_at_every_thread_count(std::size_t n, reduction_form form)
{
    const auto a = test::random_hermitian<T>(n, 6);
    const auto on = [&](std::size_t threads) {
        const test::thread_limit some(threads);
        auto [d, e, reduction] = reduce(a, form);
        return std::tuple(d, e, std::move(reduction.reflectors));
    };
    const auto one = on(1);
    for (const std::size_t threads : test::thread_counts)
        EXPECT_TRUE(on(threads) == one) << n << ", path " << gemm_path_current() << ", " << threads;
}

// Two threads share the update of a complex matrix from a trailing order of 114 on, and the
// products with vectors from 196 on; a pass of steps is shared from least_order_of_two_strips on
// where short loops pay, and otherwise from 362 on.
TYPED_TEST(tridiagonal, has_the_same_bits_at_every_thread_count)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {129, 130, 131, 152, 153, 160, 161, 169, 196, 197, 198, 258, 361,
                                    369, 377, 632, 633, 641}) {
            const test::path_limit limit(path);
            check_bits_at_every_thread_count<TypeParam>(n, reduction_form::fastest);
        }
}

// The last columns of a panel of 32 are finished on two threads from about 250 rows on if complex,
// and 470 if real.
TYPED_TEST(tridiagonal, finishes_columns_with_the_same_bits_at_every_thread_count)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {290, 350, 520, 601}) {
            const test::path_limit limit(path);
            check_bits_at_every_thread_count<TypeParam>(n, reduction_form::fixed);
        }
}

} // namespace
