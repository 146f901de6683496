#include "numerical/eigen/rotation_kernels.hpp"

namespace numerical::detail {
namespace {

// As many columns at a time as keep the moving rows of four chains in sixteen registers of two.
constexpr std::size_t lanes = 4;

template <std::size_t chains>
void rotate_lanes(double* columns, const rotation_wave& wave)
{
    constexpr auto width = static_cast<std::ptrdiff_t>(strip_width);
    const std::ptrdiff_t step = wave.step * width;
    double* row = columns + wave.row * strip_width;
    const auto row_behind = [&](std::size_t count) {
        return row - static_cast<std::ptrdiff_t>(count) * step;
    };
    double moving[chains][lanes];
    for (std::size_t q = 0; q < chains; ++q)
        for (std::size_t j = 0; j < lanes; ++j)
            moving[q][j] = row_behind(q)[j];
    const double* pair = wave.coefficients;
    for (std::size_t t = 0; t < wave.length; ++t) {
        row += step;
        double next[lanes];
        for (std::size_t j = 0; j < lanes; ++j)
            next[j] = row[j];
        for (std::size_t q = 0; q < chains; ++q, pair += 2)
            for (std::size_t j = 0; j < lanes; ++j) {
                const double out = pair[0] * moving[q][j] + pair[1] * next[j];
                moving[q][j] = pair[0] * next[j] - pair[1] * moving[q][j];
                next[j] = out;
            }
        for (std::size_t j = 0; j < lanes; ++j)
            row_behind(chains)[j] = next[j];
    }
    for (std::size_t q = 0; q < chains; ++q)
        for (std::size_t j = 0; j < lanes; ++j)
            row_behind(q)[j] = moving[q][j];
}

} // namespace

void rotate_chain(double* strip, const rotation_wave& wave)
{
    for (std::size_t j = 0; j < strip_width; j += lanes)
        rotate_lanes<1>(strip + j, wave);
}

void rotate_wave(double* strip, const rotation_wave& wave)
{
    for (std::size_t j = 0; j < strip_width; j += lanes)
        rotate_lanes<wave_chains>(strip + j, wave);
}

} // namespace numerical::detail
