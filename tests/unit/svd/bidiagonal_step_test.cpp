#include "numerical/svd/bidiagonal_step.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/bidiagonal_step_blocks.hpp"
#include "sample.hpp"

#include <array>
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

// Small integers, whose products and sums are exact, along the rows or along the columns.
template <class T>
struct step_case
{
    static constexpr std::size_t columns = step_tile_columns<T>;

    std::size_t rows;
    numerical::aligned_vector<T> tile = test::integer_vector<T>(rows * columns, 1, 9);
    numerical::aligned_vector<T> u = test::integer_vector<T>(rows, 2, 9);
    numerical::aligned_vector<T> x = test::integer_vector<T>(rows, 3, 9);
    numerical::aligned_vector<T> next = test::integer_vector<T>(rows, 4, 9);
    numerical::aligned_vector<T> y = test::integer_vector<T>(columns, 5, 9);
    numerical::aligned_vector<T> v = test::integer_vector<T>(columns, 6, 9);
};

// Rows of numbers in the blocks that the kernels take, and back.
template <class T>
std::vector<double> in_blocks(const numerical::aligned_vector<T>& of, std::size_t columns)
{
    std::vector<double> blocks(of.size() * step_parts<T>);
    for (std::size_t i = 0; i < of.size() / columns; ++i)
        for (std::size_t j = 0; j < columns; ++j)
            set_number(&blocks[place_of_row<T>(i, columns) + j * step_parts<T> * step_row_block],
                       of[i * columns + j]);
    return blocks;
}

template <class T>
numerical::aligned_vector<T> out_of_blocks(const std::vector<double>& blocks, std::size_t columns)
{
    numerical::aligned_vector<T> out(blocks.size() / step_parts<T>);
    for (std::size_t i = 0; i < out.size() / columns; ++i)
        for (std::size_t j = 0; j < columns; ++j)
            out[i * columns + j] = number_at(
                &blocks[place_of_row<T>(i, columns) + j * step_parts<T> * step_row_block], T());
    return out;
}

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
        const auto u = in_blocks<T>(given.u, 1);
        const auto x = in_blocks<T>(given.x, 1);
        const auto next = in_blocks<T>(given.next, 1);
        auto expected = given.tile;
        numerical::aligned_vector<T> products(given.columns);
        for (std::size_t i = 0; i < rows; ++i)
            for (std::size_t j = 0; j < given.columns; ++j) {
                T& entry = expected[i * given.columns + j];
                entry -= given.u[i] * given.y[j] + given.x[i] * given.v[j];
                products[j] += conjugate(given.next[i]) * entry;
            }
        for (const bidiagonal_step_kernels* const kernels : kernels_for(T())) {
            auto tile = in_blocks<T>(given.tile, given.columns);
            numerical::aligned_vector<T> sums(given.columns, T(7));
            kernels->update({tile.data(), rows}, {u.data(), x.data(), next.data()},
                            {as_doubles(given.y.data()), as_doubles(given.v.data())},
                            as_doubles(sums.data()));
            EXPECT_EQ(out_of_blocks<T>(tile, given.columns), expected);
            EXPECT_EQ(sums, products) << rows;
        }
    }
}

TYPED_TEST(bidiagonal_step, adds_the_products_with_a_row_exactly)
{
    using T = TypeParam;
    for (const std::size_t rows : {8, 16, 40}) {
        const step_case<T> given{rows};
        const auto before = in_blocks<T>(given.tile, given.columns);
        auto expected = given.x;
        for (std::size_t i = 0; i < rows; ++i)
            for (std::size_t j = 0; j < given.columns; ++j)
                expected[i] += given.tile[i * given.columns + j] * given.y[j];
        for (const bidiagonal_step_kernels* const kernels : kernels_for(T())) {
            auto tile = before;
            auto products = in_blocks<T>(given.x, 1);
            products.push_back(100);
            kernels->multiply({tile.data(), rows}, as_doubles(given.y.data()), products.data());
            EXPECT_EQ(tile, before);
            EXPECT_EQ(products.back(), 100); // left alone
            products.pop_back();
            EXPECT_EQ(out_of_blocks<T>(products, 1), expected) << rows;
        }
    }
}

TYPED_TEST(bidiagonal_step, follows_a_column_of_a_tile_exactly)
{
    using T = TypeParam;
    constexpr std::size_t at = 2; // the column
    for (const std::size_t rows : {8, 16, 40}) {
        const step_case<T> given{rows};
        const auto tile = in_blocks<T>(given.tile, given.columns);
        const auto products = in_blocks<T>(given.u, 1);
        const auto next = in_blocks<T>(given.next, 1);
        const auto [share, along, y, v] =
            std::array{given.y[0], given.y[1], given.v[0], given.v[1]};
        constexpr double scale = 0.5;
        numerical::aligned_vector<T> expected_x(rows);
        numerical::aligned_vector<T> expected_column(rows);
        for (std::size_t i = 0; i < rows; ++i) {
            const T entry = given.tile[i * given.columns + at];
            expected_x[i] = 2.0 * (scale * (given.u[i] - share * entry) - along * given.next[i]);
            expected_column[i] = entry - y * given.next[i] - v * expected_x[i];
        }
        for (const bidiagonal_step_kernels* const kernels : kernels_for(T())) {
            std::vector<double> x(rows * step_parts<T> + 1, 100);
            auto column = x;
            kernels->follow({.in_tile = tile.data() + at * step_parts<T> * step_row_block,
                             .products = products.data(),
                             .next = next.data(),
                             .rows = rows},
                            {.share_of_first = as_doubles(&share),
                             .along = as_doubles(&along),
                             .y = as_doubles(&y),
                             .v = as_doubles(&v),
                             .scale = scale},
                            x.data(), column.data());
            for (std::vector<double>* const out : {&x, &column}) {
                EXPECT_EQ(out->back(), 100); // left alone
                out->pop_back();
            }
            EXPECT_EQ(out_of_blocks<T>(x, 1), expected_x) << rows;
            EXPECT_EQ(out_of_blocks<T>(column, 1), expected_column) << rows;
        }
    }
}

} // namespace
