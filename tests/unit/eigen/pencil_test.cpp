#include "numerical/eigen/pencil.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/selected.hpp"
#include "numerical/eigen/standard_form.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::eigen_selection;
using numerical::matrix;
using numerical::pencil_form;
using numerical::detail::adjoint;
using numerical::detail::block_view;
using numerical::detail::congruence_leaf_order;
using complex = std::complex<double>;
using test::text_thrown_by;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double accepted = 30;
constexpr pencil_form forms[] = {pencil_form::a_and_b, pencil_form::a_times_b,
                                 pencil_form::b_times_a};

// Orders about a leaf and about the sizes at which splits change.
constexpr std::size_t leaf = congruence_leaf_order;
constexpr std::size_t orders[] = {0, 1, 2, 3, leaf - 1, leaf, leaf + 1, 2 * leaf + 1, 3 * leaf - 1};

template <class T>
class pencil : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(pencil, element_types);

// What is above the diagonal isn't read, nor the imaginary part of a diagonal entry.
void spoil_diagonal(double&) {}

void spoil_diagonal(complex& entry)
{
    entry = {entry.real(), 7};
}

template <class T>
matrix<T> lower_of(matrix<T> a)
{
    for (std::size_t i = 0; i < a.rows; ++i) {
        spoil_diagonal(a.data[i * a.cols + i]);
        for (std::size_t j = i + 1; j < a.cols; ++j)
            a.data[i * a.cols + j] = nan;
    }
    return a;
}

// A lower triangle with a diagonal that keeps it well conditioned.
template <class T>
matrix<T> random_triangle(std::size_t n, unsigned seed)
{
    auto l = test::random_matrix<T>(n, n, seed);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j)
            l.data[i * n + j] *= j < i ? 1 / std::sqrt(double(n)) : 0.0;
        l.data[i * n + i] = 1.0 + 1.0 / double(i + 1);
    }
    return l;
}

template <class T>
matrix<T> product(const matrix<T>& a, const matrix<T>& b, const matrix<T>& c)
{
    return test::reference_product(test::reference_product(a, b), c);
}

template <class T>
void check_congruences(std::size_t n)
{
    const auto l = random_triangle<T>(n, 1);
    const auto c = test::random_hermitian<T>(n, 2);
    const block_view<const T> triangle{l.data.data(), n, n, n};

    matrix<T> divided = lower_of(test::mirrored(product(l, c, adjoint(l))));
    numerical::detail::divide_congruently(triangle, block_view<T>{divided.data.data(), n, n, n});
    EXPECT_LT(test::difference_ratio(c, test::mirrored(divided)), accepted) << "order " << n;

    matrix<T> multiplied = lower_of(c);
    numerical::detail::multiply_congruently(triangle,
                                            block_view<T>{multiplied.data.data(), n, n, n});
    const auto expected = test::mirrored(product(adjoint(l), c, l));
    EXPECT_LT(test::difference_ratio(expected, test::mirrored(multiplied)), accepted)
        << "order " << n;
}

TYPED_TEST(pencil, congruences_are_inverse_to_wider_products)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : orders)
            check_congruences<TypeParam>(n);
    }
}

// Threads share the copies between products of halves of about 180 rows if complex and 256 if real.
TYPED_TEST(pencil, has_the_same_bits_at_every_thread_count)
{
    using T = TypeParam;
    for (const std::size_t n : {380, 540}) {
        const auto a = test::random_hermitian<T>(n, 3);
        matrix<T> b = test::random_hermitian<T>(n, 4);
        for (std::size_t i = 0; i < n; ++i)
            b.data[i * n + i] += T(double(n));
        for (const auto form : {numerical::pencil_form::a_and_b, numerical::pencil_form::a_times_b,
                                numerical::pencil_form::b_times_a}) {
            const auto on = [&](std::size_t threads) {
                const test::thread_limit some(threads);
                const numerical::definite_pencil<T> reduced(a, b, form);
                matrix<T> vectors = a;
                reduced.restore(vectors);
                return std::pair(test::mirrored(reduced.standard).data, vectors.data);
            };
            const auto one = on(1);
            for (const std::size_t threads : test::thread_counts)
                EXPECT_TRUE(on(threads) == one) << n << ", " << threads << " threads";
        }
    }
}

// Positive-definite matrices of order n with their condition, or that of what is left when the
// diagonal is scaled to ones: Cholesky's method doesn't see that scaling.
template <class T>
struct definite_matrix
{
    std::string name;
    matrix<T> b;
    double condition;
};

