#include "numerical/gemm/kernels/block_quotients.hpp"

#include "guarded.hpp"
#include "numerical/scalar.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using test::guarded_numbers;
using test::label;

template <class T>
class block_quotients_of : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(block_quotients_of, element_types);

double with_signs(double x, std::size_t place, const double* signs)
{
    return signs[place % 2] * x;
}

complex with_signs(const complex& z, std::size_t, const double* signs)
{
    return {signs[0] * z.real(), signs[1] * z.imag()};
}

// Small integers, so that no order of rounding matters.
template <class T>
void expect_quotients(int path, std::size_t order, std::size_t n, double second_sign)
{
    SCOPED_TRACE(label(path, n) + ", order " + std::to_string(order));
    guarded_numbers<T> w[2] = {{n, 1}, {n, 2}};
    guarded_numbers<T> l[2] = {{n, 3}, {n, 4}};
    guarded_numbers<T> minus_w[2] = {{n, 5}, {n, 6}};
    const auto factors = test::integer_vector<T>(4, 7);
    block_quotients<T> block{order,
                             {w[0].parts(), w[1].parts()},
                             {l[0].parts(), l[1].parts()},
                             {minus_w[0].parts(), minus_w[1].parts()},
                             {-1, second_sign},
                             {{factors[0], factors[1]}, {factors[2], factors[3]}}};
    const numerical::aligned_vector<T> untouched[] = {l[1].values(), minus_w[1].values()};
    divide_by_block_on(path, block, n);
    for (std::size_t i = 0; i < order; ++i) {
        for (std::size_t k = 0; k < n; ++k) {
            T sum = 0;
            for (std::size_t j = 0; j < order; ++j)
                sum -= factors[2 * i + j] * w[j].data()[k];
            ASSERT_EQ(l[i].data()[k], sum) << i << ',' << k;
            ASSERT_EQ(minus_w[i].data()[k], with_signs(w[i].data()[k], k, block.signs)) << k;
        }
        EXPECT_TRUE(l[i].intact() && minus_w[i].intact());
    }
    if (order == 1) {
        EXPECT_EQ(l[1].values(), untouched[0]);
        EXPECT_EQ(minus_w[1].values(), untouched[1]);
    }
}

TYPED_TEST(block_quotients_of, columns_of_every_length)
{
    for (const int path : test::available_paths())
        for (const std::size_t order : {1UL, 2UL})
            for (std::size_t n = 0; n <= 40; ++n)
                for (const double second_sign : {-1.0, 1.0})
                    expect_quotients<TypeParam>(path, order, n, second_sign);
}

} // namespace
