#include "numerical/systems/kept_indefinite.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/kept_lu.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace {

using complex = std::complex<double>;
using numerical::indefinite_decomposition;
using numerical::matrix;
using numerical::symmetry;
namespace detail = numerical::detail;

constexpr double ratio_limit = 4;

template <class T>
class indefinite : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(indefinite, element_types);

template <class T>
T mirrored(symmetry kind, const T& z)
{
    return kind == symmetry::hermitian ? detail::conjugate(z) : z;
}

template <class T>
detail::block_view<const T> view(const matrix<T>& a)
{
    return {a.data.data(), a.rows, a.cols};
}

// The matrix whose lower triangle is that of `a`, of a Hermitian diagonal the real part.
template <class T>
matrix<T> mirrored(symmetry kind, matrix<T> a)
{
    const std::size_t n = a.rows;
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            a.data[j * n + i] = mirrored(kind, a.data[i * n + j]);
        if (kind == symmetry::hermitian)
            a.data[i * n + i] = detail::real_part(a.data[i * n + i]);
    }
    return a;
}

template <class T>
matrix<T> permuted(const matrix<T>& a, const std::vector<std::size_t>& rows)
{
    matrix<T> p = a;
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            p.data[i * a.cols + j] = a.data[rows[i] * a.cols + rows[j]];
    return p;
}

template <class T>
matrix<T> block_diagonal(const indefinite_decomposition<T>& f)
{
    const std::size_t n = f.order;
    matrix<T> d(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t k = 0; k < n; ++k) {
        d.data[k * n + k] = f.diagonal[k];
        if (f.below[k] != T(0)) {
            d.data[(k + 1) * n + k] = f.below[k];
            d.data[k * n + k + 1] = mirrored(f.kind, f.below[k]);
        }
    }
    return d;
}

// The elements of L are bounded by 1/α, below a block of order 2 by 1/(1 - α) < 2.79.
template <class T>
void expect_factors(symmetry kind, const matrix<T>& of, const char* what)
{
    SCOPED_TRACE(testing::Message() << what << " of order " << of.rows << ", kind " << int(kind));
    const matrix<T> a = mirrored(kind, of);
    matrix<T> with_nan_above = a;
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = i + 1; j < a.cols; ++j)
            with_nan_above.data[i * a.cols + j] = std::nan("");
    const indefinite_decomposition<T> f(view(with_nan_above), kind);
    const matrix<T> l(a.rows, a.cols, f.lower);
    matrix<T> l_mirrored = detail::adjoint(l);
    if (kind == symmetry::symmetric)
        for (T& z : l_mirrored.data)
            z = detail::conjugate(z);
    const matrix<T> product =
        test::reference_product(test::reference_product(l, block_diagonal(f)), l_mirrored);
    EXPECT_LT(test::difference_ratio(permuted(a, f.permutation), product), ratio_limit);
    double largest = 0;
    for (const T& z : f.lower)
        largest = test::worse(largest, std::abs(z));
    EXPECT_LT(largest, 2.79);
}

std::vector<symmetry> kinds_of(double)
{
    return {symmetry::symmetric};
}

std::vector<symmetry> kinds_of(complex)
{
    return {symmetry::hermitian, symmetry::symmetric};
}

// Orders around the panel's width and twice that, and two whose rows are spread over cache sets.
TYPED_TEST(indefinite, gives_back_random_matrices)
{
    for (const int path : test::available_paths())
        for (const symmetry kind : kinds_of(TypeParam()))
            for (const std::size_t n : {0UL, 1UL, 2UL, 3UL, 10UL, 23UL, 24UL, 25UL, 26UL, 49UL,
                                        65UL, 128UL, 130UL, 200UL, 256UL}) {
                const test::path_limit limit(path);
                expect_factors(kind, test::random_matrix<TypeParam>(n, n, 1), "random");
            }
}

// A zero diagonal wants blocks of order 2 everywhere; one of them stands across the panel's end.
TYPED_TEST(indefinite, gives_back_hard_matrices)
{
    for (const symmetry kind : kinds_of(TypeParam()))
        for (const std::size_t n : {2UL, 5UL, 65UL, 131UL}) {
            auto hollow = test::random_matrix<TypeParam>(n, n, 2);
            for (std::size_t i = 0; i < n; ++i)
                hollow.data[i * (n + 1)] = 0;
            expect_factors(kind, hollow, "zero diagonal");
            hollow.data[0] = 1;
            expect_factors(kind, hollow, "zero diagonal but one");
            expect_factors(kind, test::graded_matrix<TypeParam>(n, n, 12, 3), "graded");
            expect_factors(kind, test::low_rank_matrix<TypeParam>(n, n, 1, 4), "rank one");
            expect_factors(kind, test::scaled(test::random_matrix<TypeParam>(n, n, 5), 0x1p1000),
                           "huge");
            expect_factors(kind, test::scaled(test::random_matrix<TypeParam>(n, n, 6), 0x1p-1000),
                           "tiny");
            expect_factors(
                kind, matrix<TypeParam>(n, n, numerical::aligned_vector<TypeParam>(n * n)), "zero");
        }
}