template <class T>
std::vector<definite_matrix<T>> definite_families(std::size_t n)
{
    const auto mild = test::spectrum(n, [](double x) { return 1 + 9 * x; });
    const auto steep = test::spectrum(n, [](double x) { return std::pow(1e-10, x); });
    const auto well_conditioned = test::with_spectrum<T>(mild, 21);
    auto graded = well_conditioned;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            graded.data[i * n + j] *= std::pow(10.0, -6.0 * double(i + j) / double(n));
    std::vector<definite_matrix<T>> all;
    all.push_back(
        {"identity", test::with_spectrum<T>(numerical::aligned_vector<double>(n, 1.0), 20), 1});
    all.push_back({"well conditioned", well_conditioned, 10});
    all.push_back({"graded", graded, 10});
    all.push_back({"ill conditioned", test::with_spectrum<T>(steep, 22), 1e10});
    all.push_back({"huge", test::scaled(well_conditioned, 1e300), 10});
    all.push_back({"tiny", test::scaled(well_conditioned, 1e-300), 10});
    return all;
}

// Largest element of |X - Y| against the sums of absolute products that make X.
template <class T>
double relative_difference(const matrix<T>& x, const matrix<T>& y, const matrix<double>& size)
{
    double largest = 0;
    for (std::size_t i = 0; i < x.data.size(); ++i)
        if (x.data[i] != y.data[i])
            largest = test::worse(largest, std::abs(x.data[i] - y.data[i]) / size.data[i]);
    return largest;
}

template <class T>
matrix<double> moduli(const matrix<T>& a)
{
    matrix<double> out(a.rows, a.cols, numerical::aligned_vector<double>(a.data.size()));
    for (std::size_t i = 0; i < a.data.size(); ++i)
        out.data[i] = std::abs(a.data[i]);
    return out;
}

template <class T>
matrix<T> columns_times(matrix<T> x, const numerical::aligned_vector<double>& factors)
{
    for (std::size_t i = 0; i < x.data.size(); ++i)
        x.data[i] *= factors[i % x.cols];
    return x;
}

// ‖XᴴBX - I‖/(n·ε), and ‖XᴴAX - W‖/(n·‖W‖·ε): of C's problem the same as the residual and free of
// the units in which B's rows are given.
template <class T>
void check_pair(const definite_matrix<T>& given, const matrix<T>& a, const std::string& name)
{
    const std::size_t n = a.rows;
    const auto [values, x] = numerical::selected_eigenpairs(
        lower_of(a), lower_of(given.b), pencil_form::a_and_b, eigen_selection::all());
    ASSERT_EQ(values.size(), n);
    ASSERT_TRUE(std::is_sorted(values.begin(), values.end()));
    const double allowed =
        accepted * double(std::max<std::size_t>(n, 1)) * test::eps * given.condition;
    auto gram = product(adjoint(x), given.b, x);
    auto projected = product(adjoint(x), a, x);
    double largest = 0;
    for (const double value : values)
        largest = std::max(largest, std::abs(value));
    for (std::size_t i = 0; i < n; ++i) {
        gram.data[i * n + i] -= 1.0;
        projected.data[i * n + i] -= values[i];
    }
    EXPECT_LE(test::norm_inf(gram), allowed) << name;
    EXPECT_LE(test::norm_inf(projected), allowed * largest) << name;
}

TYPED_TEST(pencil, vectors_diagonalise_both_matrices_of_all_families)
{
    for (const std::size_t n : {1UL, 2UL, 3UL, 33UL, leaf + 1})
        for (const auto& given : definite_families<TypeParam>(n))
            for (const auto& [name, a] : test::hermitian_families<TypeParam>(n))
                if (name != "huge" && name != "subnormal" && name != "tiny")
                    check_pair(given, a,
                               name + " against " + given.name + ", n = " + std::to_string(n));
}

// |A·X - B·X·W| within the rounding of |A|·|X| and |B|·|X|·|W|.
TYPED_TEST(pencil, residuals_are_small_at_every_order_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1UL, leaf, 2 * leaf + 1}) {
            const auto a = test::random_hermitian<TypeParam>(n, 31);
            const auto b = test::with_spectrum<TypeParam>(
                test::spectrum(n, [](double t) { return 1 + 4 * t; }), 32);
            const auto [values, x] =
                numerical::selected_eigenpairs(a, b, pencil_form::a_and_b, eigen_selection::all());
            const auto left = test::reference_product(a, x);
            const auto right = columns_times(test::reference_product(b, x), values);
            const double unit = static_cast<double>(test::norm_inf(a)) * test::eps *
                                static_cast<double>(test::norm_inf(x));
            auto difference = left;
            for (std::size_t i = 0; i < difference.data.size(); ++i)
                difference.data[i] -= right.data[i];
            EXPECT_LE(test::norm_inf(difference), accepted * double(n) * unit)
                << "order " << n << ", path " << path;
        }
    }
}

