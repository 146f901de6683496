#pragma once

// Numbers in the blocks of eight rows that bidiagonal_step.hpp describes.

#include "numerical/scalar.hpp"
#include "numerical/svd/bidiagonal_step.hpp"

#include <cstddef>

namespace numerical::detail {

template <class T>
constexpr std::size_t step_parts = sizeof(T) / sizeof(double);

template <class T>
constexpr std::size_t step_tile_columns = step_block_doubles / step_row_block / step_parts<T>;

// Where the real part of row i is, with `columns` numbers in a row; an imaginary part comes
// step_row_block later.
template <class T>
constexpr std::size_t place_of_row(std::size_t i, std::size_t columns = 1)
{
    constexpr std::size_t column = step_parts<T> * step_row_block;
    return i / step_row_block * (columns * column) + i % step_row_block;
}

inline double number_at(const double* place, double)
{
    return *place;
}

inline complex number_at(const double* place, complex)
{
    return {place[0], place[step_row_block]};
}

inline void set_number(double* place, double x)
{
    *place = x;
}

inline void set_number(double* place, complex z)
{
    place[0] = z.real();
    place[step_row_block] = z.imag();
}

} // namespace numerical::detail
