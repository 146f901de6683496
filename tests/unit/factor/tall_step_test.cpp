#include "numerical/factor/tall_step.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/tall_panel.hpp"
#include "numerical/scalar.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <algorithm>
#include <complex>
#include <gtest/gtest.h>

namespace {

using complex = std::complex<double>;
using numerical::matrix;
namespace detail = numerical::detail;
using detail::block_shape;
using detail::block_view;

constexpr double ratio_limit = 8;

template <class T>
class tall_step : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(tall_step, element_types);

template <class T>
matrix<T> upper_triangle(matrix<T> a)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        std::fill_n(a.data.begin() + std::ptrdiff_t(i * a.cols), std::min(i, a.cols), T(0));
    return a;
}

template <class T>
block_view<T> view_of(matrix<T>& a)
{
    return {a.data.data(), a.rows, a.cols};
}

// One above the other.
template <class T>
matrix<T> stacked(const matrix<T>& above, const matrix<T>& below)
{
    numerical::aligned_vector<T> all(above.data);
    all.insert(all.end(), below.data.begin(), below.data.end());
    return {above.rows + below.rows, above.cols, std::move(all)};
}

template <class T>
matrix<T> zeros(std::size_t rows, std::size_t cols)
{
    return {rows, cols, numerical::aligned_vector<T>(rows * cols)};
}

// A block below a triangle turns into [ R ; 0 ], and Q's columns give both back.
template <class T>
void expect_joined(const matrix<T>& before, const matrix<T>& block, block_shape shape)
{
    SCOPED_TRACE(testing::Message() << block.rows << 'x' << block.cols);
    const std::size_t n = block.cols;
    matrix<T> r = before;
    matrix<T> vectors = block;
    detail::tall_step<T> step(view_of(vectors), shape);
    step.factorize(view_of(r));
    matrix<T> c = before;
    matrix<T> d = block;
    step.apply_adjoint(view_of(c), view_of(d));
    EXPECT_LT(test::difference_ratio(stacked(r, zeros<T>(block.rows, n)), stacked(c, d)),
              ratio_limit);
    step.apply(view_of(c), view_of(d));
    EXPECT_LT(test::difference_ratio(stacked(before, block), stacked(c, d)), ratio_limit);

    matrix<T> top = zeros<T>(n, n);
    for (std::size_t i = 0; i < n; ++i)
        top.data[i * n + i] = 1;
    step.form(view_of(top));
    const matrix<T> q = stacked(top, vectors);
    EXPECT_LT(test::orthogonality_ratio(q), ratio_limit);
    EXPECT_LT(test::probed_product_ratio(stacked(before, block), q, r), ratio_limit);
}

constexpr std::size_t widths[] = {1, 2, 8, 15, 16, 17, 31, 32, 33, 48, 49, 65};

TYPED_TEST(tall_step, joins_a_block_to_a_triangle)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : widths) {
            const auto before = upper_triangle(test::random_matrix<TypeParam>(n, n, 1));
            for (const std::size_t rows : {std::size_t{1}, n, 2 * n + 3})
                expect_joined(before, test::random_matrix<TypeParam>(rows, n, 2),
                              block_shape::full);
        }
    }
}

TYPED_TEST(tall_step, joins_two_triangles)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : widths) {
            const auto a = upper_triangle(test::random_matrix<TypeParam>(n, n, 1));
            const auto b = upper_triangle(test::random_matrix<TypeParam>(n, n, 2));
            expect_joined(a, b, block_shape::triangle);
        }
    }
}

TYPED_TEST(tall_step, begins_with_a_block_alone)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : widths)
            for (const std::size_t rows : {n, n + 1, 3 * n}) {
                const auto block = test::random_matrix<TypeParam>(rows, n, 1);
                auto vectors = block;
                auto r = zeros<TypeParam>(n, n);
                detail::tall_step<TypeParam> step(view_of(vectors), block_shape::first);
                step.factorize(view_of(r));
                auto top = zeros<TypeParam>(n, n);
                for (std::size_t i = 0; i < n; ++i)
                    top.data[i * n + i] = 1;
                step.form(view_of(top));
                EXPECT_LT(test::orthogonality_ratio(vectors), ratio_limit);
                EXPECT_LT(test::probed_product_ratio(block, vectors, r), ratio_limit);
            }
    }
}

// The elements below the triangle are another's.
TYPED_TEST(tall_step, panel_reads_and_writes_the_upper_triangle_alone)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t width : {1u, 5u, 16u, 31u, 32u}) {
            const TypeParam guard = -7;
            auto r = test::random_matrix<TypeParam>(width, width, 1);
            for (std::size_t i = 0; i < width; ++i)
                std::fill_n(r.data.begin() + std::ptrdiff_t(i * width), i, guard);
            auto below = test::random_matrix<TypeParam>(40, width, 2);
            auto factor = zeros<TypeParam>(width, width);
            numerical::aligned_vector<TypeParam> tops(width);
            detail::factor_tall_panel<TypeParam>(
                {view_of(r), view_of(below), tops.data(), view_of(factor)});
            for (std::size_t i = 0; i < width; ++i)
                for (std::size_t j = 0; j < i; ++j)
                    ASSERT_EQ(r.data[i * width + j], guard);
        }
    }
}

} // namespace
