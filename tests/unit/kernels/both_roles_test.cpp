#include "numerical/gemm/kernels/both_roles.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "paths.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using namespace test;

template <class T>
class both_roles : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(both_roles, element_types);

template <class T>
void expect_products(int path, std::size_t count, std::size_t n)
{
    const std::size_t stride = n + 3;
    guarded_numbers<T> rows(count * stride, 1);
    spoil_beyond(rows, count, stride, n);
    guarded_numbers<T> x(n, 2);
    guarded_numbers<T> w(count, 3);
    guarded_numbers<T> u(n, 4);
    guarded_numbers<T> y(count, 5);
    numerical::aligned_vector<T> want_y(count);
    auto want_u = u.values();
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            want_y[i] += rows.data()[i * stride + j] * x.data()[j];
            want_u[j] += w.data()[i] * rows.data()[i * stride + j];
        }
    both_roles_on<T>(path, {.rows = rows.data(),
                            .stride = stride,
                            .count = count,
                            .n = n,
                            .x = x.data(),
                            .y = y.data(),
                            .w = w.data(),
                            .u = u.data()});
    const std::string where =
        std::to_string(count) + " rows of " + std::to_string(n) + ", path " + std::to_string(path);
    EXPECT_EQ(y.values(), want_y) << where;
    EXPECT_EQ(u.values(), want_u) << where;
    EXPECT_TRUE(y.intact() && u.intact()) << where;
}

TYPED_TEST(both_roles, are_exact_on_small_integers_and_read_nothing_else)
{
    for (const int path : available_paths())
        for (std::size_t count = 0; count <= 9; ++count)
            for (std::size_t n = 0; n <= 35; ++n)
                expect_products<TypeParam>(path, count, n);
}

TEST(real_both_roles, add_rows_in_order_by_fused_operations)
{
    constexpr std::size_t count = 7;
    constexpr std::size_t n = 21;
    auto rows = random_vector<double>(count * n, 1);
    const auto x = random_vector<double>(n, 2);
    const auto w = random_vector<double>(count, 3);
    auto want = random_vector<double>(n, 4);
    const auto before = want;
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < n; ++j)
            want[j] = std::fma(w[i], rows[i * n + j], want[j]);
    for (const int path : available_paths()) {
        if (path == portable_path)
            continue;
        auto u = before;
        numerical::aligned_vector<double> y(count);
        both_roles_on<double>(path, {.rows = rows.data(),
                                     .stride = n,
                                     .count = count,
                                     .n = n,
                                     .x = x.data(),
                                     .y = y.data(),
                                     .w = w.data(),
                                     .u = u.data()});
        expect_same_bits(u, want, label(path, n));
    }
}

} // namespace
