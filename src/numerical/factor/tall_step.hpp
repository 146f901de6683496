#pragma once

// One step of a tall QR: a block of rows, that fits in cache, is reflected together with the
// triangle of the blocks before it.
//
//      Q·[ R ]  =  [ R before ]        or, for a first block,     Q·[ R ]  =  [ block ]
//        [ 0 ]     [  block   ]                                     [ 0 ]

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>

namespace numerical::detail {

// add_product or add_adjoint_product.
template <class T>
using product_form = void (*)(block_view<const T>, block_view<const T>, block_view<T>);

enum class block_shape { first, full, triangle };

template <class T>
class tall_step
{
public:
    tall_step() = default;

    // `vectors` is the block, in whose place the reflectors will lie. A first one has at least as
    // many rows as columns; a triangle has as many, zero below the diagonal.
    tall_step(block_view<T> vectors, block_shape shape);

    // Sets the upper triangle of R, n × n, or updates it.
    void factorize(block_view<T> r);

    // [ C ; D ] := Qᴴ·[ C ; D ], D having the block's rows and C being the part of the triangle.
    // Of a first block all of C lies in D.
    void apply_adjoint(block_view<T> c, block_view<T> d) const;
    void apply(block_view<T> c, block_view<T> d) const;

    // Replaces the reflectors by D in [ C ; D ] := Q·[ C ; 0 ] for an upper triangular C, which of
    // a first block lies in D.
    void form(block_view<T> c);

    const block_view<T>& block() const { return v; }

private:
    block_view<T> v{nullptr, 0, 0};
    block_shape shape = block_shape::first;
    aligned_vector<T> tops;
    aligned_vector<T> minus_factors; // of the panel of columns [j, j + w): rows [j, j + w)

    std::size_t panel_end(std::size_t j) const;
    block_view<T> reflected_rows(block_view<T> d, std::size_t from, std::size_t to) const;
    block_view<T> vectors_of(std::size_t from, std::size_t to) const;
    block_view<T> minus_factor(std::size_t from, std::size_t to, std::size_t left,
                               std::size_t right);
    block_view<const T> minus_factor(std::size_t from, std::size_t to) const;
    void factorize_panel(block_view<T> r, std::size_t from, std::size_t to);
    void join(std::size_t from, std::size_t mid, std::size_t to);
    void reflect_right(block_view<T> r, std::size_t from, std::size_t to, std::size_t last) const;
    void reflect(std::size_t from, std::size_t to, block_view<T> c, block_view<T> d,
                 product_form<T> multiply) const;
    void extend(std::size_t from, std::size_t to, block_view<T> c, block_view<T> d) const;
};

} // namespace numerical::detail
