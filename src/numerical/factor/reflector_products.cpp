#include "numerical/factor/reflector_products.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/sum_by_halves.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/runtime/interruption.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

constexpr std::size_t dot_band = 12; // rows of a register tile

// The first column of the last band.
std::size_t last_band(std::size_t columns)
{
    return (columns - 1) / dot_band * dot_band;
}

// A run's dots. Where zeros are left out, the blocks of a complex sum stay those of the whole.
template <class T>
void add_run_from(std::size_t from, block_view<const T> v, block_view<const T> c, block_view<T> w)
{
    const std::size_t head = std::min(v.rows, split_depth);
    const std::size_t tail = v.rows - head;
    if (from == 0 || (tail != 0 && tail < least_tile_side))
        return add_adjoint_product<T>(v, c, w);
    add_adjoint_product<T>(v.sub(from, head, 0, v.cols), c.sub(from, head, 0, c.cols), w);
    add_adjoint_product<T>(v.sub(head, v.rows, 0, v.cols), c.sub(head, v.rows, 0, c.cols), w);
}

} // namespace

// The first run holds all the zero rows: there are no more than reflectors in a block.
template <class T>
void add_dots_from(std::size_t from, block_view<const T> v,
                   block_view<const std::type_identity_t<T>> c,
                   block_view<std::type_identity_t<T>> w)
{
    if (v.rows <= longest_dot_run)
        return add_run_from<T>(from, v, c, w);
    check_for_interruption();
    const std::size_t half = first_half(v.rows, longest_dot_run);
    add_dots_from<T>(from, v.sub(0, half, 0, v.cols), c.sub(0, half, 0, c.cols), w);
    aligned_vector<T> lower_sums = zeros<T>(w.rows * w.cols);
    add_dots_from<T>(0, v.sub(half, v.rows, 0, v.cols), c.sub(half, c.rows, 0, c.cols),
                     {lower_sums.data(), w.rows, w.cols});
    for (std::size_t i = 0; i < w.rows; ++i)
        for (std::size_t j = 0; j < w.cols; ++j)
            w(i, j) += lower_sums[i * w.cols + j];
}

// In a long V the triangle is not worth the reading of C for each band.
template <class T>
void add_reflector_dots(block_view<const T> v, block_view<const std::type_identity_t<T>> c,
                        block_view<std::type_identity_t<T>> w)
{
    constexpr std::size_t longest = 128;
    const std::size_t last = last_band(v.cols);
    if (v.rows > longest || c.cols == 0 ||
        !summed_as_any_larger({v.cols - last, c.cols, v.rows - last}))
        return add_dots_from<T>(0, v, c, w);
    for (std::size_t j = 0; j < v.cols; j += dot_band) {
        const std::size_t end = std::min(j + dot_band, v.cols);
        add_dots_from<T>(j, v.sub(0, v.rows, j, end), c, w.sub(j, end, 0, w.cols));
    }
}

template <class T>
void add_upper_gram(block_view<const T> v, block_view<std::type_identity_t<T>> gram)
{
    const std::size_t last = last_band(v.cols);
    if (!summed_as_any_larger({v.cols - last, v.cols - last, v.rows - last}))
        return add_dots_from<T>(0, v, v, gram);
    for (std::size_t j = 0; j < v.cols; j += dot_band) {
        const std::size_t end = std::min(j + dot_band, v.cols);
        add_dots_from<T>(j, v.sub(0, v.rows, j, end), v.sub(0, v.rows, j, v.cols),
                         gram.sub(j, end, j, v.cols));
    }
}

template <class T>
void add_reflector_sums(block_view<const T> v, block_view<const std::type_identity_t<T>> x,
                        block_view<T> c)
{
    std::size_t i = 0;
    if (v.cols % row_band == 0 && c.cols >= least_tile_side)
        for (; i + row_band < v.cols; i += row_band) {
            const std::size_t end = i + row_band;
            add_product<T>(v.sub(i, end, 0, end), x.sub(0, end, 0, x.cols),
                           c.sub(i, end, 0, c.cols));
        }
    add_product<T>(v.sub(i, v.rows, 0, v.cols), x, c.sub(i, c.rows, 0, c.cols));
}

template void add_dots_from<double>(std::size_t, block_view<const double>, block_view<const double>,
                                    block_view<double>);
template void add_reflector_dots<double>(block_view<const double>, block_view<const double>,
                                         block_view<double>);
template void add_upper_gram<double>(block_view<const double>, block_view<double>);
template void add_reflector_sums<double>(block_view<const double>, block_view<const double>,
                                         block_view<double>);
template void add_dots_from<complex>(std::size_t, block_view<const complex>,
                                     block_view<const complex>, block_view<complex>);
template void add_reflector_dots<complex>(block_view<const complex>, block_view<const complex>,
                                          block_view<complex>);
template void add_upper_gram<complex>(block_view<const complex>, block_view<complex>);
template void add_reflector_sums<complex>(block_view<const complex>, block_view<const complex>,
                                          block_view<complex>);

} // namespace numerical::detail
