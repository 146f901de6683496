#pragma once

// One product as the ways of gemm hand it to each other. All matrices are row-major, with strides
// in elements, and must not overlap; any size may be 0.

#include "numerical/gemm/tile_kernels.hpp"

#include <cstddef>

namespace numerical::detail {

// From the operands of a product to those of the next one in a batch, in elements.
struct batch_steps
{
    std::size_t a;
    std::size_t b;
};

// How B lies in memory: row after row, or column after column with a stride from one to the next.
enum class order_of_b { by_rows, by_columns };

template <class T>
struct product_operands
{
    std::size_t m;
    std::size_t n;
    std::size_t k;
    const T* a; // m × k
    std::size_t lda;
    const T* b; // k × n
    std::size_t ldb;
    T* c; // m × n
    std::size_t ldc;
    into_c into = into_c::add;
    order_of_b b_order = order_of_b::by_rows;

    product_operands later(std::size_t count, const batch_steps& steps, T* later_c) const
    {
        product_operands p = *this;
        p.a += count * steps.a;
        p.b += count * steps.b;
        p.c = later_c;
        return p;
    }
};

} // namespace numerical::detail
