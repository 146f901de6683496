#include "numerical/factor/lu.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/lu_panel.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"
#include "thrown.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <string>

namespace {

using numerical::lu_decomposition;
using numerical::matrix;
using std::size_t;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// About the edges of kernels, leaves, halves and blocks; 256 | 257 is where the block widens.
const std::vector<size_t> orders{0,  1,  2,  3,  15,  16,  17,  31, 32,
                                 33, 63, 64, 65, 127, 256, 257, 300};

template <class T>
class lu_factorization : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(lu_factorization, element_types);

template <class T>
lu_decomposition<T> factored(matrix<T> a)
{
    return lu_decomposition<T>(std::move(a));
}

template <class T>
matrix<T> lower_factor(const lu_decomposition<T>& lu)
{
    const size_t n = lu.order;
    matrix<T> l(n, n, numerical::aligned_vector<T>(n * n));
    for (size_t i = 0; i < n; ++i) {
        std::copy_n(lu.factors.view().row(i), i, l.data.begin() + long(i * n));
        l.data[i * n + i] = T(1);
    }
    return l;
}

template <class T>
matrix<T> upper_factor(const lu_decomposition<T>& lu)
{
    const size_t n = lu.order;
    matrix<T> u(n, n, test::elements_of(lu.factors.view()));
    for (size_t i = 0; i < n; ++i)
        std::fill_n(u.data.begin() + long(i * n), i, T(0));
    return u;
}

template <class T>
matrix<T> permuted_rows(const matrix<T>& a, const std::vector<size_t>& permutation)
{
    matrix<T> out(a.rows, a.cols, numerical::aligned_vector<T>(a.data.size()));
    for (size_t i = 0; i < a.rows; ++i)
        std::copy_n(a.data.begin() + long(permutation[i] * a.cols), a.cols,
                    out.data.begin() + long(i * a.cols));
    return out;
}

// ‖P·A - L·U‖ / (n·(‖A‖·ε + d)) with the least subnormal d, which is the unit of the smallest; on
// probes where the product would take long.
template <class T>
double lu_ratio(const matrix<T>& a, const lu_decomposition<T>& lu)
{
    if (a.rows == 0)
        return 0;
    auto difference = permuted_rows(a, lu.permutation);
    if (a.rows >= 64)
        return test::probed_product_ratio(difference, lower_factor(lu), upper_factor(lu));
    const auto product = test::reference_product(lower_factor(lu), upper_factor(lu));
    for (size_t i = 0; i < a.data.size(); ++i)
        difference.data[i] -= product.data[i];
    const auto unit =
        test::norm_inf(a) * test::eps + (long double)(a.rows) * 0x1p-1074L; // per entry of a row
    return static_cast<double>(test::norm_inf(difference) / (unit * (long double)(a.rows)));
}

// The same against a vector, ‖P·A·x - L·(U·x)‖ / (n·‖A‖·‖x‖·ε), for orders too large for products.
template <class T>
double lu_ratio_on_vector(const matrix<T>& a, const lu_decomposition<T>& lu)
{
    const size_t n = a.rows;
    const matrix<T> x = test::random_matrix<T>(n, 1, 99);
    const auto pax = test::reference_product(permuted_rows(a, lu.permutation), x);
    const auto lux =
        test::reference_product(lower_factor(lu), test::reference_product(upper_factor(lu), x));
    long double largest = 0;
    for (size_t i = 0; i < n; ++i)
        largest = test::worse<long double>(largest, std::abs(pax.data[i] - lux.data[i]));
    return static_cast<double>(largest / (test::norm_inf(a) * (long double)(n)*test::eps));
}

// Largest modulus in L below the diagonal: at most 1 under partial pivoting, but for rounding.
template <class T>
double greatest_multiplier(const lu_decomposition<T>& lu)
{
    double greatest = 0;
    for (size_t i = 0; i < lu.order; ++i)
        for (size_t j = 0; j < i; ++j)
            greatest = test::worse(greatest, std::abs(lu.factors.view()(i, j)));
    return greatest;
}

double multiply_add(int path, double a, double b, double c)
{
    return path == numerical::detail::portable_path ? a * b + c : std::fma(a, b, c);
}

std::complex<double> multiply_add(int, std::complex<double> a, std::complex<double> b,
                                  std::complex<double> c)
{
    return a * b + c;
}

// Elimination as in a textbook, which rounds each element in the same order as the blocked one.
template <class T>
numerical::aligned_vector<T> eliminated(matrix<T> a, int path)
{
    const size_t n = a.rows;
    T* const x = a.data.data();
    for (size_t k = 0; k < n; ++k) {
        size_t p = k;
        for (size_t i = k + 1; i < n; ++i)
            if (std::abs(x[i * n + k]) > std::abs(x[p * n + k]))
                p = i;
        if (x[p * n + k] == T(0))
            continue;
        if (p != k)
            std::swap_ranges(x + k * n, x + k * n + n, x + p * n);
        for (size_t i = k + 1; i < n; ++i) {
            x[i * n + k] /= x[k * n + k];
            for (size_t j = k + 1; j < n; ++j)
                x[i * n + j] = multiply_add(path, -x[i * n + k], x[k * n + j], x[i * n + j]);
        }
    }
    return a.data;
}

TYPED_TEST(lu_factorization, of_order_0_has_nothing_to_permute)
{
    const auto lu = factored(matrix<TypeParam>(0, 0, {}));
    EXPECT_FALSE(lu.singular);
    EXPECT_EQ(lu.sign, 1);
    EXPECT_TRUE(lu.permutation.empty());
    EXPECT_EQ(lu.factors.view().rows, 0);
}

TYPED_TEST(lu_factorization, of_one_element_is_singular_only_for_zero)
{
    const auto zero = factored(matrix<TypeParam>(1, 1, {0.0}));
    EXPECT_TRUE(zero.singular);
    EXPECT_EQ(zero.sign, 1);
    const auto least = factored(matrix<TypeParam>(1, 1, {-0x1p-1074}));
    EXPECT_FALSE(least.singular);
    EXPECT_EQ(least.sign, 1);
    EXPECT_EQ(least.factors.view()(0, 0), TypeParam(-0x1p-1074));
}

TYPED_TEST(lu_factorization, of_zeros_is_left_as_it_is)
{
    for (const size_t n : {2, 17, 33, 100, 300}) {
        const auto lu =
            factored(matrix<TypeParam>(n, n, numerical::aligned_vector<TypeParam>(n * n)));
        EXPECT_TRUE(lu.singular);
        EXPECT_EQ(lu.sign, 1);
        EXPECT_EQ(test::elements_of(lu.factors.view()),
                  numerical::aligned_vector<TypeParam>(n * n));
        std::vector<size_t> identity(n);
        std::iota(identity.begin(), identity.end(), size_t{0});
        EXPECT_EQ(lu.permutation, identity);
    }
}

TYPED_TEST(lu_factorization, refuses_what_is_not_square_before_it_looks_at_the_entries)
{
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>([] {
                  factored(matrix<TypeParam>(1, 2, {nan, 1.0}));
              }),
              "LU decomposition requires a square matrix");
    for (const double bad : {nan, infinity, -infinity})
        EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>([bad] {
                      factored(matrix<TypeParam>(2, 2, {1.0, 0.0, 0.0, bad}));
                  }),
                  "LU decomposition: the matrix holds an infinite or NaN entry");
}

