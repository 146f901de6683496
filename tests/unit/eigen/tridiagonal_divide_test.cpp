#include "numerical/eigen/tridiagonal_divide.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/deflation.hpp"
#include "paths.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <thread>

namespace {

using namespace numerical::detail;
using numerical::matrix;

struct system
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> e; // n - 1 couplings
};

struct solved
{
    numerical::aligned_vector<double> values;
    matrix<double> vectors;
};

solved divide(const system& s, quotient_form quotients = quotient_form::single)
{
    const std::size_t n = s.d.size();
    solved out{s.d, {n, n, numerical::aligned_vector<double>(n * n)}};
    merge_workspace workspace;
    workspace.quotients = quotients;
    divide_block(out.values.data(), s.e.data(), n, {out.vectors.data.data(), n, n, n}, workspace);
    return out;
}

// Solves with both forms of quotients and checks.
void check_values(const system& s, const std::string& name, double* largest)
{
    for (const quotient_form quotients : {quotient_form::single, quotient_form::paired}) {
        const auto [values, vectors] = divide(s, quotients);
        const auto seen =
            test::ratios_of(test::tridiagonal_matrix<double>(s.d, s.e), values, vectors);
        *largest = test::worse(*largest, test::worse(seen.residual, seen.orthogonality));
        EXPECT_LT(seen.residual, 30) << name;
        EXPECT_LT(seen.orthogonality, 30) << name;
        EXPECT_TRUE(std::is_sorted(values.begin(), values.end())) << name;
    }
}

system random_system(std::size_t n, unsigned seed)
{
    return {test::random_vector<double>(n, seed), test::random_vector<double>(n, seed + 1)};
}

TEST(tridiagonal_divide, is_accurate_at_each_crossover)
{
    double largest = 0;
    for (const std::size_t n : {1, 2, 32, 33, 34, 63, 64, 65, 66, 67, 131, 132, 133, 200})
        for (unsigned seed = 0; seed < 3; ++seed)
            check_values(random_system(n, seed), "random " + std::to_string(n), &largest);
    std::printf("largest ratio: %.3f\n", largest);
}

TEST(tridiagonal_divide, of_hard_systems)
{
    double largest = 0;
    for (const std::size_t n : {33, 42, 66, 105, 150}) {
        const std::string order = " of order " + std::to_string(n);
        system s = random_system(n, 7);
        s.e[n / 2 - 1] = 0; // the tear has nothing to mend: all columns deflate
        check_values(s, "zero tear" + order, &largest);
        s.e.assign(n, 0.0);
        check_values(s, "diagonal" + order, &largest);
        s.d.assign(n, 1.0);
        s.e.assign(n, -1e-3); // negative at every tear
        check_values(s, "equal diagonal" + order, &largest);
        s.e.assign(n, 1e-17);
        check_values(s, "nearly diagonal" + order, &largest);
        for (std::size_t i = 0; i < n; ++i) {
            s.d[i] = std::abs(double(i) - double(n - 1) / 2);
            s.e[i] = 1;
        }
        check_values(s, "Wilkinson" + order, &largest);
        for (std::size_t i = 0; i < n; ++i) {
            s.d[i] = std::pow(0.5, double(i));
            s.e[i] = s.d[i] / 3;
        }
        check_values(s, "falling" + order, &largest);
        std::reverse(s.d.begin(), s.d.end());
        std::reverse(s.e.begin(), s.e.end());
        check_values(s, "rising" + order, &largest);
        s.d.assign(n, 0.0);
        s.e.assign(n, 0.0);
        check_values(s, "zero" + order, &largest);
    }
    std::printf("largest ratio: %.3f\n", largest);
}

TEST(tridiagonal_divide, scales_by_powers_of_two_exactly)
{
    const system s = random_system(80, 3);
    const auto expected = divide(s);
    for (const int exponent : {-1000, -37, 5, 1020}) {
        system scaled = s;
        for (double& x : scaled.d)
            x = std::ldexp(x, exponent);
        for (double& x : scaled.e)
            x = std::ldexp(x, exponent);
        const auto [values, vectors] = divide(scaled);
        for (std::size_t i = 0; i < 80; ++i)
            EXPECT_EQ(values[i], std::ldexp(expected.values[i], exponent)) << exponent;
        EXPECT_EQ(vectors.data, expected.vectors.data) << exponent;
    }
}

TEST(tridiagonal_divide, has_the_same_bits_with_paired_quotients_at_every_thread_count)
{
    const system s = random_system(300, 9);
    const auto expected = divide(s, quotient_form::paired);
    for (const std::size_t threads : test::thread_counts) {
        const test::thread_limit some(threads);
        const auto [values, vectors] = divide(s, quotient_form::paired);
        EXPECT_EQ(values, expected.values) << threads;
        EXPECT_EQ(vectors.data, expected.vectors.data) << threads;
    }
}