// Divisors on either side of those whose reciprocals are taken, as pivots and as blocks of order 2.
TYPED_TEST(indefinite, divides_by_pivots_of_any_size)
{
    for (const int path : test::available_paths())
        for (const symmetry kind : kinds_of(TypeParam()))
            for (const double scale :
                 {0x1p-1002, 0x1p-1001, 0x1p-1000, 0x1p-999, 0x1p999, 0x1p1000, 0x1p1001}) {
                const test::path_limit limit(path);
                auto a = test::scaled(test::random_matrix<TypeParam>(40, 40, 11), scale / 8);
                for (std::size_t i = 0; i < 40; ++i)
                    a.data[i * 41] = scale;
                expect_factors(kind, a, "diagonal");
                for (std::size_t i = 0; i < 40; ++i)
                    a.data[i * 41] = 0;
                for (std::size_t i = 0; i < 40; i += 2)
                    a.data[(i + 1) * 40 + i] = scale;
                expect_factors(kind, a, "blocks");
            }
}

// Without the rook's search an element of L here is as large as the reciprocal of the small ones.
TYPED_TEST(indefinite, bounds_the_elements_of_l)
{
    const double small = 1e-9;
    expect_factors(kinds_of(TypeParam())[0],
                   matrix<TypeParam>(3, 3, {0, 0, 0, small, 0, 0, 0.5 * small, 1, 1}),
                   "small column");
    expect_factors(kinds_of(TypeParam())[0],
                   matrix<TypeParam>(3, 3, {small * small, 0, 0, small, small, 0, small, 1, 0}),
                   "growing columns");
}

template <class T>
struct kept
{
    indefinite_decomposition<T> f;
    numerical::aligned_vector<std::ptrdiff_t> places;

    kept(const matrix<T>& a, symmetry kind)
        : f(view(a), kind), places(f.permutation.begin(), f.permutation.end())
    {
    }

    numerical::kept_indefinite<T> borrowed() const
    {
        return {{f.lower.data(), f.order, f.order, f.order},
                f.diagonal.data(),
                f.below.data(),
                places.data(),
                f.kind};
    }
};

TYPED_TEST(indefinite, solves)
{
    for (const int path : test::available_paths())
        for (const symmetry kind : kinds_of(TypeParam()))
            for (const std::size_t n : {1UL, 7UL, 65UL, 130UL})
                for (const std::size_t columns : {1UL, 5UL}) {
                    const test::path_limit limit(path);
                    auto a = mirrored(kind, test::random_matrix<TypeParam>(n, n, 7));
                    for (std::size_t i = 0; n > 1 && i < n; i += 2)
                        a.data[i * (n + 1)] = 0;
                    const auto b = test::random_matrix<TypeParam>(n, columns, 8);
                    auto x = b;
                    const kept<TypeParam> factors(a, kind);
                    numerical::solve_indefinite<TypeParam>(factors.borrowed(),
                                                           {x.data.data(), n, columns, columns});
                    auto rest = test::reference_product(a, x);
                    for (std::size_t i = 0; i < b.data.size(); ++i)
                        rest.data[i] -= b.data[i];
                    const long double unit =
                        double(n) * test::norm_inf(a) * test::norm_inf(x) * test::eps;
                    EXPECT_LT(double(test::norm_inf(rest) / unit), ratio_limit) << n;
                }
}

// Orders on either side of those from which two columns are solved on a thread each, complex and
// real ones where short loops pay and where they don't, and one beyond the leaves of the
// substitution.
TYPED_TEST(indefinite, solves_few_columns_as_each_alone_on_any_number_of_threads)
{
    for (const int path : test::available_paths())
        for (const symmetry kind : kinds_of(TypeParam()))
            for (const std::size_t n : {181UL, 182UL, 255UL, 256UL, 362UL, 363UL, 601UL}) {
                const test::path_limit limit(path);
                const kept<TypeParam> factors(test::random_matrix<TypeParam>(n, n, 7), kind);
                for (const std::size_t columns : {2UL, 3UL}) {
                    const auto b = test::random_matrix<TypeParam>(n, columns, 8);
                    auto each = b;
                    for (std::size_t j = 0; j < columns; ++j) {
                        numerical::aligned_vector<TypeParam> x(n);
                        for (std::size_t i = 0; i < n; ++i)
                            x[i] = b.data[i * columns + j];
                        numerical::solve_indefinite<TypeParam>(factors.borrowed(),
                                                               {x.data(), n, 1});
                        for (std::size_t i = 0; i < n; ++i)
                            each.data[i * columns + j] = x[i];
                    }
                    for (const std::size_t threads : {1UL, 2UL, 3UL, 64UL}) {
                        const test::thread_limit some(threads);
                        auto x = b;
                        numerical::solve_indefinite<TypeParam>(factors.borrowed(),
                                                               {x.data.data(), n, columns});
                        EXPECT_EQ(x.data, each.data) << n << " on " << threads;
                    }
                }
            }
}