TYPED_TEST(lu_factorization, takes_the_upper_of_rows_with_equal_magnitude)
{
    const auto middle =
        factored(matrix<TypeParam>(3, 3, {1.0, 2.0, 3.0, -4.0, 1.0, 0.0, 4.0, 0.0, 1.0}));
    EXPECT_EQ(middle.permutation[0], 1u);
    EXPECT_EQ(middle.sign, middle.permutation[1] == 0 ? -1 : 1);

    const auto diagonal = factored(matrix<TypeParam>(2, 2, {3.0, 1.0, -3.0, 1.0}));
    EXPECT_EQ(diagonal.permutation, (std::vector<size_t>{0, 1}));
    EXPECT_EQ(diagonal.sign, 1);
}

TEST(lu_factorization, measures_complex_pivots_by_the_true_modulus)
{
    // |3 + 4i| = 5 loses to 5.5 though |re| + |im| = 7 is greater.
    const auto lu = factored(matrix<std::complex<double>>(2, 2, {{3, 4}, 0.0, 5.5, 1.0}));
    EXPECT_EQ(lu.permutation, (std::vector<size_t>{1, 0}));
    EXPECT_EQ(lu.sign, -1);
}

TYPED_TEST(lu_factorization, widens_the_block_above_256)
{
    EXPECT_EQ(factored(test::random_matrix<TypeParam>(256, 256, 1)).block, 32u);
    EXPECT_EQ(factored(test::random_matrix<TypeParam>(257, 257, 1)).block, 64u);
}

