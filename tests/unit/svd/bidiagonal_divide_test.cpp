#include "numerical/svd/bidiagonal_divide.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/bidiagonal_qr.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::convergence_error;
using numerical::detail::bidiagonal_divide_and_conquer;
using numerical::detail::bidiagonal_leaf_order;
using numerical::detail::bidiagonal_values;
using numerical::detail::side_by_side_groups_order;
using test::matrix;

struct bidiagonal_matrix
{
    std::string name;
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> e;
};

bidiagonal_matrix made_of(std::string name, std::size_t n,
                          const std::function<double(std::size_t)>& diagonal,
                          const std::function<double(std::size_t)>& superdiagonal)
{
    bidiagonal_matrix out{std::move(name), numerical::aligned_vector<double>(n),
                          numerical::aligned_vector<double>(n)};
    for (std::size_t i = 0; i < n; ++i) {
        out.d[i] = diagonal(i);
        out.e[i] = i + 1 < n ? superdiagonal(i) : 0.0;
    }
    return out;
}

std::vector<bidiagonal_matrix> hard_bidiagonals(std::size_t n)
{
    const auto random = test::random_vector<double>(2 * n, unsigned(n));
    const auto constant = [](double value) { return [value](std::size_t) { return value; }; };
    const auto falling = [n](std::size_t i) {
        return std::pow(10.0, -12.0 * double(i) / double(n));
    };
    const auto rising = [=](std::size_t i) { return falling(n - 1 - i); };
    const auto noise = [random](std::size_t i) { return random[i]; };
    const auto other_noise = [random, n](std::size_t i) { return random[n + i]; };
    return {
        made_of("random", n, noise, other_noise),
        made_of("ones", n, constant(1), constant(1)),
        made_of("identity", n, constant(1), constant(0)),
        made_of("zero", n, constant(0), constant(0)),
        made_of("shift", n, constant(0), constant(1)),
        made_of("falling", n, falling, falling),
        made_of("rising", n, rising, rising),
        made_of("weakly coupled", n, constant(1), constant(1e-15)),
        made_of(
            "torn row zero", n, [=](std::size_t i) { return i == n / 2 ? 0.0 : noise(i); },
            [=](std::size_t i) { return i == n / 2 ? 0.0 : other_noise(i); }),
        made_of(
            "zero at the top", n, [=](std::size_t i) { return i == 0 ? 0.0 : noise(i); },
            other_noise),
        made_of(
            "zero at the bottom", n, [=](std::size_t i) { return i + 1 == n ? 0.0 : noise(i); },
            other_noise),
        made_of(
            "huge", n, [=](std::size_t i) { return 1e300 * noise(i); },
            [=](std::size_t i) { return 1e300 * other_noise(i); }),
        made_of(
            "subnormal beside 1", n,
            [=](std::size_t i) { return i % 5 == 0 ? 1.0 : std::round(9 * noise(i)) * 0x1p-1074; },
            [=](std::size_t i) { return std::round(9 * other_noise(i)) * 0x1p-1074; }),
        made_of(
            "small", n, [=](std::size_t i) { return 1e-300 * noise(i); },
            [=](std::size_t i) { return 1e-300 * other_noise(i); }),
    };
}

struct divide_result
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> left;
    numerical::aligned_vector<double> right;
};

divide_result solved(const bidiagonal_matrix& b)
{
    const std::size_t n = b.d.size();
    divide_result out{b.d, numerical::aligned_vector<double>(n * n), {}};
    for (std::size_t i = 0; i < n; ++i)
        out.left[i * n + i] = 1;
    out.right = out.left;
    bidiagonal_divide_and_conquer(out.d, b.e, out.left, out.right, n);
    return out;
}

void expect_svd_of(const bidiagonal_matrix& b, const divide_result& result)
{
    const std::size_t n = b.d.size();
    const auto a = test::filled<double>(n, n, [&](std::size_t i, std::size_t j) {
        return i == j ? b.d[i] : (j == i + 1 ? b.e[i] : 0.0);
    });
    EXPECT_TRUE(std::is_sorted(result.d.rbegin(), result.d.rend()));
    matrix<double> left(n, n, result.left);
    matrix<double> right(n, n, result.right);
    EXPECT_LT(test::orthogonality_ratio(left), 5);
    EXPECT_LT(test::orthogonality_ratio(right), 5);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            right.data[i * n + j] *= result.d[i];
    numerical::detail::transpose_in_place(left.data, n);
    EXPECT_LT(test::difference_ratio(a, test::reference_product(left, right)), 5);
}

constexpr std::size_t tried_orders[] = {1, 2, 5, 32, 33, 34, 65, 66, 67, 131, 200};

TEST(bidiagonal_divide, is_accurate_on_hard_matrices)
{
    for (const std::size_t n : tried_orders)
        for (const bidiagonal_matrix& b : hard_bidiagonals(n)) {
            SCOPED_TRACE(b.name + ", " + std::to_string(n));
            expect_svd_of(b, solved(b));
        }
}