// Matrices with the same eigenvectors: the pair's eigenvalues are quotients or products.
TYPED_TEST(pencil, values_of_commuting_matrices_are_quotients_and_products)
{
    for (const std::size_t n : {5UL, 40UL, 2 * leaf + 3}) {
        const auto of_a = test::spectrum(n, [](double x) { return std::sin(9 * x) - 0.3; });
        const auto of_b = test::spectrum(n, [](double x) { return 1 + 3 * x * x; });
        const auto a = test::with_spectrum<TypeParam>(of_a, 41);
        const auto b = test::with_spectrum<TypeParam>(of_b, 41);
        for (const pencil_form form : forms) {
            numerical::aligned_vector<double> expected(n);
            for (std::size_t i = 0; i < n; ++i)
                expected[i] = form == pencil_form::a_and_b ? of_a[i] / of_b[i] : of_a[i] * of_b[i];
            std::sort(expected.begin(), expected.end());
            const auto pairs = numerical::selected_eigenpairs(a, b, form, eigen_selection::all());
            const auto values = numerical::selected_eigenvalues(a, b, form, eigen_selection::all());
            for (std::size_t i = 0; i < n; ++i) {
                EXPECT_NEAR(pairs.values[i], expected[i], 8 * double(n) * test::eps);
                EXPECT_NEAR(values[i], expected[i], 8 * double(n) * test::eps);
            }
        }
    }
}

// A·B·X = X·W with XᴴBX = I, and B·A·X = X·W with XᴴB⁻¹X = I, that is X = B·Y with YᴴBY = I.
TYPED_TEST(pencil, products_have_the_vectors_and_the_lengths_promised)
{
    constexpr std::size_t n = leaf + 9;
    const auto a = test::random_hermitian<TypeParam>(n, 51);
    const auto b =
        test::with_spectrum<TypeParam>(test::spectrum(n, [](double t) { return 1 + 4 * t; }), 52);
    for (const pencil_form form : {pencil_form::a_times_b, pencil_form::b_times_a}) {
        const auto [values, x] = numerical::selected_eigenpairs(a, b, form, eigen_selection::all());
        const bool a_first = form == pencil_form::a_times_b;
        const auto left = a_first ? product(a, b, x) : product(b, a, x);
        const auto size = test::reference_product(
            moduli(test::reference_product(moduli(a), moduli(b))), moduli(x));
        EXPECT_LT(relative_difference(left, columns_times(x, values), size),
                  accepted * double(n) * test::eps);
        // The vectors of the two differ by a factor B, those of a·b·x being the dual ones.
        const auto dual = numerical::selected_eigenpairs(
                              a, b, a_first ? pencil_form::b_times_a : pencil_form::a_times_b,
                              eigen_selection::all())
                              .vectors;
        const auto gram = test::reference_product(adjoint(dual), x);
        for (std::size_t i = 0; i < n; ++i)
            EXPECT_NEAR(std::abs(gram.data[i * n + i]), 1.0, accepted * double(n) * test::eps);
    }
}

// Powers of two change no bit of the vectors' digits.
TYPED_TEST(pencil, scaling_by_powers_of_two_is_exact)
{
    constexpr std::size_t n = 40;
    const auto a = test::random_hermitian<TypeParam>(n, 61);
    const auto b =
        test::with_spectrum<TypeParam>(test::spectrum(n, [](double t) { return 1 + 4 * t; }), 62);
    const auto plain =
        numerical::selected_eigenpairs(a, b, pencil_form::a_and_b, eigen_selection::all());
    const auto scaled =
        numerical::selected_eigenpairs(test::scaled(a, 0x1p900), test::scaled(b, 0x1p-80),
                                       pencil_form::a_and_b, eigen_selection::all());
    for (std::size_t i = 0; i < n; ++i)
        EXPECT_EQ(scaled.values[i], plain.values[i] * 0x1p980);
    for (std::size_t i = 0; i < n * n; ++i)
        EXPECT_EQ(scaled.vectors.data[i], plain.vectors.data[i] * 0x1p40);
}

TYPED_TEST(pencil, says_what_is_wrong_with_its_matrices)
{
    using T = TypeParam;
    const auto solve = [](const matrix<T>& a, const matrix<T>& b) {
        return [&] { numerical::definite_pencil<T>(a, b, pencil_form::a_and_b); };
    };
    const auto one = test::random_hermitian<T>(3, 1);
    const auto other = test::random_hermitian<T>(4, 1);
    const auto flat = test::random_matrix<T>(3, 4, 1);
    const char* const shapes =
        "generalized eigendecomposition requires square matrices of one order";
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>(solve(one, other)), shapes);
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>(solve(flat, one)), shapes);
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>(solve(one, flat)), shapes);

    const auto identity = test::tridiagonal_matrix<T>({1, 1, 1}, {0, 0, 0});
    auto spoiled = one;
    spoiled.data[3] = nan;
    const char* const not_finite =
        "generalized eigendecomposition: the matrix holds an infinite or NaN entry";
    EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(solve(spoiled, identity)), not_finite);
    EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(solve(identity, spoiled)), not_finite);

    for (const double last : {0.0, -1e-300}) {
        const auto indefinite = test::tridiagonal_matrix<T>({1, 1, last}, {0, 0, 0});
        EXPECT_EQ(text_thrown_by<numerical::not_positive_definite_error>(solve(one, indefinite)),
                  "generalized eigendecomposition: b is not positive-definite");
    }
}

} // namespace
