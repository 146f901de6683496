#include "numerical/svd/arrow_kernels.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;

constexpr std::size_t most = 21; // beyond two turns of four vectors and every remainder

// Ascending poles from 0 on, each value a quarter of a gap above its own.
struct problem
{
    numerical::aligned_vector<double> d{0};
    numerical::aligned_vector<double> gap;
    numerical::aligned_vector<double> z;

    explicit problem(std::size_t size) : z(test::random_vector<double>(size, 4))
    {
        for (const double x : test::random_vector<double>(size, 5)) {
            const double width = 1 + x * x;
            gap.push_back(width / 4);
            if (d.size() < size)
                d.push_back(d.back() + width);
        }
    }

    pole_value_pairs pairs() const { return {d.data(), d.data(), gap.data()}; }

    double distance(std::size_t p, std::size_t q) const
    {
        return ((d[p] - d[q]) - gap[q]) * ((d[p] + d[q]) + gap[q]);
    }
};

std::vector<arrow_kernels> available_kernels()
{
    std::vector<arrow_kernels> kernels{portable_arrow_kernels};
    if (cpu_features().avx2)
        kernels.push_back(avx2_unfused_arrow_kernels);
    return kernels;
}

// Elements beyond the count keep their value.
constexpr double guard = 77;

TEST(arrow_kernels, ratios_of_squares_are_multiplied_in_ascending_order)
{
    const problem p(most + 9);
    for (const arrow_kernels& kernels : available_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> square(count + 1, guard);
            numerical::aligned_vector<double> want(count + 1, guard);
            for (std::size_t i = 0; i < count; ++i)
                for (std::size_t j = most + 2; j < most + 9; ++j)
                    want[i] *=
                        p.distance(i + 1, j) / ((p.d[i + 1] - p.d[j]) * (p.d[i + 1] + p.d[j]));
            kernels.multiply_ratios(square.data(), p.pairs(), 1, count, most + 2, most + 9);
            EXPECT_EQ(square, want) << count;
        }
}

TEST(arrow_kernels, row_is_divided_by_the_distances_and_its_squares_are_added)
{
    const problem p(most + 3);
    for (const arrow_kernels& kernels : available_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> row(count + 1, guard);
            numerical::aligned_vector<double> right(count + 1, guard);
            numerical::aligned_vector<double> left(count + 1, guard);
            numerical::aligned_vector<double> want_row = row;
            numerical::aligned_vector<double> want_right = right;
            numerical::aligned_vector<double> want_left = left;
            for (std::size_t q = 0; q < count; ++q) {
                const double x = p.z[3] / p.distance(3, q + 2);
                want_row[q] = x;
                want_right[q] += x * x;
                want_left[q] += (p.d[3] * x) * (p.d[3] * x);
            }
            kernels.fill_row({.pole = p.d[3],
                              .z = p.z[3],
                              .elements = row.data(),
                              .right_squares = right.data(),
                              .left_squares = left.data()},
                             p.pairs(), 2, count);
            EXPECT_EQ(row, want_row) << count;
            EXPECT_EQ(right, want_right) << count;
            EXPECT_EQ(left, want_left) << count;
        }
}

TEST(arrow_kernels, row_is_scaled_and_divided_by_the_norms)
{
    const problem p(most);
    for (const arrow_kernels& kernels : available_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> out(count + 1, guard);
            numerical::aligned_vector<double> want(count + 1, guard);
            for (std::size_t q = 0; q < count; ++q)
                want[q] = p.d[5] * p.z[q] / p.gap[q];
            kernels.normalise_row(out.data(), p.z.data(), p.d[5], p.gap.data(), count);
            EXPECT_EQ(out, want) << count;
        }
}

} // namespace
