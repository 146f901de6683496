#include "numerical/eigen/ql_kernels.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numbers = numerical::aligned_vector<double>;

constexpr std::size_t rows_above = 2;

struct wave_case
{
    numbers d;
    numbers e;
    numbers shifts;

    // The block begins after rows_above and ends with the last row but one.
    std::size_t first() const { return rows_above; }

    std::size_t last() const { return d.size() - 2; }
};

wave_case random_case(std::size_t rows, unsigned seed)
{
    wave_case wave{test::random_vector<double>(rows_above + rows + 1, seed),
                   test::random_vector<double>(rows_above + rows + 1, seed + 1),
                   test::random_vector<double>(sweeps_of_wave, seed + 2)};
    for (double& square : wave.e)
        square *= square;
    return wave;
}

// One sweep through the whole block, from the formulas of the rotations.
void run_sweep(wave_case& wave, double shift)
{
    double gamma = wave.d[wave.last()] - shift;
    double p = gamma * gamma;
    double cosine = 1;
    double sine = 0;
    for (std::size_t i = wave.last(); i-- > wave.first();) {
        const double square = wave.e[i];
        const double length = p + square;
        if (i + 1 < wave.last())
            wave.e[i + 1] = sine * length;
        const double before = gamma;
        if (p < least_square) {
            gamma = 0;
            p = cosine * square;
            cosine = 0;
            sine = 1;
        } else {
            const double turned = p * (wave.d[i] - shift) - square * gamma;
            const double reciprocal = 1 / length;
            gamma = turned * reciprocal;
            cosine = p * reciprocal;
            sine = square * reciprocal;
            p = turned * turned * (1 / p) * reciprocal;
        }
        wave.d[i + 1] = before + (wave.d[i] - gamma);
    }
    wave.d[wave.first()] = shift + gamma;
    wave.e[wave.first()] = sine * p;
}

using wave_function = void (*)(double*, double*, std::size_t, std::size_t, const double*);

void expect_sweeps_in_turn(const wave_case& given)
{
    wave_case expected = given;
    for (const double shift : given.shifts)
        run_sweep(expected, shift);
    const auto expect_of = [&](wave_function run_wave) {
        wave_case found = given;
        run_wave(found.d.data(), found.e.data(), found.first(), found.last(), found.shifts.data());
        EXPECT_EQ(found.d, expected.d);
        EXPECT_EQ(found.e, expected.e);
    };
    expect_of(run_ql_wave);
    if (cpu_features().avx2)
        expect_of(avx2_unfused_run_ql_wave);
    if (cpu_features().avx512)
        expect_of(avx512_run_ql_wave);
}

TEST(ql_wave, has_the_bits_of_its_sweeps_in_turn)
{
    for (const std::size_t rows : {2, 3, 4, 5, 9, 40})
        for (unsigned seed = 0; seed < 10; ++seed)
            expect_sweeps_in_turn(random_case(rows_of_wave + rows, 3 * seed));
}

// A shift that is the last entry, and couplings of zero below the rows where a sweep is.
TEST(ql_wave, exchanges_rows_where_a_sweep_stands_still)
{
    for (std::size_t j = 0; j < sweeps_of_wave; ++j) {
        wave_case wave = random_case(rows_of_wave + 9, unsigned(j));
        wave.shifts.front() = wave.d[wave.last()];
        expect_sweeps_in_turn(wave);
        wave.e[wave.last() - 4 - 3 * j] = 0;
        expect_sweeps_in_turn(wave);
        wave.shifts[j] = 0;
        std::fill(wave.d.begin(), wave.d.end(), 0); // every sweep without a shift stands still
        expect_sweeps_in_turn(wave);
    }
}

TEST(ql_wave, keeps_the_sums_of_the_values_and_of_their_squares)
{
    wave_case wave = random_case(rows_of_wave + 30, 1);
    const auto sums = [](const wave_case& of) {
        std::array<double, 2> found{};
        for (std::size_t i = of.first(); i <= of.last(); ++i) {
            found[0] += of.d[i];
            found[1] += of.d[i] * of.d[i] + (i < of.last() ? 2 * of.e[i] : 0.0);
        }
        return found;
    };
    const auto before = sums(wave);
    run_ql_wave(wave.d.data(), wave.e.data(), wave.first(), wave.last(), wave.shifts.data());
    const auto after = sums(wave);
    EXPECT_NEAR(after[0], before[0], 1e-13);
    EXPECT_NEAR(after[1], before[1], 1e-13);
}

} // namespace
