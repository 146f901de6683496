#pragma once

// The two-stage reduction of hermitian_band.hpp with the way back, for few eigenvectors. The matrix
// is Q₁·band·Q₁ᴴ and the band Q₂·T·Q₂ᴴ, so that both bases act on the vectors of T: the second one
// costs as many operations as the first (Bischof, Lang and Sun 2000), which few vectors repay by
// the time that the first stage spares.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/hermitian_band.hpp"

#include <cstddef>
#include <type_traits>
#include <vector>

namespace numerical::detail {

// The most vectors for which the two stages take less time, of a matrix of order n. A complex
// matrix gains nothing by them: its direct reduction has four times the operations for each element
// read.
template <class T>
constexpr std::size_t most_two_stage_vectors(std::size_t n)
{
    constexpr std::size_t least_order = 1100;
    return std::is_same_v<T, double> && n >= least_order ? n / 20 : 0;
}

template <class T>
struct two_stage_reduction
{
    std::vector<reflector_block<T>> panels; // Q₁, in order
    chase_reflectors<T> chase;              // Q₂
    aligned_vector<T> phases;               // of modulus 1, which make the subdiagonal real
};

// Of the n × n matrix, of which the lower triangle is read, n >= 2, by way of a band of the given
// width. d receives the diagonal, e the moduli of the subdiagonal and a last 0, both of n entries.
template <class T>
two_stage_reduction<T> reduce_in_two_stages(aligned_vector<T> a, std::size_t n, std::size_t width,
                                            aligned_vector<double>& d, aligned_vector<double>& e);

// Real vectors of the tridiagonal matrix, as rows, in the coordinates of the matrix and in columns.
template <class T>
aligned_vector<T> columns_in_matrix_basis(const two_stage_reduction<T>& reduction,
                                          const aligned_vector<double>& given, std::size_t n);

} // namespace numerical::detail
