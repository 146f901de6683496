#include "numerical/eigen/ql_kernels.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using numbers = numerical::aligned_vector<double>;

struct wave_case
{
    numbers d;
    numbers e;
    ql_sweep sweeps[sweeps_of_wave];
};

constexpr std::size_t rows_of_wave = (sweeps_of_wave - 1) * rows_between_sweeps + 2;

wave_case random_case(std::size_t rows, unsigned seed)
{
    wave_case wave{test::random_vector<double>(rows + rows_of_wave, seed),
                   test::random_vector<double>(rows + rows_of_wave, seed + 1),
                   {}};
    for (double& square : wave.e)
        square *= square;
    const auto parts = test::random_vector<double>(5 * sweeps_of_wave, seed + 2);
    for (std::size_t j = 0; j < sweeps_of_wave; ++j) {
        const double* const x = parts.data() + 5 * j;
        const double cosine = x[0] * x[0];
        wave.sweeps[j] = {x[1], x[2], x[2] * x[2] / cosine, cosine, 1 - cosine};
    }
    return wave;
}

// The sweeps one after the other, each through its own rows.
void run_one_by_one(wave_case& wave, std::size_t from, std::size_t to)
{
    for (std::size_t j = 0; j < sweeps_of_wave; ++j) {
        ql_sweep& at = wave.sweeps[j];
        const std::size_t behind = j * rows_between_sweeps;
        for (std::size_t i = from + behind + 1; i-- > to + behind;) {
            const double length = at.p + wave.e[i];
            const double reciprocal = 1 / length;
            wave.e[i + 1] = at.sine * length;
            const double before = at.gamma;
            if (at.p < least_square) {
                at = {at.shift, 0, at.cosine * wave.e[i], 0, 1};
            } else {
                const double turned = at.p * (wave.d[i] - at.shift) - wave.e[i] * at.gamma;
                at = {at.shift, turned * reciprocal, turned * reciprocal * (turned / at.p),
                      at.p * reciprocal, wave.e[i] * reciprocal};
            }
            wave.d[i + 1] = before + (wave.d[i] - at.gamma);
        }
    }
}

void expect_same(const wave_case& a, const wave_case& b)
{
    EXPECT_EQ(a.d, b.d);
    EXPECT_EQ(a.e, b.e);
    for (std::size_t j = 0; j < sweeps_of_wave; ++j) {
        EXPECT_EQ(a.sweeps[j].gamma, b.sweeps[j].gamma) << j;
        EXPECT_EQ(a.sweeps[j].p, b.sweeps[j].p) << j;
        EXPECT_EQ(a.sweeps[j].cosine, b.sweeps[j].cosine) << j;
        EXPECT_EQ(a.sweeps[j].sine, b.sweeps[j].sine) << j;
    }
}

void expect_sweeps_in_turn(const wave_case& given, std::size_t from, std::size_t to)
{
    const auto compare = [to](wave_case found, wave_case expected) {
        for (wave_case* each : {&found, &expected}) // what the next step is to write
            for (std::size_t j = 1; j < sweeps_of_wave; ++j)
                each->d[to + j * rows_between_sweeps] = each->e[to + j * rows_between_sweeps] = 0;
        expect_same(found, expected);
    };
    wave_case expected = given;
    run_one_by_one(expected, from, to);
    wave_case portable = given;
    run_ql_wave(portable.d.data(), portable.e.data(), from, to, portable.sweeps);
    compare(portable, expected);
    if (!cpu_features().avx2)
        return;
    wave_case wide = given;
    avx2_unfused_run_ql_wave(wide.d.data(), wide.e.data(), from, to, wide.sweeps);
    compare(wide, expected);
}

TEST(ql_wave, has_the_bits_of_its_sweeps_in_turn)
{
    for (const std::size_t rows : {1, 2, 3, 4, 7, 40})
        for (unsigned seed = 0; seed < 10; ++seed)
            for (const std::size_t to : {0, 1})
                if (to < rows)
                    expect_sweeps_in_turn(random_case(rows, seed), rows - 1, to);
}

TEST(ql_wave, exchanges_rows_where_a_sweep_stands_still)
{
    for (std::size_t j = 0; j < sweeps_of_wave; ++j) {
        wave_case wave = random_case(9, unsigned(j));
        wave.sweeps[j].gamma = wave.sweeps[j].p = 0;
        expect_sweeps_in_turn(wave, 8, 0);
        wave.e[4] = 0;
        expect_sweeps_in_turn(wave, 8, 0);
        wave.e[8 + j * rows_between_sweeps] = 0; // beside a sweep that stands still
        expect_sweeps_in_turn(wave, 8, 0);
    }
}

} // namespace
