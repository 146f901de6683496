#pragma once

// Some of the eigenvalues of a Hermitian matrix, by their places or by an interval, and only their
// eigenvectors. Many come from the reduction and the divide and conquer of the whole problem, and
// have its values; what is spared are the last merge's products and the way back for all other
// vectors. Few come from inverse iteration, with values from bisection if their places are given,
// and those of a large real matrix from a reduction in two stages. Where the iteration doesn't pass
// its tests there is divide and conquer, so that the vectors are as orthogonal as those of the
// whole problem, clusters or not.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/pencil.hpp"
#include "numerical/matrix.hpp"

#include <cstddef>
#include <limits>

namespace numerical {

// All, a range of places [first, last), or what lies in the interval (above, upto].
class eigen_selection
{
public:
    static eigen_selection all() { return by_value(-infinity, infinity); }

    static eigen_selection by_place(std::size_t first, std::size_t last);
    static eigen_selection by_value(double above, double upto);

    // Of ascending values. A range of places is cut to those that there are.
    detail::index_range among(const aligned_vector<double>& values) const;

    // The same of a range of places, which need no values.
    detail::index_range places_of(std::size_t n) const;

    bool is_whole(std::size_t n) const;

    bool is_interval() const { return !places; }

    // So many of n values at most.
    std::size_t most(std::size_t n) const { return places ? range.count() : n; }

private:
    static constexpr double infinity = std::numeric_limits<double>::infinity();

    bool places = false;
    detail::index_range range{0, 0};
    double above = -infinity;
    double upto = infinity;
};

// Ascending values, and in the columns of an n × k matrix their vectors.
template <class T>
struct eigenpairs
{
    aligned_vector<double> values;
    matrix<T> vectors;
};

// Unit vectors. Only the lower triangle is read. dimension_error if `a` isn't square,
// non_finite_error, convergence_error: the texts of symmetric_eigen and hermitian_eigen. T = double
// or std::complex<double>.
template <class T>
eigenpairs<T> selected_eigenpairs(matrix<T> a, const eigen_selection& selection);

// Of the pair; what definite_pencil says and throws, and convergence_error.
template <class T>
eigenpairs<T> selected_eigenpairs(matrix<T> a, matrix<T> b, pencil_form form,
                                  const eigen_selection& selection);

// The values alone, by the method of eigenvalues.hpp.
template <class T>
aligned_vector<double> selected_eigenvalues(matrix<T> a, const eigen_selection& selection);
template <class T>
aligned_vector<double> selected_eigenvalues(matrix<T> a, matrix<T> b, pencil_form form,
                                            const eigen_selection& selection);

} // namespace numerical
