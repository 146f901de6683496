#include "numerical/factor/qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "qr_factors.hpp"
#include "ratios.hpp"
#include "reference.hpp"
#include "sample.hpp"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using complex = std::complex<double>;
using numerical::matrix;
namespace detail = numerical::detail;

constexpr double greatest = std::numeric_limits<double>::max();
constexpr double ratio_limit = 8;

template <class T>
class qr : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(qr, element_types);

template <class T>
struct factors
{
    matrix<T> q;
    matrix<T> r;
};

template <class T>
factors<T> qr_of(const matrix<T>& a)
{
    const std::size_t k = std::min(a.rows, a.cols);
    auto thin = detail::householder_qr(a.data, a.rows, a.cols);
    return {{a.rows, k, std::move(thin.q)}, {k, a.cols, std::move(thin.r)}};
}

template <class T>
void expect_upper_with_real_diagonal(const matrix<T>& r)
{
    for (std::size_t i = 0; i < r.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            ASSERT_EQ(r.data[i * r.cols + j], T(0));
        const T diagonal = r.data[i * r.cols + i];
        ASSERT_GE(detail::real_part(diagonal), 0);
        ASSERT_EQ(diagonal, T(detail::real_part(diagonal)));
    }
}

template <class T>
void expect_factors(const matrix<T>& a, const std::string& what)
{
    SCOPED_TRACE(testing::Message() << what << ' ' << a.rows << 'x' << a.cols);
    const auto [q, r] = qr_of(a);
    if (std::max(a.rows, a.cols) < 64) {
        EXPECT_LT(test::difference_ratio(a, test::reference_product(q, r)), ratio_limit);
        EXPECT_LT(test::orthogonality_ratio(q), ratio_limit);
    } else {
        EXPECT_LT(test::probed_product_ratio(a, q, r), ratio_limit);
        EXPECT_LT(test::probed_orthogonality_ratio(q), ratio_limit);
    }
    expect_upper_with_real_diagonal(r);
}

template <class T>
matrix<T> with_zero_columns(matrix<T> a, std::initializer_list<std::size_t> columns)
{
    for (const std::size_t column : columns)
        for (std::size_t i = 0; i < a.rows && column < a.cols; ++i)
            a.data[i * a.cols + column] = 0;
    return a;
}

template <class T>
void expect_factors_of_hard_matrices(std::size_t rows, std::size_t cols)
{
    const auto a = test::random_matrix<T>(rows, cols, unsigned(rows + cols));
    const std::size_t rank = (std::min(rows, cols) + 2) / 3;
    const std::vector<std::pair<std::string, matrix<T>>> all{
        {"random", a},
        {"graded", test::graded_matrix<T>(rows, cols, 12, 2)},
        {"rank-deficient", test::low_rank_matrix<T>(rows, cols, rank, 3)},
        {"tiny", test::scaled(a, 1e-300)},
        {"subnormal", test::scaled(a, 1e-310)},
        {"huge", test::scaled(a, 1e300)},
        {"nearly overflowing", test::scaled(a, greatest / 64)},
        {"zero columns in", with_zero_columns(a, {0, 3, cols / 2, cols - 1})}};
    for (const auto& [what, hard] : test::sampled(all, rows))
        expect_factors(hard, what);
}

TYPED_TEST(qr, gives_back_hard_matrices_of_every_shape)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 65u}) {
            expect_factors_of_hard_matrices<TypeParam>(n, n);
            expect_factors_of_hard_matrices<TypeParam>(2 * n + 1, n);
            expect_factors_of_hard_matrices<TypeParam>(n, 2 * n + 1);
        }
        for (const std::size_t n : {127u, 128u, 129u})
            expect_factors_of_hard_matrices<TypeParam>(n, n);
    }
}

TYPED_TEST(qr, gives_back_large_matrices)
{
    for (const auto& [rows, cols] : {std::pair{255u, 255u},
                                     {256u, 256u},
                                     {257u, 257u},
                                     {300u, 300u},
                                     {513u, 513u},
                                     {1000u, 1000u},
                                     {1000u, 3u},
                                     {3000u, 200u},
                                     {3u, 1000u},
                                     {200u, 700u}})
        expect_factors(test::random_matrix<TypeParam>(rows, cols, rows), "random");
}

TYPED_TEST(qr, of_very_long_columns_is_as_accurate_as_of_short_ones)
{
    test::expect_factors_of_long_columns<TypeParam>(qr_of<TypeParam>, 20);
}

TYPED_TEST(qr, has_the_same_bits_on_any_number_of_threads)
{
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : {std::pair{300u, 300u}, {900u, 70u}, {70u, 900u}}) {
            const test::path_limit limit(path);
            test::expect_same_bits_on_any_number_of_threads(
                test::random_matrix<TypeParam>(rows, cols, 1), qr_of<TypeParam>);
        }
}

