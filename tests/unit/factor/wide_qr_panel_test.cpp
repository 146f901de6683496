#include "numerical/factor/wide_qr_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/scalar.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <algorithm>
#include <complex>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace {

using complex = std::complex<double>;
using numerical::matrix;
namespace detail = numerical::detail;

constexpr double ratio_limit = 8;

template <class T>
class wide_qr_panel : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(wide_qr_panel, element_types);

template <class T>
detail::reflector_block<T> factor(matrix<T>& panel)
{
    return detail::factor_wide_qr_panel<T>({panel.data.data(), panel.rows, panel.cols}, 0);
}

// R, with zeros below it.
template <class T>
matrix<T> upper_part(matrix<T> a)
{
    for (std::size_t i = 1; i < a.rows; ++i)
        std::fill_n(a.data.begin() + std::ptrdiff_t(i * a.cols), std::min(i, a.cols), T(0));
    return a;
}

template <class T>
matrix<T> identity(std::size_t n)
{
    matrix<T> a(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] = 1;
    return a;
}

// A column that is zero below the diagonal leaves a row and a column of zeros in T.
template <class T>
matrix<T> with_column_kept(matrix<T> a, std::size_t column)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j <= column; ++j)
            if (i > j && (j == column || i >= column))
                a.data[i * a.cols + j] = T(0);
    return a;
}

template <class T>
void expect_panel(const matrix<T>& a)
{
    SCOPED_TRACE(testing::Message() << a.rows << 'x' << a.cols);
    matrix<T> panel = a;
    const auto block = factor(panel);
    EXPECT_EQ(block.count, a.cols);
    matrix<T> reflected = a;
    detail::apply_reflector_block<detail::block_operator::adjoint>(block, reflected.data, a.cols, 0,
                                                                   a.cols);
    EXPECT_LT(test::difference_ratio(upper_part(panel), reflected), ratio_limit);
    matrix<T> q = identity<T>(a.rows);
    detail::apply_reflector_block<detail::block_operator::direct>(block, q.data, a.rows, 0, a.rows);
    EXPECT_LT(test::orthogonality_ratio(q), ratio_limit);
}

TYPED_TEST(wide_qr_panel, is_one_block_of_reflectors)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t width :
             {1u, 15u, 16u, 17u, 31u, 32u, 33u, 47u, 48u, 49u, 64u, 65u, 95u, 96u, 97u, 128u})
            for (const std::size_t rows : {width, width + 1, std::size_t{150}})
                expect_panel(test::random_matrix<TypeParam>(rows, width, unsigned(rows)));
        expect_panel(test::low_rank_matrix<TypeParam>(150, 96, 40, 1));
        expect_panel(test::graded_matrix<TypeParam>(150, 96, 12, 2));
        for (const std::size_t kept : {0u, 1u, 15u, 16u, 17u, 31u, 32u, 33u, 64u, 95u})
            expect_panel(with_column_kept(test::random_matrix<TypeParam>(150, 96, 3), kept));
    }
}

TYPED_TEST(wide_qr_panel, leaves_no_reflector_for_zero_columns)
{
    matrix<TypeParam> panel(140, 96, numerical::aligned_vector<TypeParam>(140 * 96));
    const auto block = factor(panel);
    EXPECT_TRUE(std::all_of(block.vectors.begin(), block.vectors.end(),
                            [](const TypeParam& x) { return x == TypeParam(0); }));
    EXPECT_TRUE(std::all_of(block.factor.begin(), block.factor.end(),
                            [](const TypeParam& x) { return x == TypeParam(0); }));
}

TYPED_TEST(wide_qr_panel, makes_the_blocks_of_large_matrices)
{
    using counts = std::vector<std::size_t>;
    const auto widths = [](std::size_t order) {
        const auto a = test::random_vector<TypeParam>(order * order, 1);
        counts found;
        for (const auto& block :
             detail::householder_reflect(a, order, order, detail::reflector_blocking::fastest)
                 .blocks)
            found.push_back(block.count);
        return found;
    };
    constexpr std::size_t least = detail::least_widely_blocked;
    EXPECT_EQ(widths(33)[0], std::min<std::size_t>(detail::block_columns<TypeParam>, 33));
    EXPECT_EQ(widths(least - 1)[0], detail::block_columns<TypeParam>);
    const counts found = widths(least);
    ASSERT_EQ(found.size(), (least + detail::wide_block_columns - 1) / detail::wide_block_columns);
    EXPECT_EQ(found.front(), detail::wide_block_columns);
    EXPECT_EQ(found.back(), least % detail::wide_block_columns);
}

// A matrix of order at least 33 by the fastest blocks.
template <class T>
void expect_factors(const matrix<T>& a)
{
    SCOPED_TRACE(testing::Message() << a.rows << 'x' << a.cols);
    const std::size_t k = std::min(a.rows, a.cols);
    const auto on = [&](std::size_t threads) {
        const test::thread_limit some(threads);
        return detail::householder_qr(a.data, a.rows, a.cols, detail::basis_extent::thin,
                                      detail::reflector_blocking::fastest);
    };
    const auto serial = on(1);
    const matrix<T> q(a.rows, k, serial.q);
    EXPECT_LT(test::probed_product_ratio(a, q, {k, a.cols, serial.r}), ratio_limit);
    EXPECT_LT(test::probed_orthogonality_ratio(q), ratio_limit);
    for (const std::size_t threads : test::thread_counts) {
        const auto parallel = on(threads);
        EXPECT_EQ(parallel.q, serial.q) << "on " << threads;
        EXPECT_EQ(parallel.r, serial.r) << "on " << threads;
    }
}

TYPED_TEST(wide_qr_panel, gives_matrices_back_on_any_number_of_threads)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t order : {33u, 48u, 49u, 97u, 150u}) {
            expect_factors(test::random_matrix<TypeParam>(order, order, 1));
            expect_factors(test::random_matrix<TypeParam>(order + 9, order, 2));
            expect_factors(test::random_matrix<TypeParam>(order, order + 9, 3));
            expect_factors(with_column_kept(test::random_matrix<TypeParam>(order, order, 4), 0));
            expect_factors(test::graded_matrix<TypeParam>(order, order, 12, 5));
            expect_factors(identity<TypeParam>(order));
        }
    }
}

TYPED_TEST(wide_qr_panel, gives_large_matrices_back_on_any_number_of_threads)
{
    constexpr std::size_t least = detail::least_widely_blocked;
    for (const std::size_t order : {least - 1, least, least + 1})
        expect_factors(test::random_matrix<TypeParam>(order, order, 1));
}

TYPED_TEST(wide_qr_panel, takes_elements_up_to_its_limit)
{
    for (const double scale : {0x1p900, 0x1p-1000, 0x1p-1070}) {
        auto a = test::random_matrix<TypeParam>(97, 97, 1);
        const auto unit = a;
        const double largest = detail::largest_modulus(a.data.data(), a.data.size());
        for (TypeParam& element : a.data)
            element *= scale / largest;
        const auto [q, r] = detail::householder_qr(a.data, 97, 97, detail::basis_extent::thin,
                                                   detail::reflector_blocking::fastest);
        EXPECT_LT(test::probed_orthogonality_ratio(matrix<TypeParam>(97, 97, q)), ratio_limit);
        if (scale < 0x1p-1022) // R has lost its digits
            continue;
        auto scaled_r = r;
        for (TypeParam& element : scaled_r)
            element *= largest / scale;
        EXPECT_LT(test::probed_product_ratio(unit, {97, 97, q}, {97, 97, scaled_r}), ratio_limit);
    }
}

} // namespace
