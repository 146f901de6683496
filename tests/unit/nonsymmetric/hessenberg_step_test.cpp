#include "numerical/nonsymmetric/hessenberg_step.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using namespace numerical::detail;

std::vector<hessenberg_kernel> kernels_of(double)
{
    std::vector<hessenberg_kernel> kernels{run_hessenberg_step};
    if (cpu_features().avx2)
        kernels.push_back(avx2_run_hessenberg_step);
    if (cpu_features().avx512)
        kernels.push_back(avx512_run_hessenberg_step);
    return kernels;
}

std::vector<hessenberg_kernel> kernels_of(complex)
{
    std::vector<hessenberg_kernel> kernels{run_complex_hessenberg_step};
    if (cpu_features().avx2)
        kernels.push_back(avx2_run_complex_hessenberg_step);
    if (cpu_features().avx512)
        kernels.push_back(avx512_run_complex_hessenberg_step);
    return kernels;
}

// Small integers, so that all sums are exact. Entries that a pass may not read are NaN.
template <class T>
struct step_case
{
    std::size_t cols;
    std::size_t left;
    std::size_t from;
    std::size_t stride = cols + 3;
    numerical::aligned_vector<T> matrix = test::integer_vector<T>(cols * stride, 1);
    numerical::aligned_vector<T> v = test::integer_vector<T>(cols, 2);
    numerical::aligned_vector<T> z = test::integer_vector<T>(cols, 3); // zᴴ
    numerical::aligned_vector<T> x = test::integer_vector<T>(cols, 4); // conjugated
    numerical::aligned_vector<T> y = test::integer_vector<T>(cols, 5);

    step_case(std::size_t columns, std::size_t first_column, std::size_t first_row)
        : cols(columns), left(first_column), from(first_row)
    {
        for (std::size_t i = 0; i < cols; ++i)
            for (std::size_t j = 0; j < stride; ++j)
                if (i < from || j < left || j >= cols)
                    matrix[i * stride + j] = T(std::numeric_limits<double>::quiet_NaN());
    }

    T updated(std::size_t i, std::size_t j) const
    {
        return matrix[i * stride + j] - v[i] * z[j] - 2.0 * y[i] * conjugate(v[j]);
    }
};

template <class T>
void check(hessenberg_kernel run, const step_case<T>& of, std::size_t middle, bool upwards)
{
    const auto [cols, left, from, stride, matrix, v, z, x, y] = of;
    auto found = matrix;
    numerical::aligned_vector<T> products(cols, T(7));
    numerical::aligned_vector<T> sums(cols, T(5));
    numerical::aligned_vector<T> copied(cols, T(6));
    numerical::aligned_vector<T> conjugated(cols);
    for (std::size_t i = 0; i < cols; ++i)
        conjugated[i] = conjugate(v[i]);
    const std::size_t column = left + 3;
    const auto run_rows = [&](std::size_t first, std::size_t last) {
        run({as_doubles(found.data()), stride, first, last, left, cols, column, upwards},
            {as_doubles(conjugated.data()), as_doubles(z.data()), as_doubles(x.data()),
             as_doubles(y.data()), as_doubles(products.data()), as_doubles(sums.data()),
             as_doubles(copied.data())});
    };
    run_rows(from, middle);
    run_rows(middle, cols);
    for (std::size_t i = 0; i < cols; ++i) {
        T product = i < from ? T(7) : T(0);
        T sum = 5;
        for (std::size_t j = 0; j < cols; ++j) {
            if (i >= from && j >= left) {
                EXPECT_EQ(found[i * stride + j], of.updated(i, j)) << i << ", " << j;
                product += of.updated(i, j) * conjugate(x[j]);
            }
            if (i >= left && j >= from)
                sum += x[j] * of.updated(j, i);
        }
        EXPECT_EQ(products[i], product) << i;
        EXPECT_EQ(sums[i], sum) << i;
        EXPECT_EQ(copied[i], i < from ? T(6) : of.updated(i, column)) << i;
        for (std::size_t j = 0; j < stride; ++j)
            if (i < from || j < left || j >= cols) {
                EXPECT_NE(found[i * stride + j], found[i * stride + j]); // left alone
            }
    }
}

template <class T>
class hessenberg_step : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(hessenberg_step, element_types);

// Rows in one call and in two, of all remainders by groups.
TYPED_TEST(hessenberg_step, is_exact_on_integers)
{
    for (const auto run : kernels_of(TypeParam()))
        for (const std::size_t cols : {8, 16, 40})
            for (const std::size_t left : {0, 8, 32})
                for (std::size_t from = 0; left < cols && from < cols; from += 3)
                    for (const std::size_t middle : {from, (from + cols) / 2})
                        for (const bool upwards : {false, true})
                            check(run, step_case<TypeParam>(cols, left, from), middle, upwards);
}

// Rows that are taken in one, two and three blocks of columns.
TYPED_TEST(hessenberg_step, is_exact_on_wide_rows)
{
    constexpr std::size_t most = std::is_same_v<TypeParam, double>
                                     ? hessenberg_columns_at_once
                                     : complex_hessenberg_columns_at_once;
    for (const auto run : kernels_of(TypeParam()))
        for (const std::size_t cols : {most, most + 8, most + 16, 2 * most + 16})
            for (const bool upwards : {false, true})
                check(run, step_case<TypeParam>(cols, 8, cols - 7), cols - 2, upwards);
}

} // namespace