TYPED_TEST(qr, of_zero_is_the_identity_times_zero)
{
    for (const auto& [rows, cols] : {std::pair{1u, 1u}, {5u, 3u}, {3u, 5u}, {70u, 40u}}) {
        const auto [q, r] =
            qr_of(matrix<TypeParam>(rows, cols, numerical::aligned_vector<TypeParam>(rows * cols)));
        for (std::size_t i = 0; i < q.rows; ++i)
            for (std::size_t j = 0; j < q.cols; ++j)
                ASSERT_EQ(q.data[i * q.cols + j], TypeParam(i == j ? 1 : 0));
        EXPECT_EQ(r.data, numerical::aligned_vector<TypeParam>(r.data.size()));
    }
}

TYPED_TEST(qr, of_empty_matrices_is_empty)
{
    for (const auto& [rows, cols] : {std::pair{0u, 0u}, {4u, 0u}, {0u, 4u}}) {
        const auto [q, r] = qr_of(matrix<TypeParam>(rows, cols, {}));
        EXPECT_TRUE(q.data.empty());
        EXPECT_TRUE(r.data.empty());
    }
}

TYPED_TEST(qr, of_one_element_has_its_sign_in_q)
{
    const auto negative = qr_of(matrix<TypeParam>(1, 1, {-3.0}));
    EXPECT_EQ(negative.q.data, numerical::aligned_vector<TypeParam>{-1.0});
    EXPECT_EQ(negative.r.data, numerical::aligned_vector<TypeParam>{3.0});
    const auto zero = qr_of(matrix<TypeParam>(1, 1, {0.0}));
    EXPECT_EQ(zero.q.data, numerical::aligned_vector<TypeParam>{1.0});
    EXPECT_EQ(zero.r.data, numerical::aligned_vector<TypeParam>{0.0});
}

TEST(complex_qr, of_one_element_has_its_phase_in_q)
{
    const auto [q, r] = qr_of(matrix<complex>(1, 1, {complex(0, -3)}));
    EXPECT_EQ(q.data[0], complex(0, -1));
    EXPECT_EQ(r.data[0], complex(3));
}

TYPED_TEST(qr, of_a_subnormal_column_has_a_unit_vector)
{
    const double least = std::numeric_limits<double>::denorm_min();
    const auto [q, r] = qr_of(matrix<TypeParam>(2, 1, {3 * least, 4 * least}));
    EXPECT_NEAR(detail::real_part(q.data[0]), 0.6, 4 * test::eps);
    EXPECT_NEAR(detail::real_part(q.data[1]), 0.8, 4 * test::eps);
    EXPECT_NEAR(detail::real_part(r.data[0]) / least, 5, 1);
}

TYPED_TEST(qr, of_entries_near_the_overflow_limit_is_finite_where_r_is)
{
    const double x = 0.9 * greatest;
    const auto single = qr_of(matrix<TypeParam>(1, 1, {x}));
    EXPECT_EQ(single.q.data[0], TypeParam(1));
    EXPECT_EQ(single.r.data[0], TypeParam(x));

    const auto swapped = qr_of(matrix<TypeParam>(2, 2, {0.0, x, x, 0.0}));
    EXPECT_NEAR(std::abs(swapped.r.data[0]) / x, 1, 4 * test::eps);
    EXPECT_NEAR(std::abs(swapped.r.data[3]) / x, 1, 4 * test::eps);

    // The norm of the column is beyond the range; Q is not.
    const auto beyond = qr_of(matrix<TypeParam>(4, 1, {x, x, x, x}));
    for (const TypeParam& element : beyond.q.data)
        EXPECT_NEAR(detail::real_part(element), 0.5, 4 * test::eps);
    EXPECT_EQ(beyond.r.data[0], TypeParam(std::numeric_limits<double>::infinity()));
}

TYPED_TEST(qr, near_the_overflow_limit_is_that_of_the_scaled_matrix_in_every_bit)
{
    const auto a = test::random_matrix<TypeParam>(40, 36, 1);
    const auto plain = qr_of(test::scaled(a, 0x1p900));
    const auto huge = qr_of(test::scaled(a, 0x1p1020));
    EXPECT_EQ(huge.q.data, plain.q.data);
    EXPECT_EQ(huge.r.data, test::scaled(plain.r, 0x1p120).data);
}

