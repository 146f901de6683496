#include "numerical/systems/moduli.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>

namespace {

using numerical::detail::complex;

constexpr double eps = std::numeric_limits<double>::epsilon();

TEST(moduli, are_added_to_the_sums_of_their_columns)
{
    const numerical::aligned_vector<double> row{-3, 0, 2.5};
    numerical::aligned_vector<double> sums{1, 2, 3};
    numerical::aligned_vector<double> scratch(row.size());
    numerical::detail::add_moduli(sums.data(), row.data(), row.size(), scratch.data());
    EXPECT_EQ(sums, (numerical::aligned_vector<double>{4, 2, 5.5}));
}

TEST(moduli, of_complex_numbers_neither_overflow_nor_underflow)
{
    for (const double scale : {1.0, 0x1p1000, 0x1p-1000, 0x1p-1040}) {
        numerical::aligned_vector<complex> row;
        for (int i = 0; i < 19; ++i)
            row.emplace_back(3 * scale, -4 * scale);
        numerical::aligned_vector<double> moduli(row.size());
        numerical::detail::moduli_of(row.data(), moduli.data(), row.size());
        for (const double modulus : moduli)
            EXPECT_LE(std::abs(modulus / scale - 5), 5 * eps);
    }
}

} // namespace
