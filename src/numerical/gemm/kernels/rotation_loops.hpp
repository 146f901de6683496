#pragma once

// The rotations of rotations.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/rotations.hpp"

namespace numerical::detail {
namespace {

// Two vectors of a row: the moving rows of four chains hold eight registers.
template <class Lanes>
struct row_part
{
    using vector = typename Lanes::vector;
    vector left;
    vector right;

    explicit row_part(const double* row)
        : left(Lanes::load(row)), right(Lanes::load(row + Lanes::width))
    {
    }

    row_part(vector l, vector r) : left(l), right(r) {}

    void store(double* row) const
    {
        Lanes::store(row, left);
        Lanes::store(row + Lanes::width, right);
    }

    // Of this moving row and the next one: the row that is left, and the moving one in place.
    row_part rotate(const row_part& next, const double* pair)
    {
        const vector c = Lanes::all(pair[0]);
        const vector s = Lanes::all(pair[1]);
        const row_part out(Lanes::plus(Lanes::times(c, left), Lanes::times(s, next.left)),
                           Lanes::plus(Lanes::times(c, right), Lanes::times(s, next.right)));
        left = Lanes::minus(Lanes::times(c, next.left), Lanes::times(s, left));
        right = Lanes::minus(Lanes::times(c, next.right), Lanes::times(s, right));
        return out;
    }
};

template <class Lanes>
void rotate_part_of_chain(double* row, const rotation_wave& wave)
{
    const std::ptrdiff_t step = wave.step * static_cast<std::ptrdiff_t>(strip_width);
    row_part<Lanes> moving(row);
    const double* pair = wave.coefficients;
    for (std::size_t t = 0; t < wave.length; ++t, pair += 2) {
        moving.rotate(row_part<Lanes>(row + step), pair).store(row);
        row += step;
    }
    moving.store(row);
}

template <class Lanes>
void rotate_part_of_wave(double* row, const rotation_wave& wave)
{
    const std::ptrdiff_t step = wave.step * static_cast<std::ptrdiff_t>(strip_width);
    row_part<Lanes> moving0(row);
    row_part<Lanes> moving1(row - step);
    row_part<Lanes> moving2(row - 2 * step);
    row_part<Lanes> moving3(row - 3 * step);
    const double* pairs = wave.coefficients;
    for (std::size_t t = 0; t < wave.length; ++t, pairs += 2 * wave_chains) {
        const row_part<Lanes> out0 = moving0.rotate(row_part<Lanes>(row + step), pairs);
        const row_part<Lanes> out1 = moving1.rotate(out0, pairs + 2);
        const row_part<Lanes> out2 = moving2.rotate(out1, pairs + 4);
        moving3.rotate(out2, pairs + 6).store(row - 3 * step);
        row += step;
    }
    moving0.store(row);
    moving1.store(row - step);
    moving2.store(row - 2 * step);
    moving3.store(row - 3 * step);
}

// All columns of a strip, part by part.
template <class Lanes>
void rotate_strip(void (*rotate_part)(double*, const rotation_wave&), double* strip,
                  const rotation_wave& wave)
{
    for (std::size_t j = 0; j < strip_width; j += 2 * Lanes::width)
        rotate_part(strip + wave.row * strip_width + j, wave);
}

} // namespace
} // namespace numerical::detail
