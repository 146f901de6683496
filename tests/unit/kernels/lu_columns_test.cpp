#include "numerical/gemm/kernels/lu_columns.hpp"

#include "matrices.hpp"
#include "paths.hpp"

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

} // namespace