TYPED_TEST(indefinite, knows_its_determinant_and_condition)
{
    for (const symmetry kind : kinds_of(TypeParam())) {
        const std::size_t n = 21;
        const auto a = mirrored(kind, test::random_matrix<TypeParam>(n, n, 9));
        const kept<TypeParam> factors(a, kind);
        TypeParam product(1);
        for (const TypeParam& z : numerical::determinant_factors(factors.borrowed()))
            product *= z;
        const numerical::lu_decomposition<TypeParam> lu{matrix<TypeParam>(a)};
        TypeParam expected(lu.sign);
        for (std::size_t i = 0; i < n; ++i)
            expected *= lu.factors.view()(i, i);
        EXPECT_LT(std::abs(product - expected), 1e-12 * std::abs(expected));

        const double norm = numerical::one_norm(view(a));
        EXPECT_LT(std::abs(factors.f.one_norm - norm), 1e-14 * norm);
        const numerical::aligned_vector<std::ptrdiff_t> exchanges =
            numerical::exchanges_of(lu.permutation);
        const numerical::kept_lu<TypeParam> by_lu{lu.factors.view(), exchanges.data()};
        const double expected_rcond = numerical::reciprocal_condition(by_lu, norm);
        const double rcond = numerical::reciprocal_condition(factors.borrowed(), norm);
        EXPECT_LT(std::abs(rcond - expected_rcond), 1e-9 * expected_rcond);
    }
}

TYPED_TEST(indefinite, of_a_singular_matrix_has_a_zero_in_d)
{
    const matrix<TypeParam> a(3, 3, {0, 0, 0, 1, 0, 0, 0, 0, 0});
    const kept<TypeParam> factors(a, symmetry::symmetric);
    EXPECT_TRUE(numerical::is_singular(factors.borrowed()));
    EXPECT_EQ(numerical::reciprocal_condition(factors.borrowed(), 1), 0);
    const kept<TypeParam> regular(matrix<TypeParam>(2, 2, {0, 0, 1, 0}), symmetry::symmetric);
    EXPECT_FALSE(numerical::is_singular(regular.borrowed()));
}

// The second pivot overflows, and L's column below it is NaN: the last pivot has nothing below.
TYPED_TEST(indefinite, comes_to_an_end_when_elimination_overflows)
{
    const TypeParam h(1e308);
    for (const symmetry kind : kinds_of(TypeParam())) {
        const matrix<TypeParam> a(3, 3, {h, h, h, h, -h, -h, h, -h, -h});
        const indefinite_decomposition<TypeParam> f(view(a), kind);
        EXPECT_EQ(f.diagonal[0], h);
        EXPECT_TRUE(std::isnan(std::abs(f.diagonal[2])));
    }
}

// Orders on either side of those from which threads take part, for complex and for real matrices,
// and two whose strips have two pieces. Zeros on the diagonal make panels of 24 and 25 columns.
TYPED_TEST(indefinite, has_the_same_bits_on_any_number_of_threads)
{
    for (const symmetry kind : kinds_of(TypeParam()))
        for (const std::size_t n :
             {224UL, 225UL, 240UL, 241UL, 256UL, 257UL, 400UL, 401UL, 650UL, 700UL}) {
            auto a = test::random_matrix<TypeParam>(n, n, 1);
            for (std::size_t i = 0; n >= 650 && i < n; ++i)
                a.data[i * (n + 1)] = 0;
            const auto factored = [&](std::size_t threads) {
                const test::thread_limit some(threads);
                return indefinite_decomposition<TypeParam>(view(a), kind).lower;
            };
            const auto serial = factored(1);
            for (const std::size_t threads : test::thread_counts)
                EXPECT_EQ(factored(threads), serial) << n << " on " << threads;
        }
}

// Rows that gave their places to the second row of a block become pivots in the same panel.
TYPED_TEST(indefinite, gives_back_blocks_of_distant_rows)
{
    for (const symmetry kind : kinds_of(TypeParam()))
        for (const std::size_t n : {31UL, 32UL, 33UL, 66UL, 130UL}) {
            matrix<TypeParam> reversed(n, n, numerical::aligned_vector<TypeParam>(n * n));
            for (std::size_t i = 0; i < n; ++i)
                reversed.data[i * n + (n - 1 - i)] = 1 + double(i % 3);
            expect_factors(kind, reversed, "reversed diagonal");
        }
}

TYPED_TEST(indefinite, refuses_what_it_cannot_factor)
{
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>([] {
                  indefinite_decomposition<TypeParam>(view(matrix<TypeParam>(1, 2, {1, 2})),
                                                      symmetry::hermitian);
              }),
              "LDL decomposition requires a square matrix");
    EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>([] {
                  indefinite_decomposition<TypeParam>(view(matrix<TypeParam>(1, 1, {std::nan("")})),
                                                      symmetry::hermitian);
              }),
              "LDL decomposition: the matrix holds an infinite or NaN entry");
}

} // namespace