TEST(bidiagonal_divide, values_alone_are_the_same_bits)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : tried_orders)
            for (const bidiagonal_matrix& b : hard_bidiagonals(n))
                EXPECT_EQ(solved(b).d, bidiagonal_values(b.d, b.e, n)) << b.name << ", " << n;
    }
}

TEST(bidiagonal_divide, agrees_with_the_iteration)
{
    for (const std::size_t n : tried_orders)
        for (const bidiagonal_matrix& b : hard_bidiagonals(n)) {
            if (b.name == "small") // the iteration takes what is below 1e-292 for zero
                continue;
            numerical::aligned_vector<double> d = b.d;
            numerical::aligned_vector<double> e = b.e;
            numerical::aligned_vector<double> left(n * n);
            numerical::aligned_vector<double> right(n * n);
            numerical::detail::bidiagonal_qr(d, e, left, right, n, 30 * n);
            const numerical::aligned_vector<double> values = bidiagonal_values(b.d, b.e, n);
            for (std::size_t i = 0; i < n; ++i)
                EXPECT_NEAR(values[i], d[i], 1e-14 * d[0]) << b.name << ", " << n << ", " << i;
        }
}

TEST(bidiagonal_divide, scaling_by_powers_of_two_is_exact)
{
    const bidiagonal_matrix b = hard_bidiagonals(70).front();
    const divide_result plain = solved(b);
    for (const int exponent : {-900, -3, 1, 1000}) {
        bidiagonal_matrix scaled = b;
        for (std::size_t i = 0; i < 70; ++i) {
            scaled.d[i] = std::ldexp(b.d[i], exponent);
            scaled.e[i] = std::ldexp(b.e[i], exponent);
        }
        const divide_result result = solved(scaled);
        for (std::size_t i = 0; i < 70; ++i)
            EXPECT_EQ(result.d[i], std::ldexp(plain.d[i], exponent));
        EXPECT_EQ(result.left, plain.left);
        EXPECT_EQ(result.right, plain.right);
    }
}

TEST(bidiagonal_divide, bits_do_not_depend_on_the_number_of_threads)
{
    constexpr std::size_t last = side_by_side_groups_order;
    for (const std::size_t n : {std::size_t{130}, std::size_t{400}, last, last + 1}) {
        const bidiagonal_matrix b = hard_bidiagonals(n).front();
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return solved(b);
        };
        const divide_result one = on(1);
        for (const std::size_t threads : test::thread_counts) {
            const divide_result many = on(threads);
            EXPECT_EQ(one.d, many.d) << n << " on " << threads;
            EXPECT_EQ(one.left, many.left) << n << " on " << threads;
            EXPECT_EQ(one.right, many.right) << n << " on " << threads;
        }
    }
}

// Some merges have columns to rotate, or no column at all that is active in a group of rows.
TEST(bidiagonal_divide, bits_of_deflated_problems_do_not_depend_on_the_number_of_threads)
{
    for (const bidiagonal_matrix& b : hard_bidiagonals(150)) {
        SCOPED_TRACE(b.name);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit limit(threads);
            return solved(b);
        };
        const divide_result one = on(1);
        const divide_result two = on(2);
        EXPECT_EQ(one.d, two.d);
        EXPECT_EQ(one.left, two.left);
        EXPECT_EQ(one.right, two.right);
    }
}

TEST(bidiagonal_divide, secular_equation_that_has_no_root_is_reported)
{
    const std::size_t n = bidiagonal_leaf_order;
    for (const std::size_t threads : {1, 2}) {
        const test::thread_limit limit(threads);
        bidiagonal_matrix b = hard_bidiagonals(n).front();
        b.d[n / 2] = std::numeric_limits<double>::quiet_NaN(); // the torn row: no leaf sees it
        EXPECT_EQ(test::text_thrown_by<convergence_error>([&] { solved(b); }),
                  "the secular equation did not converge");
    }
}

TEST(bidiagonal_divide, iteration_of_a_leaf_that_does_not_converge_is_reported)
{
    bidiagonal_matrix b = hard_bidiagonals(10).front();
    b.d[5] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(test::text_thrown_by<convergence_error>([&] { solved(b); }),
              "SVD: the bidiagonal QR iteration did not converge within its steps");
}

TEST(multiply_real_left, multiplies_both_parts_of_complex_elements)
{
    using complex = std::complex<double>;
    const std::size_t n = 9;
    const auto a = test::integer_vector<double>(n * n, 1);
    const auto b = test::integer_vector<complex>(n * n, 2);
    numerical::aligned_vector<complex> product = b;
    numerical::detail::multiply_real_left(a, product, n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            complex sum = 0;
            for (std::size_t l = 0; l < n; ++l)
                sum += a[i * n + l] * b[l * n + j];
            EXPECT_EQ(product[i * n + j], sum);
        }
}

} // namespace
