#include "numerical/gemm/matrix_vector.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"
#include "product_case.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>
#include <type_traits>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
class matrix_vector : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(matrix_vector, element_types);

struct extents
{
    std::size_t rows;
    std::size_t cols;
};

template <class T>
numerical::aligned_vector<T> times_vector(const extents& size,
                                          const numerical::aligned_vector<T>& a,
                                          const numerical::aligned_vector<T>& x)
{
    numerical::aligned_vector<T> y(size.rows, T(nan));
    matrix_times_vector(size.rows, size.cols, a.data(), x.data(), y.data());
    return y;
}

template <class T>
numerical::aligned_vector<T> vector_times(const extents& size,
                                          const numerical::aligned_vector<T>& x,
                                          const numerical::aligned_vector<T>& a)
{
    numerical::aligned_vector<T> y(size.cols, T(nan));
    vector_times_matrix(size.rows, size.cols, x.data(), a.data(), y.data());
    return y;
}

long double magnitude(double x)
{
    return std::abs(x);
}

long double magnitude(const complex& z)
{
    return std::abs(z.real()) + std::abs(z.imag());
}

long double magnitude(const std::complex<long double>& z)
{
    return std::abs(z.real()) + std::abs(z.imag());
}

long double magnitude(long double x)
{
    return std::abs(x);
}

// |y - Σ aᵢ·xᵢ| in units of terms·ε·Σ |aᵢ|·|xᵢ|, the sum in wider precision.
template <class T>
class wide_sum
{
    using wide =
        std::conditional_t<std::is_same_v<T, double>, long double, std::complex<long double>>;

public:
    void add(const T& a, const T& x)
    {
        sum += wide(a) * wide(x);
        moduli += magnitude(a) * magnitude(x);
        ++terms;
    }

    double error_of(const T& y) const
    {
        if (moduli == 0)
            return y == T(0) ? 0 : infinity;
        return double(magnitude(wide(y) - sum) / (terms * eps * moduli));
    }

private:
    wide sum = 0;
    long double moduli = 0;
    long double terms = 0;
};

template <class T>
double largest_error_of_rows(const extents& size, const numerical::aligned_vector<T>& a,
                             const numerical::aligned_vector<T>& x)
{
    const numerical::aligned_vector<T> y = times_vector(size, a, x);
    double largest = 0;
    for (std::size_t i = 0; i < size.rows; ++i) {
        wide_sum<T> want;
        for (std::size_t j = 0; j < size.cols; ++j)
            want.add(a[i * size.cols + j], x[j]);
        largest = std::max(largest, want.error_of(y[i]));
    }
    return largest;
}

template <class T>
double largest_error_of_columns(const extents& size, const numerical::aligned_vector<T>& x,
                                const numerical::aligned_vector<T>& a)
{
    const numerical::aligned_vector<T> y = vector_times(size, x, a);
    double largest = 0;
    for (std::size_t j = 0; j < size.cols; ++j) {
        wide_sum<T> want;
        for (std::size_t i = 0; i < size.rows; ++i)
            want.add(x[i], a[i * size.cols + j]);
        largest = std::max(largest, want.error_of(y[j]));
    }
    return largest;
}

// Rows and columns about the groups of rows, the vectors' widths, a loop's shares of columns, and
// the size from which complex rows are prefetched.
TYPED_TEST(matrix_vector, has_errors_of_less_than_a_unit_at_every_edge)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& size :
             {extents{1, 1}, {1, 9},     {9, 1},      {3, 3},     {4, 8},     {5, 7},
              {6, 9},        {7, 15},    {8, 16},     {9, 17},    {63, 65},   {100, 100},
              {5, 1023},     {5, 1024},  {5, 1025},   {4, 4097},  {1025, 31}, {1024, 32},
              {1023, 33},    {300, 301}, {512, 1024}, {513, 1024}}) {
            const auto a = test::random_vector<TypeParam>(size.rows * size.cols, 1);
            const auto right = test::random_vector<TypeParam>(size.cols, 2);
            const auto left = test::random_vector<TypeParam>(size.rows, 3);
            EXPECT_LE(largest_error_of_rows(size, a, right), 1.0)
                << size.rows << " x " << size.cols << ", path " << path;
            EXPECT_LE(largest_error_of_columns(size, left, a), 1.0)
                << size.rows << " x " << size.cols << ", path " << path;
        }
    }
}

