#pragma once

// The pass of reflect_panel.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, so that what is compiled here stays in its own object.

#include "numerical/gemm/kernels/reflect_panel.hpp"

namespace numerical::detail {
namespace {

// The columns of `vectors` vectors from double `first` of the rows on. The update's fused steps and
// the dots' products use the same two ports of the processor equally long, while sums and
// permutations use others.
template <class lanes, std::size_t vectors, bool has_next>
void reflect_columns_from(std::size_t first, const panel_pass pass)
{
    using vector = typename lanes::vector;
    vector f_real[vectors];
    vector f_imag[vectors];
    vector sum[vectors];
#pragma GCC unroll 4
    for (std::size_t k = 0; k < vectors; ++k) {
        f_real[k] = lanes::load(pass.f_real + first + k * lanes::width);
        f_imag[k] = lanes::load(pass.f_imag + first + k * lanes::width);
        sum[k] = lanes::all(0);
    }
    double* row = pass.rows + first;
    for (std::size_t i = 0; i < 2 * pass.count; i += 2, row += 2 * pass.stride) {
        const vector u = lanes::all(pass.u[i], pass.u[i + 1]);
        const vector u_swapped = lanes::swapped(u);
        const vector v_real = lanes::all(pass.v[i]);
        const vector v_imag = lanes::all(pass.v[i + 1], -pass.v[i + 1]);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < vectors; ++k) {
            vector y = lanes::load(row + k * lanes::width);
            y = lanes::less(lanes::less(y, f_real[k], u), f_imag[k], u_swapped);
            lanes::store(row + k * lanes::width, y);
            const vector product =
                lanes::plus(lanes::times(v_real, y), lanes::times(v_imag, lanes::swapped(y)));
            sum[k] = lanes::plus(sum[k], product);
        }
        if constexpr (has_next)
            __builtin_memcpy(pass.next + i, pass.rows + i * pass.stride + 2 * pass.next_column,
                             2 * sizeof(double));
    }
#pragma GCC unroll 4
    for (std::size_t k = 0; k < vectors; ++k)
        lanes::store(pass.sums + first + k * lanes::width, sum[k]);
}

template <class lanes, bool has_next>
void reflect_rest(std::size_t vectors, std::size_t first, const panel_pass& pass)
{
    if (vectors == 1)
        reflect_columns_from<lanes, 1, has_next>(first, pass);
    else if (vectors == 2)
        reflect_columns_from<lanes, 2, has_next>(first, pass);
    else if (vectors == 3)
        reflect_columns_from<lanes, 3, has_next>(first, pass);
}

// The next column is in the first group.
template <class lanes>
void reflect_columns(const panel_pass& pass)
{
    constexpr std::size_t group = 4 * lanes::width;
    const std::size_t end = 2 * pass.width;
    if (end < group)
        return reflect_rest<lanes, true>(end / lanes::width, 0, pass);
    reflect_columns_from<lanes, 4, true>(0, pass);
    std::size_t first = group;
    for (; first + group <= end; first += group)
        reflect_columns_from<lanes, 4, false>(first, pass);
    reflect_rest<lanes, false>((end - first) / lanes::width, first, pass);
}

} // namespace
} // namespace numerical::detail
