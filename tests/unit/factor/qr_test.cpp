#include "numerical/factor/qr.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using complex = std::complex<double>;
using numerical::matrix;
namespace detail = numerical::detail;

template <class T>
class householder_qr : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(householder_qr, element_types);

constexpr double ratio_limit = 10;

template <class T>
struct factors
{
    matrix<T> q;
    matrix<T> r;
};

template <class T>
factors<T> qr_of(const matrix<T>& a)
{
    const std::size_t k = std::min(a.rows, a.cols);
    auto thin = detail::householder_qr(a.data, a.rows, a.cols);
    return {{a.rows, k, std::move(thin.q)}, {k, a.cols, std::move(thin.r)}};
}

template <class T>
void expect_factors(const matrix<T>& a, const char* what)
{
    SCOPED_TRACE(testing::Message() << what << ' ' << a.rows << 'x' << a.cols);
    const auto [q, r] = qr_of(a);
    EXPECT_LT(test::difference_ratio(a, test::reference_product(q, r)), ratio_limit);
    EXPECT_LT(test::orthogonality_ratio(q), ratio_limit);
    for (std::size_t i = 0; i < r.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            ASSERT_EQ(r.data[i * r.cols + j], T(0));
        ASSERT_GE(detail::real_part(r.data[i * r.cols + i]), 0);
    }
}

TYPED_TEST(householder_qr, gives_back_random_matrices_of_every_shape)
{
    for (const std::size_t n : {1u, 2u, 3u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 65u, 127u}) {
        expect_factors(test::random_matrix<TypeParam>(n, n, unsigned(n)), "square");
        expect_factors(test::random_matrix<TypeParam>(2 * n + 1, n, unsigned(n)), "tall");
        expect_factors(test::random_matrix<TypeParam>(n, 2 * n + 1, unsigned(n)), "wide");
    }
}

} // namespace
