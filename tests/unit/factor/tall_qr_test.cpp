#include "numerical/factor/tall_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/fastest_qr.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/scalar.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "qr_factors.hpp"
#include "ratios.hpp"
#include "sample.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
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
class tall_qr : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(tall_qr, element_types);

template <class T>
struct factors
{
    matrix<T> q;
    matrix<T> r;
};

// By the tree of blocks, whatever the shape.
template <class T>
factors<T> tree_of(const matrix<T>& a)
{
    detail::tall_qr<T> tree(a.data, a.rows, a.cols);
    numerical::aligned_vector<T> r = tree.r;
    const numerical::aligned_vector<T> phases = detail::turn_diagonal_real(r, a.cols, a.cols);
    return {{a.rows, a.cols, std::move(tree).form(phases)}, {a.cols, a.cols, std::move(r)}};
}

template <class T>
factors<T> fastest_of(const matrix<T>& a)
{
    auto thin = detail::fastest_qr(a.data, a.rows, a.cols);
    return {{a.rows, a.cols, std::move(thin.q)}, {a.cols, a.cols, std::move(thin.r)}};
}

template <class T>
void expect_factors(const matrix<T>& a, const factors<T>& found, const std::string& what)
{
    SCOPED_TRACE(testing::Message() << what << ' ' << a.rows << 'x' << a.cols);
    const auto& [q, r] = found;
    EXPECT_LT(test::probed_product_ratio(a, q, r), ratio_limit);
    EXPECT_LT(test::probed_orthogonality_ratio(q), ratio_limit);
    for (std::size_t i = 0; i < r.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            ASSERT_EQ(r.data[i * r.cols + j], T(0));
        const T diagonal = r.data[i * r.cols + i];
        ASSERT_GE(detail::real_part(diagonal), 0);
        ASSERT_EQ(diagonal, T(detail::real_part(diagonal)));
    }
}

template <class T>
matrix<T> with_zero_columns(matrix<T> a, std::initializer_list<std::size_t> columns)
{
    for (const std::size_t column : columns)
        for (std::size_t i = 0; i < a.rows && column < a.cols; ++i)
            a.data[i * a.cols + column] = 0;
    return a;
}

// Columns of sizes that differ by 2^20 from one to the next, round after round.
template <class T>
matrix<T> with_columns_of_all_sizes(matrix<T> a)
{
    for (std::size_t i = 0; i < a.data.size(); ++i)
        a.data[i] *= std::ldexp(1.0, int(i % a.cols % 9) * 20 - 80);
    return a;
}

template <class T>
std::vector<std::pair<std::string, matrix<T>>> hard_matrices(std::size_t rows, std::size_t cols)
{
    const auto a = test::random_matrix<T>(rows, cols, unsigned(rows + cols));
    return {{"random", a},
            {"graded", test::graded_matrix<T>(rows, cols, 12, 2)},
            {"rank-deficient", test::low_rank_matrix<T>(rows, cols, (cols + 2) / 3, 3)},
            {"tiny", test::scaled(a, 1e-300)},
            {"subnormal", test::scaled(a, 1e-310)},
            {"large", test::scaled(a, 1e200)},
            {"columns of all sizes in", with_columns_of_all_sizes(a)},
            {"zero columns in", with_zero_columns(a, {0, 3, cols / 2, cols - 1})}};
}

TYPED_TEST(tall_qr, gives_back_hard_matrices_of_every_width)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1u, 2u, 8u, 15u, 16u, 17u, 31u, 32u, 33u, 47u, 48u, 49u, 65u})
            for (const std::size_t rows : {n, n + 1, 4 * n + 3, 16 * n + 1})
                for (const auto& [what, hard] : test::sampled(hard_matrices<TypeParam>(rows, n), n))
                    expect_factors(hard, tree_of(hard), what);
    }
}

// One block, two, a chain, several chains, and more of them for very many rows.
TYPED_TEST(tall_qr, gives_back_matrices_of_several_blocks_and_chains)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] : {std::pair{767u, 60u},
                                         {1535u, 70u},
                                         {1536u, 70u},
                                         {1537u, 70u},
                                         {799u, 100u},
                                         {800u, 100u},
                                         {801u, 100u},
                                         {2400u, 100u},
                                         {6145u, 33u},
                                         {50000u, 9u}})
            for (const auto& [what, hard] :
                 test::sampled(hard_matrices<TypeParam>(rows, cols), rows))
                expect_factors(hard, tree_of(hard), what);
    }
}

// A block adds some ε, however long the columns are, and a chain has at most 16 blocks.
TYPED_TEST(tall_qr, of_very_long_columns_adds_some_eps_for_each_block_of_a_chain)
{
    test::expect_factors_of_long_columns<TypeParam>(tree_of<TypeParam>, 3 * 16);
}