TYPED_TEST(lu_factorization, gives_back_random_matrices_on_every_path)
{
    double worst = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const size_t n : orders) {
            const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n) + 1);
            const auto lu = factored(a);
            const double ratio = lu_ratio(a, lu);
            EXPECT_LT(ratio, 1) << "order " << n << " path " << path;
            EXPECT_LE(greatest_multiplier(lu), 1 + 4 * test::eps) << n;
            EXPECT_FALSE(lu.singular);
            worst = test::worse(worst, ratio);
        }
    }
    this->RecordProperty("worst_ratio", std::to_string(worst));
}

// On the vector paths that holds for real matrices, unless the last block is so small that its
// update isn't a product worth packing, which fuses.
TYPED_TEST(lu_factorization, rounds_like_elimination_in_ascending_order)
{
    for (const int path : test::available_paths()) {
        if (!std::is_same_v<TypeParam, double> && path != numerical::detail::portable_path)
            continue;
        const test::path_limit limit(path);
        for (const size_t n : {3, 16, 17, 64, 100, 160, 256, 300}) {
            const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n));
            const auto lu = factored(a);
            EXPECT_TRUE(test::elements_of(lu.factors.view()) == eliminated(a, path))
                << n << " path " << path;
        }
    }
}

TYPED_TEST(lu_factorization, gives_back_hard_matrices)
{
    for (const size_t n : {40, 129, 300}) {
        auto ties = test::integer_vector<TypeParam>(n * n, unsigned(n), 1);
        const auto random = test::random_matrix<TypeParam>(n, n, 5);
        const std::vector<std::pair<const char*, matrix<TypeParam>>> cases{
            {"graded", test::graded_matrix<TypeParam>(n, n, 150, 2)},
            {"low rank", test::low_rank_matrix<TypeParam>(n, n, n / 2, 3)},
            {"tiny", test::scaled(random, 1e-300)},
            {"subnormal", test::scaled(random, 1e-310)},
            {"huge", test::scaled(random, 1e300)},
            {"ties", matrix<TypeParam>(n, n, std::move(ties))}};
        for (const auto& [name, a] : cases) {
            const auto lu = factored(a);
            EXPECT_LT(lu_ratio(a, lu), 1) << name << " of order " << n;
            EXPECT_LE(greatest_multiplier(lu), 1 + 4 * test::eps) << name << " of order " << n;
        }
    }
}

TYPED_TEST(lu_factorization, passes_over_a_column_without_pivot)
{
    for (const size_t n : {20, 100, 300})
        for (const size_t zero : {size_t{1}, size_t{5}, n / 2, n - 1}) {
            auto a = test::random_matrix<TypeParam>(n, n, 11);
            for (size_t i = 0; i < n; ++i)
                a.data[i * n + zero] = TypeParam(0);
            const auto lu = factored(a);
            EXPECT_TRUE(lu.singular) << n << ' ' << zero;
            EXPECT_EQ(lu.factors.view()(zero, zero), TypeParam(0)) << n << ' ' << zero;
            EXPECT_LT(lu_ratio(a, lu), 1) << n << ' ' << zero;
            for (size_t i = 0; i < n; ++i) {
                EXPECT_TRUE(i == zero || lu.factors.view()(i, i) != TypeParam(0)) << n << ' ' << i;
            }
        }
}

TYPED_TEST(lu_factorization, sign_is_that_of_the_permutation)
{
    for (const size_t n : {2, 3, 17, 64, 300}) {
        const auto lu = factored(test::random_matrix<TypeParam>(n, n, unsigned(n) + 5));
        std::vector<bool> seen(n);
        int sign = 1;
        for (size_t start = 0; start < n; ++start)
            for (size_t i = lu.permutation[start]; !seen[start] && i != start;
                 i = lu.permutation[i]) {
                seen[i] = true;
                sign = -sign;
            }
        EXPECT_EQ(lu.sign, sign) << n;
    }
}

// With blocks of 64, order 1152 leaves 1024 columns right of the second panel and 1153 leaves 1025.
TYPED_TEST(lu_factorization, agrees_across_the_look_ahead_crossover)
{
    for (const size_t n : {1088, 1152, 1153}) {
        const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n));
        EXPECT_LT(lu_ratio_on_vector(a, factored(a)), 1) << n;
    }
}

TYPED_TEST(lu_factorization, has_the_same_bits_for_every_number_of_threads)
{
    for (const size_t n : {100, 300, 512, 1153}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 3);
        numerical::aligned_vector<TypeParam> first;
        for (const size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            const auto lu = factored(a);
            if (first.empty())
                first = test::elements_of(lu.factors.view());
            EXPECT_TRUE(first == test::elements_of(lu.factors.view())) << n << ' ' << threads;
        }
    }
}