TEST(tridiagonal_divide, leaves_what_lies_around_its_block_alone)
{
    constexpr std::size_t n = 40;
    constexpr std::size_t stride = 47;
    const system s = random_system(n, 5);
    numerical::aligned_vector<double> store(stride * n, 0.0);
    for (std::size_t i = 0; i < n; ++i)
        std::fill_n(store.begin() + std::ptrdiff_t(i * stride + n), stride - n, 123.0);
    numerical::aligned_vector<double> d = s.d;
    merge_workspace workspace;
    divide_block(d.data(), s.e.data(), n, {store.data(), n, n, stride}, workspace);
    const auto expected = divide(s);
    EXPECT_EQ(d, expected.values);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < stride; ++j)
            EXPECT_EQ(store[i * stride + j], j < n ? expected.vectors.data[i * n + j] : 123.0);
}

// diag(d) + rho·z·zᵀ for z of norm √2, in the identity basis.
void check_merge(numerical::aligned_vector<double> d, numerical::aligned_vector<double> z,
                 double rho, std::size_t k)
{
    const std::size_t n = d.size();
    double square = 0;
    for (const double x : z)
        square += x * x;
    for (double& x : z)
        x *= std::sqrt(2 / square);
    matrix<double> a(n, n, numerical::aligned_vector<double>(n * n));
    matrix<double> q = a;
    for (std::size_t i = 0; i < n; ++i) {
        q.data[i * n + i] = 1;
        for (std::size_t j = 0; j < n; ++j)
            a.data[i * n + j] = (i == j ? d[i] : 0.0) + rho * z[i] * z[j];
    }
    merge_workspace workspace;
    merge_rank_one(d, z, rho, {q.data.data(), n, n, n}, k, workspace);
    const auto seen = test::ratios_of(a, d, q);
    EXPECT_LT(seen.residual, 10);
    EXPECT_LT(seen.orthogonality, 10);
    EXPECT_TRUE(std::is_sorted(d.begin(), d.end()));
}

TEST(rank_one_merge, of_separate_equal_and_negligible_poles)
{
    check_merge({0.1, 0.5, 0.2, 0.9}, {1, -1, 1, 1}, 0.3, 2);
    check_merge({0.1, 0.5, 0.1, 0.5}, {1, 1, 1, 1}, 0.3, 2);           // pairs deflate by rotation
    check_merge({0.5, 0.5, 0.5, 0.5, 0.5}, {1, 2, -3, 4, 5}, 0.25, 2); // one column is left
    check_merge({0.1, 0.5, 0.2, 0.9}, {1, 0, 0, 0}, 0.3, 2);           // one root only
    check_merge({0.1, 0.5, 0.2, 0.9}, {0, 1e-20, 1, 1}, 0.3, 2);
    check_merge({0.1, 0.1 + 1e-15, 0.2, 0.9}, {1, 1, 1, 1}, 0.3, 2); // nearly equal
    check_merge({0.1, 0.5, 0.2, 0.9}, {1, 1, 1, 1}, 0.0, 2);         // nothing to merge
    check_merge({-0.9, 0.9, -0.9, 0.9}, {1e-8, 1, 1, 1e-8}, 0.9, 2);
}

TEST(deflation, takes_out_what_is_negligible_in_ascending_order)
{
    numerical::aligned_vector<double> d{0.3, 0.7, 0.1, 0.9};
    numerical::aligned_vector<double> z{0.5, 1e-17, 0.5, 0.7};
    std::vector<unsigned int> types{1, 1, 2, 2};
    const auto [partition, rotations] = deflate(d, z, 1.0, types);
    EXPECT_EQ(partition.active, (std::vector<std::size_t>{2, 0, 3}));
    EXPECT_EQ(partition.deflated, std::vector<std::size_t>{1});
    EXPECT_TRUE(rotations.empty());
    EXPECT_EQ(types, (std::vector<unsigned int>{1, 1, 2, 2}));
}

TEST(deflation, of_equal_poles_rotates_the_weight_to_the_later_one)
{
    numerical::aligned_vector<double> d{0.5, 0.5};
    numerical::aligned_vector<double> z{0.6, 0.8};
    std::vector<unsigned int> types{1, 2};
    const auto [partition, rotations] = deflate(d, z, 1.0, types);
    EXPECT_EQ(partition.active, std::vector<std::size_t>{1});
    EXPECT_EQ(partition.deflated, std::vector<std::size_t>{0});
    ASSERT_EQ(rotations.size(), 1U);
    EXPECT_EQ(rotations[0].first, 0U);
    EXPECT_EQ(rotations[0].second, 1U);
    EXPECT_DOUBLE_EQ(rotations[0].c, 0.8);
    EXPECT_DOUBLE_EQ(rotations[0].s, -0.6);
    EXPECT_EQ(z[0], 0.0);
    EXPECT_DOUBLE_EQ(z[1], 1.0);
    EXPECT_EQ(types, (std::vector<unsigned int>{3, 3})); // both reach into both halves
}

