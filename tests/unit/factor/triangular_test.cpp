#include "numerical/factor/triangular.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/vector_dispatch.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <cmath>
#include <gtest/gtest.h>

namespace {

using numerical::matrix;
using numerical::detail::block_view;
using numerical::detail::upper_inverse;

template <class T>
class triangular : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(triangular, element_types);

// About the edges of the kernels, of the tile and of two tiles, and with bands of two lengths.
const std::vector<std::size_t> orders{0,  1,  2,  3,   15,  16,  17,  31,  32, 33,
                                      63, 64, 65, 127, 128, 129, 256, 257, 400};

// An upper triangle of modest condition over NaN, which the inverse must not read.
template <class T>
matrix<T> upper_over_nan(std::size_t n, unsigned seed)
{
    auto r = test::random_matrix<T>(n, n, seed);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            r.data[i * n + j] = std::nan("");
        r.data[i * n + i] += r.data[i * n + i] * (2.0 + double(n) / 4);
    }
    return r;
}

template <class T>
matrix<T> upper_part(matrix<T> r)
{
    for (std::size_t i = 0; i < r.rows; ++i)
        for (std::size_t j = 0; j < i; ++j)
            r.data[i * r.cols + j] = T(0);
    return r;
}

// ‖I - R·X‖ / (‖R‖·‖X‖·n·ε), at most a small constant for back substitution by columns.
template <class T>
double inverse_ratio(const matrix<T>& r, const matrix<T>& x)
{
    auto residual = test::reference_product(r, x);
    for (std::size_t i = 0; i < r.rows; ++i)
        residual.data[i * r.rows + i] -= T(1);
    const long double scale = test::norm_inf(r) * test::norm_inf(x) * test::eps;
    return static_cast<double>(test::norm_inf(residual) / (scale * double(r.rows)));
}

TYPED_TEST(triangular, inverse_solves_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : orders) {
            const auto r = upper_over_nan<TypeParam>(n, unsigned(n));
            const matrix<TypeParam> x(n, n, upper_inverse(r.data, n));
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j < i; ++j)
                    ASSERT_EQ(x.data[i * n + j], TypeParam(0)) << n << ' ' << i << ' ' << j;
            if (n != 0) {
                EXPECT_LT(inverse_ratio(upper_part(r), x), 2) << "order " << n << " path " << path;
            }
        }
    }
}

TYPED_TEST(triangular, inverse_of_a_unit_triangle_of_integers_is_exact)
{
    // R = I + the first superdiagonal: the inverse has signs in turn above the diagonal.
    constexpr std::size_t n = 130;
    numerical::aligned_vector<TypeParam> r(n * n);
    for (std::size_t i = 0; i < n; ++i) {
        r[i * n + i] = TypeParam(1);
        if (i + 1 < n)
            r[i * n + i + 1] = TypeParam(1);
    }
    const auto x = upper_inverse(r, n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            ASSERT_EQ(x[i * n + j], TypeParam(j < i ? 0.0 : (j - i) % 2 == 0 ? 1.0 : -1.0));
}

TYPED_TEST(triangular, inverse_divides_truly)
{
    EXPECT_EQ(upper_inverse(numerical::aligned_vector<TypeParam>{TypeParam(49)}, 1)[0],
              TypeParam(1) / TypeParam(49));
    EXPECT_EQ(upper_inverse(numerical::aligned_vector<TypeParam>{TypeParam(0x1p-1000)}, 1)[0],
              TypeParam(0x1p1000));
}

TEST(triangular, inverse_of_a_zero_on_the_diagonal_is_not_finite)
{
    const auto x = upper_inverse(numerical::aligned_vector<double>{2, 1, 0, 0}, 2);
    EXPECT_FALSE(std::isfinite(x[1]));
    EXPECT_FALSE(std::isfinite(x[3]));
}

TYPED_TEST(triangular, inverse_has_the_same_bits_for_every_number_of_threads)
{
    for (const std::size_t n : {129, 200, 255, 256, 511, 512, 513}) {
        const auto r = upper_over_nan<TypeParam>(n, 7);
        numerical::aligned_vector<TypeParam> first;
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            const auto x = upper_inverse(r.data, n);
            if (first.empty())
                first = x;
            EXPECT_EQ(first, x) << n << ' ' << threads;
        }
    }
}

constexpr std::size_t margin = 3; // of elements right of X that are not its own

enum class diagonal { unit, divides };

// The rows one by one, each by the path's kernel.
template <class T>
void substitute_rows(int path, block_view<const T> l, block_view<T> x, diagonal form)
{
    for (std::size_t i = 0; i < x.rows; ++i) {
        numerical::detail::subtract_products_on(path, x.row(i), l.row(i), x.first, x.stride, i,
                                                x.cols);
        if (form == diagonal::divides)
            numerical::detail::divide_row(path, x.row(i), l(i, i), x.cols);
    }
}

// What stands above the diagonal is not read, nor the diagonal of a unit triangle.
template <class T>
void expect_bits_of_rows(int path, std::size_t rows, std::size_t cols, diagonal form)
{
    auto l_store = test::random_vector<T>(rows * (rows + 1), 1);
    const block_view<T> l{l_store.data(), rows, rows, rows + 1};
    for (std::size_t i = 0; i < rows; ++i)
        std::fill_n(l.row(i) + (form == diagonal::unit ? i : i + 1), rows - i, T(std::nan("")));
    const std::size_t stride = cols + margin;
    auto expected = test::random_vector<T>(rows * stride, 2);
    auto got = expected;
    substitute_rows<T>(path, l, {expected.data(), rows, cols, stride}, form);
    const block_view<T> x{got.data(), rows, cols, stride};
    if (form == diagonal::unit)
        numerical::detail::substitute_unit_lower<T>(path, l, x);
    else
        numerical::detail::substitute_lower<T>(path, l, x);
    ASSERT_EQ(got, expected) << rows << " x " << cols << " path " << path;
}

TYPED_TEST(triangular, substitution_from_above_has_the_bits_of_rows_one_by_one)
{
    for (const int path : test::available_paths())
        for (const diagonal form : {diagonal::unit, diagonal::divides})
            for (const std::size_t rows : {1, 2, 3, 4, 5, 7, 8, 11, 12, 31, 32, 64})
                for (const std::size_t cols : {0, 1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 48, 63, 64})
                    expect_bits_of_rows<TypeParam>(path, rows, cols, form);
}

} // namespace
