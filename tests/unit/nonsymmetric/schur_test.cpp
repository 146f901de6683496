#include "general_matrices.hpp"
#include "numerical/errors.hpp"
#include "numerical/nonsymmetric/bulge_chain.hpp"
#include "numerical/nonsymmetric/multishift_qr.hpp"
#include "numerical/nonsymmetric/reduction_to_schur.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <cstdio>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::schur_vectors;
using test::complex;
using test::matrix;

// LAPACK's own tests accept ratios below 20 to 30; what is seen here stays far below.
constexpr double accepted = 20;

template <class T>
class schur : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(schur, element_types);

template <class T>
bool is_quasi_triangular(const matrix<T>& t)
{
    const std::size_t n = t.rows;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < i; ++j)
            if ((i > j + 1 || !std::is_same_v<T, double>)&&t.data[i * n + j] != T(0))
                return false;
    return true;
}

// Blocks have equal diagonal elements and off-diagonal ones of opposite signs, and don't overlap.
bool is_standard(const matrix<double>& t)
{
    const std::size_t n = t.rows;
    for (std::size_t k = 0; k + 1 < n; ++k) {
        const double* const row = t.data.data() + k * n + k;
        if (row[n] == 0)
            continue;
        if (row[0] != row[n + 1] || !((row[1] > 0) != (row[n] > 0)) || row[1] == 0)
            return false;
        if (k + 2 < n && row[2 * n + 1] != 0)
            return false;
    }
    return true;
}

bool is_standard(const matrix<complex>&)
{
    return true;
}

template <class T>
void expect_schur_form(const matrix<T>& a, const numerical::schur_factors<T>& s,
                       const std::string& where)
{
    EXPECT_LT(test::similarity_ratio(a, s.q, s.t), accepted) << where;
    EXPECT_LT(test::probed_orthogonality_ratio(s.q), accepted) << where;
    EXPECT_TRUE(is_quasi_triangular(s.t)) << where;
    EXPECT_TRUE(is_standard(s.t)) << where;
    EXPECT_EQ(s.values.size(), a.rows) << where;
}

template <class T>
void expect_gallery(std::size_t n)
{
    for (const auto& [name, a] : test::gallery<T>(n))
        expect_schur_form(a, numerical::schur_form(a, schur_vectors::compute),
                          name + ", n = " + std::to_string(n) + ", path " +
                              std::to_string(numerical::detail::gemm_path_current()));
}

TYPED_TEST(schur, form_of_hard_matrices_is_backward_stable_on_every_path)
{
    using numerical::detail::multishift_crossover;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {1UL, 2UL, 3UL, 4UL, 5UL, 6UL, 7UL, 8UL, 9UL, 15UL, 31UL, multishift_crossover})
            expect_gallery<TypeParam>(n);
    }
}

TYPED_TEST(schur, form_beside_the_crossovers_is_backward_stable)
{
    using numerical::detail::multishift_crossover;
    for (const std::size_t n :
         {multishift_crossover - 1, multishift_crossover + 1, 149UL, 150UL, 399UL, 400UL})
        expect_gallery<TypeParam>(n);
}

TYPED_TEST(schur, form_of_a_large_matrix_is_backward_stable)
{
    for (const std::size_t n : {400, 501}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 3);
        expect_schur_form(a, numerical::schur_form(a, schur_vectors::compute),
                          "n = " + std::to_string(n));
    }
}

// Blocks that decouple in the middle of a sweep, and deflation windows that take all.
TYPED_TEST(schur, form_of_a_large_hard_matrix_is_backward_stable)
{
    for (const auto& [name, a] : test::gallery<TypeParam>(260))
        expect_schur_form(a, numerical::schur_form(a, schur_vectors::compute), name);
}

TYPED_TEST(schur, form_without_vectors_is_the_same)
{
    const auto a = test::random_matrix<TypeParam>(40, 40, 4);
    const auto with = numerical::schur_form(a, schur_vectors::compute);
    const auto without = numerical::schur_form(a, schur_vectors::none);
    EXPECT_EQ(with.t.data, without.t.data);
    EXPECT_EQ(with.values, without.values);
    EXPECT_EQ(without.q.rows, 0U);
}

TYPED_TEST(schur, form_of_an_empty_matrix_is_empty)
{
    const auto s = numerical::schur_form(matrix<TypeParam>(0, 0, {}), schur_vectors::compute);
    EXPECT_EQ(s.t.rows, 0U);
    EXPECT_EQ(s.q.rows, 0U);
    EXPECT_TRUE(s.values.empty());
}

