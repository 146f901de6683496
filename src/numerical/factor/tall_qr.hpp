#pragma once

// QR of matrices with many more rows than columns, which reads them once: rows are taken by blocks
// that stay in cache, each reflected together with the triangle of those before it, in a few chains
// at the same time whose triangles are joined last (Demmel, Grigori, Hoemmen and Langou 2012). The
// shape alone decides on blocks and chains.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/tall_step.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// Shapes that are factored faster so.
constexpr std::size_t least_tall_columns = 8;
constexpr std::size_t most_tall_columns = 320;
constexpr std::size_t least_tall_aspect = 8; // rows for each column
template <class T>
constexpr std::size_t least_tall_elements = std::is_same_v<T, double> ? 32768 : 262144;

template <class T>
bool is_tall(std::size_t rows, std::size_t columns);

// Elements must not be greater.
constexpr double greatest_tall_part = 0x1p900;

template <class T>
class tall_qr
{
public:
    tall_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns);

    aligned_vector<T> r; // columns × columns, upper triangular, its diagonal of any phase

    // B := QᴴB, whose first rows belong to R, and B := Q·B.
    void apply_adjoint(block_view<T> b) const;
    void apply(block_view<T> b) const;

    // The columns of Q times `phases`, in place of the reflectors. R is lost.
    aligned_vector<T> form(const aligned_vector<T>& phases) &&;

private:
    std::size_t rows;
    std::size_t n;
    aligned_vector<T> store; // reflectors
    std::size_t chains;
    std::vector<std::vector<tall_step<T>>> steps; // of each chain
    std::vector<aligned_vector<T>> triangles;     // of the chains but the first: R, then reflectors
    std::vector<tall_step<T>> joints;             // to the first chain

    std::size_t chain_begin(std::size_t c) const { return rows * c / chains; }

    std::size_t
    chain_work(std::size_t columns) const; // of Q times so many, on parallel_for's scale
    block_view<T> triangle(std::size_t c);
    void factorize_chain(std::size_t c);
    block_view<T> top_of(std::size_t c, block_view<T> b) const;
    block_view<T> rows_of(const tall_step<T>& step, block_view<T> b) const;
};

} // namespace numerical::detail
