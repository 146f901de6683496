#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/bidiagonal_step_lines.hpp"
#include "sample.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;

std::vector<const bidiagonal_step_kernels*> kernels_for(double)
{
    std::vector<const bidiagonal_step_kernels*> all{&real_step};
    if (cpu_features().avx2)
        all.push_back(&avx2_real_step);
    if (cpu_features().avx512)
        all.push_back(&avx512_real_step);
    return all;
}

std::vector<const bidiagonal_step_kernels*> kernels_for(complex)
{
    std::vector<const bidiagonal_step_kernels*> all{&complex_step};
    if (cpu_features().avx2)
        all.push_back(&avx2_complex_step);
    if (cpu_features().avx512)
        all.push_back(&avx512_complex_step);
    return all;
}

// A tile of small integers, whose products and sums are exact, and its factors.
template <class T>
struct step_case
{
    static constexpr std::size_t columns = step_tile_columns<T>;
    static constexpr std::size_t lines = step_parts<T> * step_tile_doubles;

    std::size_t rows;
    numerical::aligned_vector<T> tile = test::integer_vector<T>(rows * columns, 1, 9);
    numerical::aligned_vector<T> u = test::integer_vector<T>(rows, 2, 9);
    numerical::aligned_vector<T> x = test::integer_vector<T>(rows, 3, 9);
    numerical::aligned_vector<T> next = test::integer_vector<T>(rows, 4, 9);
    numerical::aligned_vector<T> y = test::integer_vector<T>(columns, 5, 9);
    numerical::aligned_vector<T> v = test::integer_vector<T>(columns, 6, 9);

    std::vector<double> factors() const
    {
        std::vector<double> both(2 * lines);
        for (std::size_t j = 0; j < columns; ++j) {
            set_factor(both.data(), step_tile_doubles, j, y[j]);
            set_factor(both.data() + lines, step_tile_doubles, j, v[j]);
        }
        return both;
    }
};

template <class T>
class bidiagonal_step : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(bidiagonal_step, element_types);

TYPED_TEST(bidiagonal_step, updates_and_multiplies_by_the_next_reflector_exactly)
{
    using T = TypeParam;
    for (const std::size_t rows : {8, 16, 40}) {
        const step_case<T> given{rows};
        const std::vector<double> factors = given.factors();
        auto expected = given.tile;
        std::vector<T> products(given.columns);
        for (std::size_t i = 0; i < rows; ++i)
            for (std::size_t j = 0; j < given.columns; ++j) {
                T& entry = expected[i * given.columns + j];
                entry -= given.u[i] * given.y[j] + given.x[i] * given.v[j];
                products[j] += conjugate(given.next[i]) * entry;
            }
        for (const bidiagonal_step_kernels* const kernels : kernels_for(T())) {
            auto tile = given.tile;
            std::vector<double> sums(given.lines, 7);
            kernels->update({as_doubles(tile.data()), rows},
                            {as_doubles(given.u.data()), as_doubles(given.x.data()),
                             as_doubles(given.next.data())},
                            {factors.data(), factors.data() + given.lines, step_tile_doubles},
                            sums.data());
            EXPECT_EQ(tile, expected);
            for (std::size_t j = 0; j < given.columns; ++j)
                EXPECT_EQ(adjoint_sum(sums.data(), j, T()), products[j]) << rows << ", " << j;
        }
    }
}

TYPED_TEST(bidiagonal_step, adds_the_products_with_a_row_exactly)
{
    using T = TypeParam;
    for (const std::size_t rows : {8, 16, 40}) {
        const step_case<T> given{rows};
        std::vector<double> weights(given.lines);
        for (std::size_t j = 0; j < given.columns; ++j)
            set_weight(weights.data(), j, given.y[j]);
        const std::size_t stride = rows + 3;
        for (const bidiagonal_step_kernels* const kernels : kernels_for(T())) {
            auto tile = given.tile;
            std::vector<double> products(2 * stride, 100);
            kernels->multiply({as_doubles(tile.data()), rows}, weights.data(), products.data(),
                              stride);
            EXPECT_EQ(tile, given.tile);
            for (std::size_t i = 0; i < rows; ++i) {
                T expected =
                    product_at(std::vector<double>(2 * stride, 100).data(), i, stride, T());
                for (std::size_t j = 0; j < given.columns; ++j)
                    expected += given.tile[i * given.columns + j] * given.y[j];
                EXPECT_EQ(product_at(products.data(), i, stride, T()), expected)
                    << rows << ", " << i;
            }
            for (std::size_t i = rows; i < stride; ++i)
                EXPECT_EQ(products[i], 100); // left alone
        }
    }
}

} // namespace