TEST(schur, complex_form_of_a_real_one_is_triangular_and_stable)
{
    for (const std::size_t n : {1, 2, 3, 10, 40})
        for (const auto& [name, a] : test::gallery<double>(n)) {
            const auto real = numerical::schur_form(a, schur_vectors::compute);
            const auto s = numerical::complex_schur_form(real);
            expect_schur_form(test::as_complex(a), s, name);
            for (std::size_t k = 0; k < n; ++k)
                EXPECT_EQ(s.t.data[k * n + k], s.values[k]) << name;
            const auto bare =
                numerical::complex_schur_form(numerical::schur_form(a, schur_vectors::none));
            EXPECT_EQ(bare.t.data, s.t.data);
            EXPECT_EQ(bare.q.rows, 0U);
        }
}

TYPED_TEST(schur, refuses_what_is_not_square_or_not_finite)
{
    const auto wide_one = test::random_matrix<TypeParam>(2, 3, 1);
    using numerical::dimension_error;
    using test::text_thrown_by;
    EXPECT_EQ(text_thrown_by<dimension_error>(
                  [&] { numerical::schur_form(wide_one, schur_vectors::compute); }),
              "Schur decomposition requires a square matrix");
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { numerical::hessenberg_form(wide_one); }),
              "Hessenberg decomposition requires a square matrix");
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { numerical::hessenberg_matrix(wide_one); }),
              "Hessenberg decomposition requires a square matrix");
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()}) {
        auto a = test::random_matrix<TypeParam>(3, 3, 1);
        a.data[5] = bad;
        EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(
                      [&] { numerical::schur_form(a, schur_vectors::none); }),
                  "Schur decomposition: the matrix holds an infinite or NaN entry");
        EXPECT_EQ(
            text_thrown_by<numerical::non_finite_error>([&] { numerical::hessenberg_form(a); }),
            "Hessenberg decomposition: the matrix holds an infinite or NaN entry");
    }
}

// Each limit, of one bulge at a time and of many.
TYPED_TEST(schur, names_the_eigenvalues_found_when_steps_run_out)
{
    using namespace numerical::detail;
    const auto with_limit = [](std::size_t n, std::size_t limit) {
        return test::text_thrown_by<numerical::convergence_error>([=] {
            reduce_to_schur(test::random_matrix<TypeParam>(n, n, 1), balancing::permute,
                            schur_extent::whole, "Schur decomposition", limit);
        });
    };
    EXPECT_EQ(with_limit(5, 0), "Schur decomposition: the QR iteration did not converge within its "
                                "steps; 0 of 5 eigenvalues were found");
    EXPECT_EQ(with_limit(multishift_crossover, 0),
              "Schur decomposition: the QR iteration did not converge within its steps; 0 of 96 "
              "eigenvalues were found");
    EXPECT_EQ(with_limit(5, 1000), "nothing was thrown");
}

TEST(schur, counts_the_eigenvalues_that_a_triangle_shows)
{
    using namespace numerical::detail;
    // Rows 0 and 4 part off two eigenvalues before the iteration begins; it finds no more.
    auto a = test::random_matrix<double>(5, 5, 1);
    for (std::size_t i = 1; i < 5; ++i)
        a.data[i * 5] = 0;
    for (std::size_t j = 0; j < 4; ++j)
        a.data[4 * 5 + j] = 0;
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>([&] {
                  reduce_to_schur(a, balancing::permute, schur_extent::whole, "eigenvalues", 0);
              }),
              "eigenvalues: the QR iteration did not converge within its steps; 2 of 5 eigenvalues "
              "were found");
}

// A cyclic matrix is a fixed point of the iteration with any shifts that its trailing block gives.
TEST(schur, breaks_cycles_by_exceptional_shifts)
{
    for (const std::size_t n : {3, 4, 10, 96, 120}) {
        const auto a =
            test::filled<double>(n, [n](auto i, auto j) { return i == (j + 1) % n ? 1.0 : 0.0; });
        expect_schur_form(a, numerical::schur_form(a, schur_vectors::compute), std::to_string(n));
    }
}

// One core here; tests/unit/many_threads has the same on many.
TYPED_TEST(schur, form_has_the_same_bits_at_every_number_of_threads)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto a = test::random_matrix<TypeParam>(220, 220, 6);
        const auto run = [&](std::size_t threads) {
            const test::thread_limit cap(threads);
            const auto s = numerical::schur_form(a, schur_vectors::compute);
            return std::pair(s.t.data, s.q.data);
        };
        const auto serial = run(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_TRUE(run(threads) == serial) << path << ", " << threads;
    }
}

} // namespace
