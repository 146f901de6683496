#pragma once

// Balancing (Parlett and Reinsch 1969): a permutation that parts off eigenvalues which a matrix
// shows openly, and a diagonal scaling by powers of two, so without rounding, that makes rows and
// columns of the rest alike in norm:
//
//                    [ T0  X   Y ]  0
//     D⁻¹PᵀA·P·D  =  [ 0   B   Z ]  from     T0 and T1 upper triangular.
//                    [ 0   0   T1]  to
//
// Norms are Euclidean and include the diagonal, so that a diagonally dominant matrix is left
// unchanged and the Frobenius norm never grows. With the original choice, the 1-norm without the
// diagonal, scaling may harm matrices that need none (James, Langou and Lowery 2014).

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

enum class balancing { permute, permute_and_scale };

struct balance
{
    std::size_t from;
    std::size_t to;
    std::vector<std::size_t> order; // row and column i of the result are order[i] of the matrix
    aligned_vector<double> scale;   // D by places of the result; empty if it is the identity
};

// a becomes D⁻¹PᵀA·P·D; D is the identity for balancing::permute.
template <class T>
balance balance_matrix(matrix<T>& a, balancing how);

// A scaling step must reduce the sum of the two squared norms at least by this factor (0.95²).
constexpr double balancing_gain = 0.9025;

// No scale leaves [1/greatest_scale, greatest_scale]: squares of vectors that D multiplies must not
// overflow.
constexpr double greatest_scale = 0x1p400;

// X := P·D·X for right eigenvectors, X := P·D⁻¹·X for left ones.
enum class eigenvector_side { right, left };

template <class T>
void undo_balance(const balance& b, eigenvector_side side, matrix<T>& x);

} // namespace numerical::detail