// On every path, as columns up to its widest step and beyond are searched.
size_t first_largest(const double* elements, size_t n)
{
    const auto paths = test::available_paths();
    const size_t place = numerical::detail::first_largest(paths.front(), elements, n);
    for (const int path : paths)
        EXPECT_EQ(numerical::detail::first_largest(path, elements, n), place) << path;
    return place;
}

// Up to 4 MiB, on several threads, the copy is made beside the first panel.
TYPED_TEST(lu_factorization, of_a_copy_is_that_in_place)
{
    const bool real = std::is_same_v<TypeParam, double>;
    for (const size_t n :
         real ? std::vector<size_t>{320, 321, 724, 725} : std::vector<size_t>{192, 193, 512, 513}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 5);
        auto in_place = a;
        numerical::factorize_lu<TypeParam>({in_place.data.data(), n, n});
        for (const size_t threads : test::thread_counts) {
            const test::thread_limit some(threads);
            const lu_decomposition<TypeParam> lu(a);
            EXPECT_TRUE(test::elements_of(lu.factors.view()) == in_place.data)
                << n << " on " << threads;
            for (const size_t place : {n / 2 * n, n * n - n + 65, n - 1, n * n - 1}) {
                auto bad = a;
                bad.data[place] = std::numeric_limits<double>::infinity();
                EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>(
                              [&] { lu_decomposition<TypeParam>{bad}; }),
                          "LU decomposition: the matrix holds an infinite or NaN entry")
                    << n << " on " << threads << ", place " << place;
            }
        }
    }
}

TEST(first_largest, takes_the_first_of_equals_and_passes_over_nan)
{
    numerical::aligned_vector<double> x(40, 1.0);
    EXPECT_EQ(first_largest(x.data(), x.size()), 0u);
    x[37] = x[11] = -2;
    EXPECT_EQ(first_largest(x.data(), x.size()), 11u);
    x[5] = nan;
    x[39] = nan;
    EXPECT_EQ(first_largest(x.data(), x.size()), 11u);
    x[0] = nan;
    EXPECT_EQ(first_largest(x.data(), x.size()), 0u);
    x[0] = 0;
    x[20] = -infinity;
    EXPECT_EQ(first_largest(x.data(), x.size()), 20u);
    const numerical::aligned_vector<double> zeros(9);
    EXPECT_EQ(first_largest(zeros.data(), zeros.size()), 0u);
}

TEST(first_largest, is_found_at_every_place_of_every_length)
{
    for (size_t n = 1; n < 80; ++n) {
        numerical::aligned_vector<double> x(n + 1, -1.0);
        x[n] = 9; // not searched
        for (size_t at = 0; at < n; ++at) {
            x[at] = at % 2 == 0 ? 2 : -2;
            EXPECT_EQ(first_largest(x.data(), n), at) << n;
            if (at != 0) {
                x[0] = nan;
                EXPECT_EQ(first_largest(x.data(), n), 0u);
                x[0] = -1;
            }
            x[at] = -1;
        }
    }
}

// The rule word for word: a strictly greater modulus takes over.
size_t first_largest_by_modulus(const numerical::aligned_vector<std::complex<double>>& x)
{
    size_t best = 0;
    for (size_t i = 1; i < x.size(); ++i)
        if (std::abs(x[i]) > std::abs(x[best]))
            best = i;
    return best;
}

size_t first_largest(const std::complex<double>* elements, size_t n)
{
    return numerical::detail::first_largest(numerical::detail::portable_path, elements, n);
}

TEST(first_largest, of_complex_numbers_is_decided_by_the_modulus_alone)
{
    std::mt19937_64 generator(5);
    std::uniform_real_distribution<double> angle(0.0, 6.3);
    std::uniform_int_distribution<int> steps(0, 3);
    for (const double scale : {1.0, 1e-300, 1e300, 1e-320, 1e-160, 1e160, 1.7e308})
        for (int round = 0; round < 300; ++round) {
            // Moduli that differ by few units in the last place, if at all.
            numerical::aligned_vector<std::complex<double>> x(1 + size_t(round) % 33);
            for (auto& z : x)
                z = std::polar(scale * (1 - steps(generator) * test::eps / 2), angle(generator));
            ASSERT_EQ(first_largest(x.data(), x.size()), first_largest_by_modulus(x))
                << scale << ' ' << round;
        }
    numerical::aligned_vector<std::complex<double>> odd{
        {1, 0}, {nan, 0}, {0, infinity}, {infinity, nan}};
    EXPECT_EQ(first_largest(odd.data(), odd.size()), 2u);
    odd[0] = {0, nan};
    EXPECT_EQ(first_largest(odd.data(), odd.size()), 0u);
}

} // namespace
