#pragma once

// Singular values and vectors of a real upper bidiagonal matrix by divide and conquer (Gu and
// Eisenstat 1995). The matrix is torn at its middle row; what that row couples to the singular
// vectors of the two halves is an arrow: a first row z over a diagonal,
//
//     [ z₀ z₁ ... ]
//     [    d₁     ]
//     [       ... ]
//
// whose values are the roots of a secular equation, and whose vectors follow from z computed anew,
// such that the roots are exact for it (Gu and Eisenstat 1994). So they are orthogonal without
// extra precision.

#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/merge_workspace.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// Problems below this order go to the QR iteration.
constexpr std::size_t bidiagonal_leaf_order = 33;

struct bidiagonal_svd
{
    std::vector<double> values; // descending
    std::vector<double> u;      // n × n, left vectors in columns
    std::vector<double> v;      // n × n, right vectors in columns
};

// d and e hold the diagonal and the superdiagonal, n entries each. convergence_error from a leaf's
// iteration, or "the secular equation did not converge".
bidiagonal_svd divide_bidiagonal(const std::vector<double>& d, const std::vector<double>& e,
                                 std::size_t n);

// All values and the vectors of the `count` largest, in the columns of n × count matrices: the last
// merge, which has three quarters of the products, is made for them only. For n from the leaf's
// order on.
bidiagonal_svd divide_bidiagonal_leading(const std::vector<double>& d, const std::vector<double>& e,
                                         std::size_t n, std::size_t count);

// The same with left and right the n × n bases by rows that B stands between. On return d holds the
// singular values, and row k of either basis belongs to d[k].
template <class T>
void bidiagonal_divide_and_conquer(std::vector<double>& d, const std::vector<double>& e,
                                   std::vector<T>& left, std::vector<T>& right, std::size_t n);

// The same singular values, bit by bit, without vectors.
std::vector<double> bidiagonal_values(const std::vector<double>& d, const std::vector<double>& e,
                                      std::size_t n);

// b := a·b for the real n × n matrix a.
template <class T>
void multiply_real_left(const std::vector<double>& a, std::vector<T>& b, std::size_t n);

// An n × m problem has n diagonal entries and m - 1 couplings, m = n or m = n + 1. Its left vectors
// are the columns of u, n × n, and its right ones those of v, m × m, the last of which is the null
// vector if m > n. A parent needs only two rows of its children's v to find its values: when they
// are all that is wanted u has no rows and v holds the first and the last row only. When nothing is
// wanted but the values v has room for the two rows of the children.
enum class wanted_rows { all, ends, none };

struct bidiagonal_vectors
{
    block_view<double> u;
    block_view<double> v;
    wanted_rows wanted;

    bool complete() const { return wanted == wanted_rows::all; }
};

struct arrow_workspace
{
    merge_workspace right;         // roots: distances to the roots, then the right small vectors
    workspace_buffer left_vectors; // the left small vectors
};

// The two solved halves of an n × m problem, torn at row k: columns 1 .. k of the vectors belong
// to the upper half, columns k + 1 .. n - 1 to the lower one, and column 0 to the torn row.
struct torn_problem
{
    std::size_t k;
    double alpha; // the torn row's diagonal entry
    double beta;  // and its coupling to the right
    std::vector<double> z;
};

// values holds the diagonal of the arrow, values[0] = 0. On return it holds the singular values of
// the torn problem, ascending, and `vectors` its vectors.
void merge_arrow(std::vector<double>& values, torn_problem torn, const bidiagonal_vectors& vectors,
                 arrow_workspace& workspace);

// The same for the columns `wanted` of square bases, which go into u and v; `vectors` is spent.
void merge_arrow_choosing(std::vector<double>& values, torn_problem torn,
                          const bidiagonal_vectors& vectors, index_range wanted,
                          block_view<double> u, block_view<double> v);

} // namespace numerical::detail
