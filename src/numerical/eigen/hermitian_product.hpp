#pragma once

// y = A·x for a Hermitian A held by its lower triangle: the memory-bound step of the reduction to
// tridiagonal form. An element a(i, j) is read once and serves twice, as itself in row i and
// conjugated in row j. So that rows can be taken in parallel, each block of 32 rows adds into a
// result vector of its own, and these are added in the order of the blocks: the sum does not
// depend on the number of threads.

#include "numerical/aligned_vector.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <functional>

namespace numerical::detail {

// The product in two steps, so that what follows it for each element of y can be done in the loop
// that adds the blocks' results. `partials` is kept between products and grows when it must. T =
// double or std::complex<double>.
template <class T>
class hermitian_product
{
public:
    hermitian_product(block_view<const T> matrix, const T* vector, T* product,
                      aligned_vector<T>& partial_sums);

    // The blocks' results, on threads if the work is worth it, and beside() on the calling one.
    void multiply(const std::function<void()>& beside);

    // Elements [from, to) of y, `from` a multiple of most_added: of these at most.
    void add_up(std::size_t from, std::size_t to) const;

    static constexpr std::size_t most_added = 64 * sizeof(double) / sizeof(T);

    // How many results an element of y is the sum of, where they are added by add_up.
    std::size_t results() const { return shared ? blocks : 0; }

private:
    int path;
    block_view<const T> a;
    const T* x;
    T* y;
    aligned_vector<T>& partials;
    std::size_t blocks;
    std::size_t work; // of a block
    bool shared;      // else multiply adds up as it goes

    std::size_t last_row(std::size_t block) const;
    void multiply_block(std::size_t block, T* sums) const;
};

} // namespace numerical::detail
