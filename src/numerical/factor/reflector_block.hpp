#pragma once

// Consecutive reflectors as one operator, so that applying it is two products, not a pass over
// the matrix for each reflector: Q = H₀·H₁···H_{c-1} = I - V·T·Vᴴ, the compact form of Schreiber
// and Van Loan (1989). With reflectors of unit length T has 2 on its diagonal.

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

template <class T>
struct reflector_block
{
    std::size_t offset;        // first matrix row that the block acts on
    std::size_t rows;          // how many rows it acts on
    std::size_t count;         // reflectors c
    aligned_vector<T> vectors; // V, rows × count: column j is reflector j, from row j down
    aligned_vector<T> factor;  // T, count × count, upper triangular
};

enum class block_operator { direct, adjoint }; // Q or Qᴴ

// The block of reflectors [from, to). Reflector i of the list acts on rows [i, rows); an empty one
// has a zero column in V and in T.
template <class T>
reflector_block<T> gather_reflectors(const std::vector<aligned_vector<T>>& reflectors,
                                     std::size_t from, std::size_t to, std::size_t rows);

// The block of the reflectors in the columns of V, rows × count. A column of zeros stands for the
// identity.
template <class T>
reflector_block<T> block_of_reflectors(aligned_vector<T> vectors, std::size_t offset,
                                       std::size_t rows, std::size_t count);

// T above and on its diagonal, column by column, from G = VᴴV for reflectors I - betaᵢ·vᵢ·vᵢᴴ
// (Schreiber and Van Loan 1989): T[0..i)[i] = -betaᵢ·T[0..i)[0..i)·G[0..i)[i]. The columns that are
// there lie in the rows of a copy, so that the sums of a new one run side by side. Where beta is
// zero the reflector is the identity and the column of T is left alone.
template <class T>
void fill_factor(block_view<T> factor, block_view<const std::type_identity_t<T>> gram,
                 const double* betas);

// C := Q·C or Qᴴ·C, C being the block's rows of columns [column_from, column_to) of `target`.
template <block_operator form, class T>
void apply_reflector_block(const reflector_block<T>& block, aligned_vector<T>& target,
                           std::size_t ld, std::size_t column_from, std::size_t column_to);

// How a target is cut into slabs of columns, or of rows where C is multiplied from the right.
struct slab_partition
{
    std::size_t width; // of the whole target
    std::size_t count;

    // Slab s is [begin(s), begin(s + 1)).
    std::size_t begin(std::size_t s) const;
};

// Slabs of some 64 vectors, as many for each thread, whatever the length of a vector.
slab_partition narrow_slabs(std::size_t width);

// C := Q·C or Qᴴ·C in slabs of columns, for loops that do other work beside it. Slabs may be
// applied in any order and at the same time; how C was cut before, into parts of at least
// least_tile_side columns by blocks of at least as many reflectors, changes no bit.
template <block_operator form, class T>
class slabs_application
{
public:
    // C has the block's rows. Each thread can have `slabs_per_thread` slabs, if C is wide enough.
    slabs_application(const reflector_block<T>& block, block_view<T> columns,
                      std::size_t slabs_per_thread);

    std::size_t count() const { return slabs.count; }

    // Of a slab, on the scale of parallel_for.
    std::size_t work() const;

    void apply(std::size_t slab) const;

private:
    block_view<const T> vectors;
    aligned_vector<T> factor; // T or Tᴴ
    block_view<T> c;
    slab_partition slabs;
};

// C := Q·[ I 0 ; 0 C11 ], C being all of `q`, `ld` wide, from row and column `offset` on, and I of
// order `count`. The elements outside C11 need not be set before. Taken over the blocks of a
// factorization in reverse order it gives their product's first `ld` columns.
template <class T>
void extend_basis(const reflector_block<T>& block, aligned_vector<T>& q, std::size_t ld);

// C := C·Qᵀ in slabs of rows, C having the block's rows as its columns. The plain transpose, also
// for complex: it multiplies a basis that is stored by rows, (Q·B)ᵀ = Bᵀ·Qᵀ. Owns what it needs.
template <class T>
class transposed_slabs
{
public:
    transposed_slabs(reflector_block<T> block, block_view<T> c);

    transposed_slabs(reflector_block<T> block, block_view<T> c, const slab_partition& rows);

    std::size_t count() const { return slabs.count; }

    // Of a slab, on the scale of parallel_for.
    std::size_t work() const;

    void apply(std::size_t slab) const;

private:
    std::size_t length;
    std::size_t reflectors;
    aligned_vector<T> conjugated;   // conj(V)
    aligned_vector<T> transposed;   // Vᵀ
    aligned_vector<T> minus_factor; // -Tᵀ
    block_view<T> c;
    slab_partition slabs;
};

// C := Q·C for a real C, in slabs of columns. Each dot along the reflectors is one ascending sum,
// however long, so that the bits are those of transposed_slabs for the transpose of C. Owns what it
// needs.
class ascending_slabs
{
public:
    // C has the block's rows. The slabs are narrow ones.
    ascending_slabs(reflector_block<double> block, block_view<double> c);

    std::size_t count() const { return slabs.count; }

    // Of a slab, on the scale of parallel_for.
    std::size_t work() const;

    void apply(std::size_t slab) const;

private:
    reflector_block<double> block; // its factor is -T
    block_view<double> c;
    slab_partition slabs;
};

// C := C·Qᵀ at once for columns [offset, offset + rows) of rows [row_from, row_to) of `target`.
template <class T>
void apply_transposed_reflector_block(const reflector_block<T>& block, aligned_vector<T>& target,
                                      std::size_t ld, std::size_t row_from, std::size_t row_to);

} // namespace numerical::detail
