#pragma once

// Panels: the copies of A and B that the tiles read in a row. An A panel has mr rows, element (r,
// p) at p·mr + r; a B panel has nr columns, element (p, j) at p·nr + j; what lies beyond the
// operand is zero.

#include "numerical/aligned_block.hpp"

#include <cstddef>

namespace numerical::detail {

// The memory of one product's panels. It is taken from the thread's kept block and given back, so
// that repeated products allocate nothing; a product nested in this one, on the same thread, finds
// none kept and makes its own.
template <class T>
class packing_storage
{
public:
    packing_storage(std::size_t a_elements, std::size_t b_elements);
    packing_storage(const packing_storage&) = delete;
    packing_storage& operator=(const packing_storage&) = delete;
    ~packing_storage();

    static aligned_block<T>& kept();

private:
    aligned_block<T> block;

public:
    T* a; // both on lines of 64 bytes
    T* b;
};

// Rows `first` to `last` of A's block, which begins at `a` and has `depth` columns, into panels.
template <std::size_t mr, class T>
void pack_a(const T* a, std::size_t lda, std::size_t first, std::size_t last, std::size_t depth,
            T* panels);

// The same for complex rows, lda in doubles: a panel of the real parts, then one of the imaginary
// parts.
template <std::size_t mr>
void pack_parts_of_a(const double* a, std::size_t lda, std::size_t first, std::size_t last,
                     std::size_t depth, double* panels);

// Columns `first` to `last` of B's block, which begins at `b` and has `depth` rows, into panels.
template <std::size_t nr, class T>
void pack_b(const T* b, std::size_t ldb, std::size_t first, std::size_t last, std::size_t depth,
            T* panels);

// The same for complex columns, all in doubles: a position of a panel holds the real parts of its
// numbers and then the imaginary ones, in the order in which interleaving the halves of a vector
// leaves them: 0, h, 1, h + 1, ... where the panel has 2·h numbers.
template <std::size_t nr>
void pack_parts_of_b(const double* b, std::size_t ldb, std::size_t first, std::size_t last,
                     std::size_t depth, double* panels);

} // namespace numerical::detail
