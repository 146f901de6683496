#include "numerical/eigen/merge_kernels.hpp"

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;

constexpr std::size_t most = 21; // beyond two turns of four vectors and every remainder

// Ascending poles, each root a quarter of a gap above its own.
struct problem
{
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> origin;
    numerical::aligned_vector<double> tau;
    numerical::aligned_vector<double> z;

    explicit problem(std::size_t size) : z(test::random_vector<double>(size, 4))
    {
        double pole = 0;
        for (const double x : test::random_vector<double>(size, 5)) {
            const double gap = 1 + x * x;
            d.push_back(pole += gap);
            tau.push_back(gap / 4);
        }
        origin = d;
    }

    pole_root_pairs pairs() const { return {d.data(), origin.data(), tau.data()}; }

    double distance(std::size_t p, std::size_t q) const { return (d[p] - origin[q]) - tau[q]; }
};

std::vector<merge_kernels> available_kernels()
{
    std::vector<merge_kernels> kernels{portable_merge_kernels};
    if (cpu_features().avx2)
        kernels.push_back(avx2_unfused_merge_kernels);
    return kernels;
}

std::vector<merge_kernels> available_paired_kernels()
{
    std::vector<merge_kernels> kernels{portable_paired_merge_kernels};
    if (cpu_features().avx2)
        kernels.push_back(avx2_unfused_paired_merge_kernels);
    return kernels;
}

// Elements beyond the count keep their value.
constexpr double guard = 77;

TEST(merge_kernels, ratios_are_multiplied_in_ascending_order)
{
    const problem p(most + 9);
    for (const merge_kernels& kernels : available_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> product(count + 1, guard);
            numerical::aligned_vector<double> want(count + 1, guard);
            for (std::size_t i = 0; i < count; ++i)
                for (std::size_t j = most + 2; j < most + 9; ++j)
                    want[i] *= p.distance(i + 1, j) / (p.d[i + 1] - p.d[j]);
            kernels.multiply_ratios(product.data(), p.pairs(), 1, count, most + 2, most + 9);
            EXPECT_EQ(product, want) << count;
        }
}

TEST(merge_kernels, squares_are_added_in_ascending_order)
{
    const problem p(most + 3);
    for (const merge_kernels& kernels : available_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> sums(count + 1, guard);
            numerical::aligned_vector<double> want(count + 1, guard);
            for (std::size_t q = 0; q < count; ++q)
                for (std::size_t i = 0; i < p.z.size(); ++i) {
                    const double element = p.z[i] / p.distance(i, q + 2);
                    want[q] += element * element;
                }
            kernels.add_squares(sums.data(), p.pairs(), p.z.data(), p.z.size(), 2, count);
            EXPECT_EQ(sums, want) << count;
        }
}

TEST(merge_kernels, row_is_divided_by_the_distances_and_then_the_norms)
{
    const problem p(most);
    for (const merge_kernels& kernels : available_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> row(count + 1, guard);
            numerical::aligned_vector<double> want(count + 1, guard);
            for (std::size_t q = 0; q < count; ++q)
                want[q] = p.z[3] / p.distance(3, q) / p.d[q];
            kernels.divide_row(row.data(), p.pairs(), p.z[3], p.d[3], p.d.data(), count);
            EXPECT_EQ(row, want) << count;
        }
}

// Any number of ratios, counted from the first: what is left of fours is single.
TEST(paired_merge_kernels, four_ratios_are_multiplied_as_one)
{
    const problem p(most + 9);
    for (const merge_kernels& kernels : available_paired_kernels())
        for (std::size_t to = most + 2; to <= most + 9; ++to)
            for (std::size_t count = 0; count <= most; ++count) {
                numerical::aligned_vector<double> product(count + 1, guard);
                numerical::aligned_vector<double> want(count + 1, guard);
                for (std::size_t i = 0; i < count; ++i) {
                    const double pole = p.d[i + 1];
                    std::size_t j = most + 2;
                    for (; j + 4 <= to; j += 4)
                        want[i] *= ((p.distance(i + 1, j) * p.distance(i + 1, j + 1)) *
                                    (p.distance(i + 1, j + 2) * p.distance(i + 1, j + 3))) /
                                   (((pole - p.d[j]) * (pole - p.d[j + 1])) *
                                    ((pole - p.d[j + 2]) * (pole - p.d[j + 3])));
                    for (; j < to; ++j)
                        want[i] *= p.distance(i + 1, j) / (pole - p.d[j]);
                }
                kernels.multiply_ratios(product.data(), p.pairs(), 1, count, most + 2, to);
                EXPECT_EQ(product, want) << count << ", to " << to;
            }
}

TEST(paired_merge_kernels, squares_are_added_by_twos)
{
    for (const std::size_t size : {most + 2, most + 3}) {
        const problem p(size);
        for (const merge_kernels& kernels : available_paired_kernels())
            for (std::size_t count = 0; count <= most; ++count) {
                numerical::aligned_vector<double> sums(count + 1, guard);
                numerical::aligned_vector<double> want(count + 1, guard);
                for (std::size_t q = 0; q < count; ++q) {
                    const auto add = [&](double element) { want[q] += element * element; };
                    std::size_t i = 0;
                    for (; i + 2 <= size; i += 2) {
                        const double x = p.distance(i, q + 2);
                        const double y = p.distance(i + 1, q + 2);
                        add((p.z[i] * y) * (1 / (x * y)));
                        add((p.z[i + 1] * x) * (1 / (x * y)));
                    }
                    for (; i < size; ++i)
                        add(p.z[i] / p.distance(i, q + 2));
                }
                kernels.add_squares(sums.data(), p.pairs(), p.z.data(), size, 2, count);
                EXPECT_EQ(sums, want) << count << " of " << size;
            }
    }
}

TEST(paired_merge_kernels, row_is_divided_by_distances_times_norms)
{
    const problem p(most);
    for (const merge_kernels& kernels : available_paired_kernels())
        for (std::size_t count = 0; count <= most; ++count) {
            numerical::aligned_vector<double> row(count + 1, guard);
            numerical::aligned_vector<double> want(count + 1, guard);
            for (std::size_t q = 0; q < count; ++q)
                want[q] = p.z[3] / (p.distance(3, q) * p.d[q]);
            kernels.divide_row(row.data(), p.pairs(), p.z[3], p.d[3], p.d.data(), count);
            EXPECT_EQ(row, want) << count;
        }
}

} // namespace
