#include "numerical/factor/lu.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <algorithm>
#include <complex>
#include <gtest/gtest.h>
#include <utility>

namespace {

using numerical::factorize_lu;
using numerical::matrix;

template <class T>
class rectangular_lu : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(rectangular_lu, element_types);

struct extents
{
    std::size_t rows;
    std::size_t cols;
};

// About the leaves, blocks and tiles of the method, and with more columns than are looked ahead.
constexpr extents shapes[] = {{1, 1},    {1, 9},     {9, 1},     {33, 32},  {32, 33},  {70, 64},
                              {64, 129}, {257, 300}, {300, 257}, {400, 40}, {40, 400}, {300, 1400}};

template <class T>
struct factors
{
    matrix<T> packed;
    numerical::lu_pivots pivots;
};

template <class T>
factors<T> factors_of(matrix<T> a)
{
    auto pivots = factorize_lu<T>({a.data.data(), a.rows, a.cols, a.cols});
    return {std::move(a), std::move(pivots)};
}

// L of m × k and U of k × n from the packed array.
template <class T>
std::pair<matrix<T>, matrix<T>> unpacked(const matrix<T>& a)
{
    const std::size_t k = std::min(a.rows, a.cols);
    matrix<T> l(a.rows, k, numerical::aligned_vector<T>(a.rows * k));
    matrix<T> u(k, a.cols, numerical::aligned_vector<T>(k * a.cols));
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            (i > j ? l.data[i * k + j] : u.data[i * a.cols + j]) = a.data[i * a.cols + j];
    for (std::size_t i = 0; i < k; ++i)
        l.data[i * k + i] = T(1);
    return {std::move(l), std::move(u)};
}

template <class T>
matrix<T> exchanged(matrix<T> a, const std::vector<std::size_t>& exchanges)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        if (exchanges[i] != i)
            std::swap_ranges(a.data.data() + i * a.cols, a.data.data() + (i + 1) * a.cols,
                             a.data.data() + exchanges[i] * a.cols);
    return a;
}

// ‖P·A - L·U‖ / (max(m, n)·‖L‖·‖U‖·ε)
TYPED_TEST(rectangular_lu, gives_back_matrices_of_every_shape_on_every_path)
{
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : shapes) {
            const test::path_limit limit(path);
            const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
            const auto [packed, pivots] = factors_of(a);
            const auto [l, u] = unpacked(packed);
            auto rest = test::reference_product(l, u);
            const auto wanted = exchanged(a, pivots.exchanges);
            for (std::size_t i = 0; i < rest.data.size(); ++i)
                rest.data[i] -= wanted.data[i];
            const auto unit =
                double(std::max(rows, cols)) * test::norm_inf(l) * test::norm_inf(u) * test::eps;
            EXPECT_LT(double(test::norm_inf(rest) / unit), 1) << rows << " x " << cols;
            EXPECT_FALSE(pivots.singular);
            for (const TypeParam& x : l.data)
                ASSERT_LE(std::abs(x), 1 + 4 * test::eps);
        }
}

TYPED_TEST(rectangular_lu, leaves_rows_beyond_the_steps_without_exchange_of_their_own)
{
    const auto [packed, pivots] = factors_of(test::random_matrix<TypeParam>(50, 20, 3));
    ASSERT_EQ(pivots.exchanges.size(), 50u);
    for (std::size_t i = 20; i < 50; ++i)
        EXPECT_EQ(pivots.exchanges[i], i);
}

TYPED_TEST(rectangular_lu, tells_of_a_column_without_pivot)
{
    for (const auto& [rows, cols] : {extents{40, 7}, {7, 40}}) {
        auto a = test::random_matrix<TypeParam>(rows, cols, 2);
        for (std::size_t i = 0; i < rows; ++i)
            a.data[i * cols + 3] = 0;
        EXPECT_TRUE(factors_of(a).pivots.singular);
    }
}

TYPED_TEST(rectangular_lu, has_the_same_bits_for_every_number_of_threads)
{
    // Below the last whole block of 193, 198, 321 and 326 rows are 1 or 6 rows, so few that the
    // width of a product decides how it is summed.
    for (const auto& [rows, cols] : {extents{900, 300},
                                     {300, 900},
                                     {200, 1500},
                                     {193, 322},
                                     {198, 330},
                                     {321, 333},
                                     {326, 392}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 5);
        const auto serial = [&] {
            const test::thread_limit one(1);
            return factors_of(a);
        }();
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit some(threads);
            const auto found = factors_of(a);
            EXPECT_EQ(found.packed.data, serial.packed.data) << rows << " on " << threads;
            EXPECT_EQ(found.pivots.exchanges, serial.pivots.exchanges);
        }
    }
}

} // namespace