TYPED_TEST(tall_qr, has_the_same_bits_on_any_number_of_threads)
{
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : {std::pair{2000u, 100u}, {3000u, 33u}, {20000u, 8u}}) {
            const test::path_limit limit(path);
            test::expect_same_bits_on_any_number_of_threads(
                test::random_matrix<TypeParam>(rows, cols, 1), tree_of<TypeParam>);
        }
}

TYPED_TEST(tall_qr, of_zero_is_the_identity_times_zero)
{
    const std::size_t rows = 2500;
    const std::size_t cols = 40;
    const auto [q, r] =
        tree_of(matrix<TypeParam>(rows, cols, numerical::aligned_vector<TypeParam>(rows * cols)));
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j)
            ASSERT_EQ(q.data[i * cols + j], TypeParam(i == j));
    EXPECT_TRUE(std::all_of(r.data.begin(), r.data.end(),
                            [](const TypeParam& x) { return x == TypeParam(0); }));
}

TYPED_TEST(tall_qr, applies_q_and_its_adjoint_to_any_columns)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const auto& [rows, cols] : {std::pair{70u, 70u}, {900u, 33u}, {3000u, 40u}}) {
            const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
            const detail::tall_qr<TypeParam> tree(a.data, rows, cols);
            matrix<TypeParam> reflected = a;
            tree.apply_adjoint({reflected.data.data(), rows, cols});
            matrix<TypeParam> r(rows, cols, numerical::aligned_vector<TypeParam>(rows * cols));
            std::copy(tree.r.begin(), tree.r.end(), r.data.begin());
            EXPECT_LT(test::difference_ratio(r, reflected), ratio_limit);
            for (const std::size_t columns : {1u, 2u, 7u, 9u}) {
                const auto b = test::random_matrix<TypeParam>(rows, columns, unsigned(columns));
                matrix<TypeParam> there_and_back = b;
                tree.apply_adjoint({there_and_back.data.data(), rows, columns});
                tree.apply({there_and_back.data.data(), rows, columns});
                EXPECT_LT(test::difference_ratio(b, there_and_back), ratio_limit);
            }
        }
    }
}

TYPED_TEST(tall_qr, is_chosen_by_shape)
{
    constexpr std::size_t least = detail::least_tall_elements<TypeParam>;
    const auto is_tall = [](std::size_t rows, std::size_t columns) {
        return detail::is_tall<TypeParam>(rows, columns);
    };
    EXPECT_FALSE(is_tall(least, detail::least_tall_columns - 1));
    EXPECT_TRUE(is_tall(least, detail::least_tall_columns));
    EXPECT_TRUE(is_tall(least, detail::most_tall_columns));
    EXPECT_FALSE(is_tall(8 * least, detail::most_tall_columns + 1));
    EXPECT_FALSE(is_tall(8 * 320 - 1, 320));
    EXPECT_TRUE(is_tall(8 * 320, 320));
    EXPECT_FALSE(is_tall(least / 8 - 1, 8));
    EXPECT_TRUE(is_tall(least / 8, 8));
}

TYPED_TEST(tall_qr, meets_the_other_method_at_each_crossover)
{
    const std::size_t shortest = detail::least_tall_elements<TypeParam> / 8;
    for (const auto& [rows, cols] : {std::pair<std::size_t, std::size_t>{shortest - 1, 8},
                                     {shortest, 8},
                                     {shortest + 1, 8},
                                     {shortest * 2, 7},
                                     {shortest * 2, 9},
                                     {2559, 320},
                                     {2560, 320},
                                     {2568, 321}}) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
        expect_factors(a, fastest_of(a), "random");
    }
}

// Elements whose dots with a reflector would overflow.
TYPED_TEST(tall_qr, leaves_elements_near_the_overflow_limit_to_the_other_method)
{
    const std::size_t rows = detail::least_tall_elements<TypeParam> / 8;
    const auto a = test::scaled(test::random_matrix<TypeParam>(rows, 8, 1), greatest / 1024);
    expect_factors(a, fastest_of(a), "nearly overflowing");
    EXPECT_EQ(fastest_of(a).r.data, (detail::householder_qr(a.data, rows, 8).r));
}

TYPED_TEST(tall_qr, is_not_needed_for_the_triangle_alone)
{
    const std::size_t tall_rows = detail::least_tall_elements<TypeParam> / 8;
    for (const auto& [rows, cols] :
         {std::pair<std::size_t, std::size_t>{5, 0}, {1, 1}, {49, 49}, {49, 60}, {tall_rows, 8}}) {
        auto a = test::random_matrix<TypeParam>(rows, cols, 1);
        const auto triangle = [&] { return detail::fastest_triangle(a.data, a.rows, a.cols); };
        const auto beside_q = [&] { return detail::fastest_qr(a.data, a.rows, a.cols).r; };
        EXPECT_EQ(triangle(), beside_q()) << rows << 'x' << cols;
        a = test::scaled(a, greatest / 1024);
        EXPECT_EQ(triangle(), beside_q()) << "huge " << rows << 'x' << cols;
    }
}

} // namespace
