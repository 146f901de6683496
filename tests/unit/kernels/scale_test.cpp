#include "numerical/gemm/kernels/scale.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::detail::divide_row;
using complex = std::complex<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double greatest = std::numeric_limits<double>::max();

bool same(double a, double b)
{
    return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0;
}

bool same(complex a, complex b)
{
    return same(a.real(), b.real()) && same(a.imag(), b.imag());
}

// Every element is what operator/ gives, signs of zeros included.
template <class T>
void expect_true_quotients(const numerical::aligned_vector<T>& row, T divisor)
{
    for (const int path : test::available_paths()) {
        auto quotients = row;
        divide_row(path, quotients.data(), divisor, row.size());
        for (std::size_t j = 0; j < row.size(); ++j)
            ASSERT_TRUE(same(quotients[j], row[j] / divisor))
                << row[j] << " / " << divisor << " gave " << quotients[j] << " for "
                << row[j] / divisor << " on path " << path;
    }
}

// Magnitudes over the whole range of exponents, or near 1.
double wide_value(std::mt19937_64& generator, int exponents)
{
    std::uniform_int_distribution<int> exponent(-exponents, exponents);
    return std::ldexp(test::random_value<double>(generator), exponent(generator));
}

TEST(divide_row, divides_real_rows_of_every_length)
{
    std::mt19937_64 generator(1);
    for (std::size_t n = 0; n < 20; ++n)
        for (const double divisor : {3.0, -7e-300, 1e300, infinity, 0.0}) {
            numerical::aligned_vector<double> row(n);
            for (double& x : row)
                x = wide_value(generator, 1000);
            expect_true_quotients(row, divisor);
        }
}

TEST(divide_row, divides_complex_rows_of_every_length_and_size)
{
    std::mt19937_64 generator(2);
    for (const int exponents : {0, 3, 60, 399, 410, 1074})
        for (std::size_t round = 0; round < 300; ++round) {
            const complex divisor{wide_value(generator, exponents),
                                  wide_value(generator, exponents)};
            numerical::aligned_vector<complex> row(round % 12);
            for (complex& z : row)
                z = {wide_value(generator, exponents), wide_value(generator, exponents)};
            expect_true_quotients(row, divisor);
        }
}

TEST(divide_row, divides_complex_rows_with_special_parts)
{
    const numerical::aligned_vector<double> parts{0.0,      -0.0,      1.0,      -3.0,    0x1p-1074,
                                                  0x1p-400, 0x1p-401,  0x1p1023, 0x1p400, infinity,
                                                  nan,      -infinity, 1e-310,   5.5};
    numerical::aligned_vector<complex> row;
    for (const double re : parts)
        for (const double im : parts)
            row.emplace_back(re, im);
    for (const complex divisor : row)
        expect_true_quotients(row, divisor);
}

void expect_multiplies_as_a_plain_loop(const numerical::aligned_vector<complex>& z,
                                       const numerical::aligned_vector<complex>& factors,
                                       std::size_t step)
{
    auto expected = z;
    for (std::size_t i = 0; i < z.size(); ++i)
        expected[i] *= factors[i * step];
    for (const int path : test::available_paths()) {
        auto got = z;
        numerical::detail::multiply_full(path, got.data(), factors.data(), step, z.size());
        for (std::size_t i = 0; i < z.size(); ++i)
            ASSERT_TRUE(same(got[i], expected[i])) << "element " << i << ": " << got[i];
    }
}

TEST(multiply_full, has_the_bits_of_plain_loops)
{
    for (std::size_t n = 0; n <= 9; ++n)
        for (const std::size_t step : {0u, 1u})
            expect_multiplies_as_a_plain_loop(test::random_vector<complex>(n, 1),
                                              test::random_vector<complex>(n + 1, 2), step);
}

TEST(multiply_full, recovers_infinities)
{
    const std::size_t n = 7;
    for (std::size_t bad = 0; bad < n; ++bad)
        for (const complex value :
             {complex(infinity, infinity), complex(infinity, -0.0), complex(NAN, infinity),
              complex(NAN, 1), complex(greatest, greatest)}) {
            auto z = test::random_vector<complex>(n, 1);
            z[bad] = value;
            for (const complex factor : {complex(2, 3), value, complex(0, -0.0)})
                for (const std::size_t step : {0u, 1u})
                    expect_multiplies_as_a_plain_loop(
                        z, numerical::aligned_vector<complex>(n, factor), step);
        }
}

} // namespace