TEST(deflation, without_weight_leaves_nothing_to_solve)
{
    numerical::aligned_vector<double> d{0.5, 0.6};
    numerical::aligned_vector<double> z{0.6, 0.8};
    std::vector<unsigned int> types{1, 2};
    EXPECT_TRUE(deflate(d, z, 0.0, types).partition.active.empty());
}

TEST(merge_columns, multiplies_by_groups_and_puts_deflated_columns_in_between)
{
    // Columns 0 and 2 are active, 1 and 3 deflated; the upper two rows hold type 1, the lower
    // ones 2.
    numerical::aligned_vector<double> q{1, 2, 0, 0, 3, 4, 0, 0, 0, 0, 5, 6, 0, 0, 7, 8};
    const merge_partition partition{{0, 2}, {3, 1}};
    const std::vector<unsigned int> types{1, 1, 2, 2};
    const std::vector<std::size_t> order{3, 0, 2, 1}; // column 1, new 0, column 3, new 1
    const row_group groups[] = {{0, 2, 1}, {2, 2, 2}};
    const double small[] = {10, 20, 30, 40};
    merge_workspace workspace;
    merge_columns(
        {q.data(), 4, 4, 4}, {groups, partition, types, order},
        [&](std::size_t p, double* row) { std::copy_n(small + 2 * p, 2, row); }, workspace);
    EXPECT_EQ(q, (numerical::aligned_vector<double>{2, 10, 0, 20, 4, 30, 0, 60, 0, 150, 6, 200, 0,
                                                    210, 8, 280}));
}

// On a thread of its own, which keeps no memory yet.
template <class F>
void on_new_thread(const F& body)
{
    std::thread(body).join();
}

TEST(workspace_buffer, grows_and_keeps_what_it_has)
{
    on_new_thread([] {
        workspace_buffer buffer;
        double* const first = workspace_of(buffer, 10);
        first[3] = 5;
        EXPECT_EQ(workspace_of(buffer, 4), first);
        EXPECT_EQ(first[3], 5);
        EXPECT_EQ(buffer.capacity, 10U);
        EXPECT_NE(workspace_of(buffer, 100000), nullptr);
        EXPECT_EQ(buffer.capacity, 100000U); // not rounded up
    });
}

TEST(workspace_buffer, leaves_its_memory_to_the_next_one)
{
    on_new_thread([] {
        const double* small = nullptr;
        const double* large = nullptr;
        {
            workspace_buffer first;
            workspace_buffer second;
            small = workspace_of(first, 1000);
            large = workspace_of(second, 2000);
            EXPECT_EQ(kept_workspace_bytes(), 0U);
        }
        EXPECT_EQ(kept_workspace_bytes(), 3000 * sizeof(double));
        workspace_buffer first;
        workspace_buffer second;
        EXPECT_EQ(workspace_of(first, 10), large);
        EXPECT_EQ(first.capacity, 2000U);
        EXPECT_EQ(workspace_of(second, 1000), small);
        EXPECT_EQ(kept_workspace_bytes(), 0U);
    });
}

TEST(workspace_buffer, outgrows_a_kept_block)
{
    on_new_thread([] {
        {
            workspace_buffer first;
            workspace_of(first, 1000);
        }
        workspace_buffer first;
        workspace_of(first, 1001);
        EXPECT_EQ(first.capacity, 1001U);
        EXPECT_EQ(kept_workspace_bytes(), 1000 * sizeof(double));
    });
}

TEST(workspace_buffer, memory_of_at_most_32_mebibytes_is_kept_the_largest_first)
{
    static constexpr std::size_t most = (std::size_t{32} << 20) / sizeof(double);
    on_new_thread([] {
        {
            workspace_buffer beyond;
            workspace_of(beyond, most + 1);
        }
        EXPECT_EQ(kept_workspace_bytes(), 0U);
        {
            workspace_buffer small;
            workspace_of(small, 1);
            workspace_buffer half;
            workspace_of(half, most / 2);
            workspace_buffer rest;
            workspace_of(rest, most / 2);
        }
        EXPECT_EQ(kept_workspace_bytes(), most * sizeof(double));
        {
            workspace_buffer whole;
            workspace_of(whole, most);
        }
        EXPECT_EQ(kept_workspace_bytes(), most * sizeof(double));
        workspace_buffer whole;
        workspace_of(whole, 1);
        EXPECT_EQ(whole.capacity, most);
    });
}

} // namespace
