#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/arithmetic.hpp"
#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/gemm/path.hpp"
#include "paths.hpp"

#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace {

using numerical::arithmetic;
using numerical::arithmetic_operation;
using numerical::tensor;
using numerical::detail::avx2_unfused_complex_quotients;
using complex = std::complex<double>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// NaN is one value here: its sign and payload are the processor's affair.
std::uint64_t bits(double x)
{
    return std::isnan(x) ? 0x7FF8000000000000 : std::bit_cast<std::uint64_t>(x);
}

::testing::AssertionResult same_bits(const complex& found, const complex& expected)
{
    if (bits(found.real()) == bits(expected.real()) && bits(found.imag()) == bits(expected.imag()))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << found << " for " << expected;
}

// How the magnitudes of a row are spread.
enum class spread { near_one, ordinary, about_the_bounds, any_bits };

class random_numbers
{
public:
    complex next(spread of)
    {
        const complex z(part(of), part(of));
        switch (random() % 12) {
        case 0:
            return {z.real(), z.real()};
        case 1:
            return {z.real(), std::copysign(0.0, z.imag())};
        case 2:
            return {std::copysign(0.0, z.real()), z.imag()};
        default:
            return z;
        }
    }

private:
    std::mt19937_64 random{11};

    double part(spread of)
    {
        const double mantissa = 1 + static_cast<double>(random() % 4096) / 4096;
        const double sign = random() % 2 == 0 ? 1 : -1;
        switch (of) {
        case spread::near_one:
            return std::ldexp(sign * mantissa, static_cast<int>(random() % 4));
        case spread::ordinary:
            return std::ldexp(sign * mantissa, static_cast<int>(random() % 397) - 198);
        case spread::about_the_bounds:
            return std::ldexp(sign * mantissa,
                              (random() % 2 == 0 ? 199 : -201) + static_cast<int>(random() % 3));
        default:
            return std::bit_cast<double>(random());
        }
    }
};

TEST(complex_quotient, has_the_bits_of_the_language_s_wherever_its_parts_lie)
{
    random_numbers numbers;
    for (const spread of :
         {spread::near_one, spread::ordinary, spread::about_the_bounds, spread::any_bits})
        for (int round = 0; round < 1000; ++round) {
            constexpr std::size_t n = 150;
            numerical::aligned_vector<complex> x(n);
            numerical::aligned_vector<complex> y(n);
            for (std::size_t j = 0; j < n; ++j) {
                x[j] = numbers.next(of);
                y[j] = numbers.next(of);
            }
            if (round % 3 == 0) // one number among others, wherever it stands
                y[static_cast<std::size_t>(round) % n] = numbers.next(spread::any_bits);
            const tensor<complex> a({n}, x);
            const tensor<complex> b({n}, y);
            const tensor<complex> single({}, {x[0]});
            for (const int path : test::available_paths()) {
                const test::path_limit limit(path);
                const auto quotient = arithmetic(arithmetic_operation::divide, a, b);
                const auto by_one = arithmetic(arithmetic_operation::divide, b, single);
                const auto of_one = arithmetic(arithmetic_operation::divide, single, b);
                for (std::size_t j = 0; j < n; ++j) {
                    ASSERT_TRUE(same_bits(quotient.data[j], x[j] / y[j])) << x[j] << y[j];
                    ASSERT_TRUE(same_bits(by_one.data[j], y[j] / x[0])) << y[j] << x[0];
                    ASSERT_TRUE(same_bits(of_one.data[j], x[0] / y[j])) << x[0] << y[j];
                }
            }
        }
}

const double* parts(const numerical::aligned_vector<complex>& z)
{
    return reinterpret_cast<const double*>(z.data());
}

class complex_quotient_kernel : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!numerical::detail::cpu_features().avx2)
            GTEST_SKIP() << "the processor has no AVX2";
    }
};

TEST_F(complex_quotient_kernel, reads_and_writes_its_row_and_nothing_else)
{
    const complex guard(-777.25, 777.25);
    for (std::size_t n = 0; n <= 13; ++n)
        for (std::size_t form = 0; form < 3; ++form) {
            numerical::aligned_vector<complex> x(n + 2, complex(nan, inf));
            numerical::aligned_vector<complex> y(n + 2, complex(nan, inf));
            numerical::aligned_vector<complex> out(n + 2, guard);
            for (std::size_t j = 1; j <= n; ++j) {
                x[j] = {static_cast<double>(j), 2};
                y[j] = {3, -static_cast<double>(j)};
            }
            if (n == 0)
                x[1] = y[1] = 1;
            EXPECT_FALSE(avx2_unfused_complex_quotients.by_form[form](
                parts(x) + 2, parts(y) + 2, reinterpret_cast<double*>(out.data()) + 2, n));
            EXPECT_EQ(out.front(), guard);
            EXPECT_EQ(out.back(), guard);
            for (std::size_t j = 1; j <= n; ++j)
                EXPECT_EQ(out[j], x[form == 2 ? 1 : j] / y[form == 1 ? 1 : j]) << n << " " << form;
        }
}

TEST_F(complex_quotient_kernel, is_not_sure_of_parts_that_are_scaled)
{
    for (const complex careful : {complex(nan, 1), complex(1, nan), complex(inf, 1),
                                  complex(1, -inf), complex(0x1p201, 1), complex(0x1p-201, 0)})
        for (std::size_t at = 0; at < 7; ++at) {
            const numerical::aligned_vector<complex> ones(7, complex(1, 1));
            numerical::aligned_vector<complex> others = ones;
            others[at] = careful;
            numerical::aligned_vector<complex> out(7);
            auto* to = reinterpret_cast<double*>(out.data());
            EXPECT_TRUE(
                avx2_unfused_complex_quotients.by_form[0](parts(others), parts(ones), to, 7));
            EXPECT_TRUE(
                avx2_unfused_complex_quotients.by_form[0](parts(ones), parts(others), to, 7));
            EXPECT_FALSE(
                avx2_unfused_complex_quotients.by_form[0](parts(ones), parts(ones), to, 7));
        }
}

} // namespace
