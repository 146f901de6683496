#include "numerical/systems/kept_qr.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::column_order;
using numerical::matrix;
using numerical::qr_factors;
namespace detail = numerical::detail;

constexpr double ratio_limit = 8;

template <class T>
class kept_qr : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(kept_qr, element_types);

template <class T>
struct case_of
{
    matrix<T> a;
    qr_factors<T> f;
    std::size_t k;

    case_of(const matrix<T>& of, column_order order)
        : a(of), f(numerical::factor_qr(of.data, of.rows, of.cols, order)),
          k(std::min(of.rows, of.cols))
    {
    }

    numerical::kept_reflectors<T> q() const
    {
        return {{f.vectors.data(), a.rows, k, k}, f.factors.data(), f.phases.data()};
    }

    matrix<T> r() const { return {k, a.cols, f.r}; }

    // The rows × rows matrix.
    matrix<T> formed_q() const
    {
        numerical::aligned_vector<T> c(a.rows * a.rows);
        for (std::size_t i = 0; i < a.rows; ++i)
            c[i * (a.rows + 1)] = 1;
        numerical::multiply_by_q(q(), c, a.rows);
        return {a.rows, a.rows, std::move(c)};
    }

    matrix<T> thin_q() const
    {
        const matrix<T> whole = formed_q();
        matrix<T> thin(a.rows, k, numerical::aligned_vector<T>(a.rows * k));
        for (std::size_t i = 0; i < a.rows; ++i)
            for (std::size_t j = 0; j < k; ++j)
                thin.data[i * k + j] = whole.data[i * a.rows + j];
        return thin;
    }

    matrix<T> permuted_a() const
    {
        matrix<T> p = a;
        for (std::size_t i = 0; i < a.rows; ++i)
            for (std::size_t j = 0; j < a.cols; ++j)
                p.data[i * a.cols + j] = a.data[i * a.cols + f.permutation[j]];
        return p;
    }
};

template <class T>
void expect_factors(const matrix<T>& a, column_order order, const char* what)
{
    SCOPED_TRACE(testing::Message()
                 << what << ' ' << a.rows << 'x' << a.cols << " order " << int(order));
    const case_of<T> of(a, order);
    EXPECT_LT(test::difference_ratio(of.permuted_a(), test::reference_product(of.thin_q(), of.r())),
              ratio_limit);
    EXPECT_LT(test::orthogonality_ratio(of.formed_q()), ratio_limit);
    const matrix<T> r = of.r();
    for (std::size_t i = 0; i < of.k; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            ASSERT_EQ(r.data[i * a.cols + j], T(0));
        const T diagonal = r.data[i * (a.cols + 1)];
        ASSERT_EQ(diagonal, T(detail::real_part(diagonal)));
        ASSERT_GE(detail::real_part(diagonal), 0);
    }
}

// Each diagonal element is as large as what remains of any column behind it.
template <class T>
void expect_pivots(const matrix<T>& a, const char* what)
{
    SCOPED_TRACE(testing::Message() << what << ' ' << a.rows << 'x' << a.cols);
    expect_factors(a, column_order::pivoted, what);
    const case_of<T> of(a, column_order::pivoted);
    const matrix<T> r = of.r();
    const long double noise = 10 * double(a.rows) * test::eps * test::norm_inf(r);
    for (std::size_t i = 0; i < of.k; ++i)
        for (std::size_t j = i; j < a.cols; ++j) {
            long double square = 0;
            for (std::size_t l = i; l < of.k; ++l)
                square += std::norm(test::wide<T>(r.data[l * a.cols + j]));
            ASSERT_LE(double(std::sqrt(square)),
                      detail::real_part(r.data[i * (a.cols + 1)]) * (1 + 1e-7) + double(noise))
                << i << ", " << j;
        }
}

// Orders around the panel's width.
TYPED_TEST(kept_qr, gives_back_matrices_of_every_shape)
{
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : {std::pair{1UL, 1UL},
                                         {5UL, 3UL},
                                         {3UL, 5UL},
                                         {32UL, 32UL},
                                         {33UL, 33UL},
                                         {31UL, 70UL},
                                         {70UL, 31UL},
                                         {65UL, 64UL}}) {
            const test::path_limit limit(path);
            const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
            expect_factors(a, column_order::given, "random");
            expect_pivots(a, "random");
        }
}

// Kahan's matrix: its columns have norms that differ by less than rounding as they are left.
template <class T>
matrix<T> kahan_matrix(std::size_t n, double c)
{
    const double s = std::sqrt(1 - c * c);
    matrix<T> a(n, n, numerical::aligned_vector<T>(n * n));
    double power = 1;
    for (std::size_t i = 0; i < n; ++i, power *= s)
        for (std::size_t j = i; j < n; ++j)
            a.data[i * n + j] = i == j ? power : -c * power;
    return a;
}

TYPED_TEST(kept_qr, pivots_hard_matrices)
{
    using T = TypeParam;
    for (const std::size_t n : {10UL, 50UL, 90UL}) {
        expect_pivots(kahan_matrix<T>(n, 0.285), "Kahan");
        expect_pivots(test::low_rank_matrix<T>(n, n, 4, 2), "rank four");
        expect_pivots(test::graded_matrix<T>(n, n, 14, 3), "graded");
        expect_pivots(matrix<T>(n, n, numerical::aligned_vector<T>(n * n)), "zero");
        expect_pivots(test::scaled(test::random_matrix<T>(n, n, 5), 0x1p1020), "huge");
        expect_pivots(test::scaled(test::random_matrix<T>(n, n, 5), 0x1p-1000), "tiny");
        auto repeated = test::random_matrix<T>(n, n, 6);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = n / 2; j < n; ++j)
                repeated.data[i * n + j] = repeated.data[i * n + j - n / 2];
        expect_pivots(repeated, "repeated columns");
    }
}

TYPED_TEST(kept_qr, multiplies_by_the_adjoint)
{
    const case_of<TypeParam> of(test::random_matrix<TypeParam>(70, 40, 1), column_order::given);
    auto c = test::random_vector<TypeParam>(70 * 3, 2);
    const auto before = c;
    numerical::multiply_by_q(of.q(), c, 3);
    numerical::multiply_by_adjoint_q(of.q(), c, 3);
    EXPECT_LT(test::difference_ratio(matrix<TypeParam>(70, 3, before), matrix<TypeParam>(70, 3, c)),
              ratio_limit);
}

TYPED_TEST(kept_qr, has_the_same_bits_on_any_number_of_threads)
{
    const auto a = test::random_matrix<TypeParam>(400, 300, 1);
    const auto factored = [&](std::size_t threads) {
        const test::thread_limit some(threads);
        return numerical::factor_qr(a.data, 400, 300, column_order::pivoted);
    };
    const auto serial = factored(1);
    for (const std::size_t threads : test::thread_counts) {
        const auto other = factored(threads);
        EXPECT_EQ(other.r, serial.r) << threads;
        EXPECT_EQ(other.vectors, serial.vectors) << threads;
    }
}

} // namespace