// Lengths about the runs.
TYPED_TEST(matrix_vector, of_two_vectors_has_an_error_of_less_than_a_unit)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1U, 2U, 7U, 8U, 9U, 1000U, 16383U, 16384U, 16385U, 50000U}) {
            const auto a = test::random_vector<TypeParam>(n, 9);
            const auto b = test::random_vector<TypeParam>(n, 10);
            wide_sum<TypeParam> want;
            for (std::size_t i = 0; i < n; ++i)
                want.add(a[i], b[i]);
            EXPECT_LE(want.error_of(vector_times_vector(n, a.data(), b.data())), 1.0)
                << n << ", path " << path;
        }
        EXPECT_EQ(vector_times_vector<TypeParam>(0, nullptr, nullptr), TypeParam(0));
    }
}

TYPED_TEST(matrix_vector, without_products_is_zero)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const numerical::aligned_vector<TypeParam> none;
        const numerical::aligned_vector<TypeParam> zeros(7);
        EXPECT_TRUE(test::same_bits(times_vector<TypeParam>({7, 0}, none, none), zeros));
        EXPECT_TRUE(test::same_bits(vector_times<TypeParam>({0, 7}, none, none), zeros));
        EXPECT_TRUE(times_vector<TypeParam>({0, 7}, none, zeros).empty());
        EXPECT_TRUE(vector_times<TypeParam>({7, 0}, zeros, none).empty());
    }
}

TYPED_TEST(matrix_vector, has_the_same_bits_at_every_thread_count)
{
    for (const auto& size : {extents{700, 900}, {33, 20000}, {20000, 33}, {1, 100000}, {100000, 1}})
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto a = test::random_vector<TypeParam>(size.rows * size.cols, 4);
            const auto right = test::random_vector<TypeParam>(size.cols, 5);
            const auto left = test::random_vector<TypeParam>(size.rows, 6);
            const auto products_on = [&](std::size_t threads) {
                const test::thread_limit cap(threads);
                return std::tuple(times_vector(size, a, right), vector_times(size, left, a),
                                  vector_times_vector(a.size(), a.data(), a.data()));
            };
            const auto [rows, columns, dot] = products_on(1);
            for (const std::size_t threads : test::thread_counts) {
                const auto [y, z, sum] = products_on(threads);
                EXPECT_EQ(sum, dot) << size.rows << ", threads " << threads;
                EXPECT_TRUE(test::same_bits(y, rows)) << size.rows << ", threads " << threads;
                EXPECT_TRUE(test::same_bits(z, columns)) << size.rows << ", threads " << threads;
            }
        }
}

TYPED_TEST(matrix_vector, gives_a_row_its_bits_wherever_it_stands)
{
    constexpr extents size{11, 53};
    const auto a = test::random_vector<TypeParam>(size.rows * size.cols, 7);
    const auto x = test::random_vector<TypeParam>(size.cols, 8);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto together = times_vector(size, a, x);
        for (std::size_t first = 0; first < size.rows; ++first) {
            const numerical::aligned_vector<TypeParam> rest(
                a.begin() + std::ptrdiff_t(first * size.cols), a.end());
            const auto some = times_vector({size.rows - first, size.cols}, rest, x);
            EXPECT_TRUE(
                std::equal(some.begin(), some.end(), together.begin() + std::ptrdiff_t(first)))
                << "from row " << first << " on path " << path;
        }
    }
}

// NaN and infinity spread to their own element only.
TYPED_TEST(matrix_vector, of_a_row_with_an_infinity_leaves_other_rows_alone)
{
    constexpr std::size_t n = 67;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        numerical::aligned_vector<TypeParam> a(n * n, TypeParam(1));
        a[5 * n + 66] = infinity;
        a[6 * n] = nan;
        const numerical::aligned_vector<TypeParam> x(n, TypeParam(2));
        auto y = times_vector({n, n}, a, x);
        EXPECT_EQ(real_part(y[5]), infinity);
        EXPECT_TRUE(std::isnan(real_part(y[6])));
        y[5] = y[6] = 2.0 * n;
        EXPECT_EQ(y, numerical::aligned_vector<TypeParam>(n, TypeParam(2.0 * n)));
        auto z = vector_times({n, n}, x, a);
        EXPECT_EQ(real_part(z[66]), infinity);
        EXPECT_TRUE(std::isnan(real_part(z[0])));
        z[0] = z[66] = 2.0 * n;
        EXPECT_EQ(z, numerical::aligned_vector<TypeParam>(n, TypeParam(2.0 * n)));
    }
}

} // namespace