// Columns scaled by powers of two give R's columns scaled alike, be one of them near the limit.
TYPED_TEST(qr, near_the_overflow_limit_keeps_the_digits_of_small_columns)
{
    constexpr std::size_t rows = 9, cols = 7;
    const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
    const auto plain = qr_of(a);
    const double factors[cols] = {0x1p1020, 1, 0x1p-970, 0x1p1015, 0x1p-960, 0x1p1000, 0x1p-400};
    auto mixed = a;
    auto expected = plain.r;
    for (std::size_t j = 0; j < cols; ++j) {
        for (std::size_t i = 0; i < rows; ++i)
            mixed.data[i * cols + j] *= factors[j];
        for (std::size_t i = 0; i < cols; ++i)
            expected.data[i * cols + j] *= factors[j];
    }
    const auto got = qr_of(mixed);
    for (std::size_t i = 0; i < rows * cols; ++i)
        EXPECT_LT(std::abs(got.q.data[i] - plain.q.data[i]), 1e-14) << i;
    for (std::size_t i = 0; i < cols * cols; ++i)
        EXPECT_LE(std::abs(got.r.data[i] - expected.data[i]), 1e-13 * factors[i % cols]) << i;
}

TYPED_TEST(qr, takes_panels_of_32_columns)
{
    const auto panels = [](std::size_t rows, std::size_t cols) {
        const auto a = test::random_vector<TypeParam>(rows * cols, 1);
        std::vector<std::size_t> counts;
        for (const auto& block : detail::householder_reflect(a, rows, cols).blocks)
            counts.push_back(block.count);
        return counts;
    };
    using counts = std::vector<std::size_t>;
    EXPECT_EQ(panels(40, 31), (counts{31}));
    EXPECT_EQ(panels(40, 32), (counts{32}));
    EXPECT_EQ(panels(40, 33), (counts{32, 1}));
    EXPECT_EQ(panels(33, 80), (counts{32, 1}));
    EXPECT_EQ(panels(70, 70), (counts{32, 32, 6}));
}

TYPED_TEST(qr, reflections_turn_the_matrix_into_r)
{
    for (const auto& [rows, cols] : {std::pair{90u, 70u}, {70u, 90u}, {33u, 33u}}) {
        auto a = test::random_matrix<TypeParam>(rows, cols, 1);
        const auto reflections = detail::householder_reflect(a.data, rows, cols);
        const std::size_t k = std::min(rows, cols);
        matrix<TypeParam> r(rows, cols, numerical::aligned_vector<TypeParam>(rows * cols));
        std::copy_n(reflections.r.begin(), k * cols, r.data.begin());
        for (const auto& block : reflections.blocks)
            detail::apply_reflector_block<detail::block_operator::adjoint>(block, a.data, cols, 0,
                                                                           cols);
        EXPECT_LT(test::difference_ratio(r, a), ratio_limit);
    }
}

TYPED_TEST(qr, panel_touches_its_own_columns_alone)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const std::size_t rows = 20, cols = 12, from = 4, to = 9;
    const auto inner = test::random_matrix<TypeParam>(rows, cols, 1);
    auto a = inner;
    const auto inside = [&](std::size_t i, std::size_t j) {
        return i >= from && j >= from && j < to;
    };
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j)
            if (!inside(i, j))
                a.data[i * cols + j] = nan;
    const detail::block_view<TypeParam> all{a.data.data(), rows, cols};
    const auto block = detail::factor_qr_panel(all.sub(from, rows, from, to), from);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j)
            ASSERT_NE(std::isnan(detail::real_part(a.data[i * cols + j])), inside(i, j));
    EXPECT_EQ(block.offset, from);
    EXPECT_EQ(block.rows, rows - from);
    EXPECT_EQ(block.count, to - from);
    for (std::size_t i = 0; i < block.rows; ++i)
        for (std::size_t j = 0; j < block.count; ++j)
            EXPECT_EQ(block.vectors[i * block.count + j] == TypeParam(0), i < j);
}

// At both sides of the height from which a reflector is applied late.
TYPED_TEST(qr, panel_leaves_no_reflector_for_a_zero_column)
{
    for (const std::size_t rows : {10u, 511u, 512u})
        for (const std::size_t zero : {0u, 1u, 3u}) {
            SCOPED_TRACE(testing::Message() << rows << " rows, column " << zero);
            auto a = with_zero_columns(test::random_matrix<TypeParam>(rows, 4, 1), {zero});
            const detail::block_view<TypeParam> all{a.data.data(), rows, 4};
            const auto block = detail::factor_qr_panel(all, 0);
            for (std::size_t j = 0; j < 4; ++j)
                EXPECT_EQ(block.factor[j * 4 + j], TypeParam(j == zero ? 0 : 2));
            for (std::size_t i = 0; i < rows; ++i)
                ASSERT_EQ(block.vectors[i * 4 + zero], TypeParam(0));
            for (std::size_t i = 0; i <= zero; ++i)
                EXPECT_EQ(a.data[i * 4 + zero], TypeParam(0));
        }
}

} // namespace
