#include "numerical/gemm/kernels/ger.hpp"

#include "matrices.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "paths.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

namespace detail = numerical::detail;

template <class T>
class ger : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(ger, element_types);

// What lies beside the rows stays what it is, and what lies behind x is not read.
TYPED_TEST(ger, have_the_bits_of_row_by_row_at_every_remainder)
{
    using T = TypeParam;
    constexpr double beside = 12345;
    for (const int path : test::available_paths())
        for (const std::size_t count : {0, 1, 3, 16})
            for (std::size_t n = 0; n <= 35; ++n) {
                const std::size_t stride = n + 2;
                auto rows = test::random_vector<T>(count * stride + 1, 1);
                for (std::size_t i = 0; i < count; ++i)
                    rows[i * stride + n] = rows[i * stride + n + 1] = T(beside);
                const auto coeffs = test::random_vector<T>(count, 2);
                auto x = test::random_vector<T>(n + 1, 3);
                x[n] = T(std::numeric_limits<double>::quiet_NaN());

                auto expected = rows;
                for (std::size_t i = 0; i < count; ++i)
                    detail::subtract_scaled_on(path, expected.data() + i * stride, x.data(),
                                               coeffs[i], n);
                detail::subtract_from_rows_on(path, rows.data(), stride, count, coeffs.data(),
                                              x.data(), n);
                EXPECT_EQ(rows, expected) << count << " × " << n << " on path " << path;
            }
}

} // namespace
