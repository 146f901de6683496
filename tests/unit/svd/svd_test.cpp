#include "numerical/svd/svd.hpp"

#include "numerical/errors.hpp"
#include "paths.hpp"
#include "svd_cases.hpp"
#include "thrown.hpp"

#include <algorithm>
#include <complex>
#include <gtest/gtest.h>
#include <limits>

namespace {

using test::matrix;
using test::svd_decomposition;
using test::svd_method;

// No family reaches this at any order tried; what is seen is printed.
constexpr double greatest_ratio = 30;

double worst = 0;

template <class T>
void expect_accurate(const matrix<T>& a, svd_method method, const std::string& name)
{
    SCOPED_TRACE(name + ", " + std::to_string(a.rows) + " x " + std::to_string(a.cols) + ", " +
                 test::name_of(method) + (sizeof(T) == sizeof(double) ? "" : ", complex"));
    const svd_decomposition<T> svd(a, method);
    const std::size_t k = std::min(a.rows, a.cols);
    ASSERT_EQ(svd.values.size(), k);
    EXPECT_TRUE(std::is_sorted(svd.values.rbegin(), svd.values.rend()));
    EXPECT_TRUE(k == 0 || svd.values.back() >= 0);
    const test::svd_ratios ratios = test::ratios_of(a, svd);
    EXPECT_TRUE(ratios.largest() < greatest_ratio) << ratios;
    if (ratios.largest() > worst) {
        worst = ratios.largest();
        std::cout << "largest so far: " << name << " " << a.rows << " " << test::name_of(method)
                  << ": " << ratios << "\n";
    }
}

template <class T>
class svd : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(svd, element_types);

TYPED_TEST(svd, is_accurate_on_hard_square_matrices_of_every_method)
{
    for (const std::size_t n : {1, 2, 3, 8, 31, 32, 33, 34, 63, 64, 65})
        for (const auto& [name, a] : test::hard_square_matrices<TypeParam>(n))
            for (const svd_method method : test::svd_methods)
                expect_accurate(a, method, name);
}

} // namespace
