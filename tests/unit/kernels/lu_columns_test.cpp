#include "numerical/gemm/kernels/lu_columns.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

using apply_kernel = void (*)(std::size_t, const double*, double*, std::size_t, std::size_t,
                              std::size_t);

struct named_kernel
{
    const char* name;
    apply_kernel kernel;
};

template <class T>
std::vector<named_kernel> kernels()
{
    constexpr bool real = std::is_same_v<T, double>;
    std::vector<named_kernel> found;
    if (cpu_features().avx2)
        found.push_back({"avx2", real ? avx2_apply_columns : avx2_apply_complex_columns});
    if (cpu_features().avx512)
        found.push_back({"avx512", real ? avx512_apply_columns : avx512_apply_complex_columns});
    return found;
}

template <class T>
class lu_columns : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(lu_columns, element_types);

// Small integers, so that no order of rounding matters. What stands on and above the diagonal of
// the run belongs to U and must not be read, nor what lies below the last row.
template <class T>
void expect_columns_applied(const named_kernel& tested, std::size_t run, std::size_t dest_columns,
                            std::size_t rows)
{
    const std::size_t stride = rows + panel_padding;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto l = test::integer_vector<T>(run * stride, unsigned(rows), 3);
    for (std::size_t t = 0; t < run; ++t) {
        std::fill_n(l.begin() + long(t * stride), t + 1, T(nan));
        std::fill_n(l.begin() + long(t * stride + rows), panel_padding, T(nan));
    }
    auto expected = test::integer_vector<T>(dest_columns * stride + 1, unsigned(run), 3);
    auto dest = expected;
    constexpr std::size_t doubles = sizeof(T) / sizeof(double);
    const bool whole_vectors =
        (rows - run) * doubles % 4 == 0 || tested.kernel == avx512_apply_columns;
    for (std::size_t j = 0; j < dest_columns; ++j)
        for (std::size_t t = 0; t < run; ++t)
            for (std::size_t r = t + 1; r < rows; ++r)
                expected[j * stride + r] -= expected[j * stride + t] * l[t * stride + r];

    tested.kernel(run, reinterpret_cast<const double*>(l.data()),
                  reinterpret_cast<double*>(dest.data()), dest_columns, stride, rows);
    for (std::size_t j = 0; j < dest_columns; ++j)
        for (std::size_t r = 0; r < (whole_vectors ? stride : rows); ++r)
            ASSERT_EQ(dest[j * stride + r], expected[j * stride + r])
                << tested.name << " run " << run << " rows " << rows << " at " << j << ',' << r;
    ASSERT_EQ(dest.back(), expected.back()) << "wrote past the padding";
}

TYPED_TEST(lu_columns, apply_every_run_to_columns_of_every_length)
{
    for (const auto& tested : kernels<TypeParam>())
        for (std::size_t run = 1; run <= column_run; ++run)
            for (std::size_t rows = run; rows < 40; ++rows)
                for (const std::size_t dest_columns : {0, 1, 2, 3})
                    expect_columns_applied<TypeParam>(tested, run, dest_columns, rows);
}

TYPED_TEST(lu_columns, go_on_over_the_chunks_of_a_long_column)
{
    for (const auto& tested : kernels<TypeParam>())
        for (const std::size_t rows : {255, 256, 259, 260, 261, 515, 516, 517, 1300})
            expect_columns_applied<TypeParam>(tested, column_run, 3, rows);
}

using eliminate_kernel = std::size_t (*)(std::size_t, double*, std::size_t, std::size_t);

std::vector<eliminate_kernel> eliminate_kernels()
{
    std::vector<eliminate_kernel> found;
    if (cpu_features().avx2)
        found.push_back(avx2_eliminate_next_column);
    if (cpu_features().avx512)
        found.push_back(avx512_eliminate_next_column);
    return found;
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// A run and the column right of it, small integers of which the last column of the run is a
// multiple of its pivot. What mustn't be read is NaN.
struct elimination
{
    std::size_t run;
    std::size_t rows;
    std::size_t stride;
    numerical::aligned_vector<double> columns;

    elimination(std::size_t columns_of_run, std::size_t row_count, double pivot)
        : run(columns_of_run), rows(row_count), stride(row_count + panel_padding),
          columns(test::integer_vector<double>((columns_of_run + 1) * (row_count + panel_padding),
                                               unsigned(row_count + columns_of_run), 3))
    {
        for (std::size_t t = 0; t <= run; ++t) {
            std::fill_n(&columns[t * stride], t < run ? t + 1 : 0, nan);
            std::fill_n(&columns[t * stride + rows], panel_padding, nan);
        }
        for (std::size_t r = run; r < rows; ++r)
            columns[(run - 1) * stride + r] *= pivot;
        columns[(run - 1) * stride + run - 1] = pivot;
    }

    double* next() { return &columns[run * stride]; }

    // By plain loops.
    std::size_t eliminate()
    {
        double* const last = &columns[(run - 1) * stride];
        for (std::size_t r = run; r < rows; ++r)
            last[r] /= last[run - 1];
        for (std::size_t t = 0; t < run; ++t)
            for (std::size_t r = t + 1; r < rows; ++r)
                next()[r] -= next()[t] * columns[t * stride + r];
        std::size_t largest = run;
        for (std::size_t r = run + 1; r < rows; ++r)
            if (std::abs(next()[r]) > std::abs(next()[largest]))
                largest = r;
        return largest;
    }

    bool same_columns(const elimination& other) const
    {
        for (std::size_t i = 0; i < columns.size(); ++i)
            if (columns[i] != other.columns[i] &&
                !(std::isnan(columns[i]) && std::isnan(other.columns[i])))
                return false;
        return true;
    }
};

void expect_eliminates(const elimination& given)
{
    elimination expected = given;
    const std::size_t largest = expected.eliminate();
    for (const auto kernel : eliminate_kernels()) {
        elimination found = given;
        ASSERT_EQ(kernel(given.run, found.columns.data(), given.stride, given.rows), largest)
            << "run " << given.run << " rows " << given.rows;
        ASSERT_TRUE(found.same_columns(expected)) << "run " << given.run << " rows " << given.rows;
    }
}

TEST(eliminate_next_column, divides_subtracts_and_finds_the_next_pivot)
{
    for (std::size_t run = 1; run <= column_run; ++run)
        for (std::size_t rows = run + 1; rows < 60; ++rows)
            for (const double pivot : {1.0, -4.0, 0x1p-700})
                expect_eliminates({run, rows, pivot});
    for (const std::size_t rows : {511, 512, 513, 1300})
        expect_eliminates({column_run, rows, 2.0});
}

TEST(eliminate_next_column, finds_each_row_and_the_first_of_equals)
{
    for (std::size_t rows = 3; rows < 40; ++rows)
        for (std::size_t at = 2; at < rows; ++at) {
            elimination given(2, rows, 2.0);
            given.next()[at] = -1e6;
            expect_eliminates(given);
            std::fill_n(given.next() + at, rows - at, 1e6);
            std::fill_n(&given.columns[at], rows - at, 0.0);
            std::fill_n(&given.columns[given.stride + at], rows - at, 0.0);
            expect_eliminates(given);
        }
}

TEST(eliminate_next_column, passes_over_nan_but_for_the_first)
{
    for (std::size_t rows = 3; rows < 40; ++rows)
        for (std::size_t at = 1; at < rows; ++at) {
            elimination given(1, rows, 2.0);
            given.next()[at] = nan;
            expect_eliminates(given);
            std::fill_n(given.next() + at, rows - at, nan);
            expect_eliminates(given);
        }
}

} // namespace
