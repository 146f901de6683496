#include "numerical/svd/jacobi_svd.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/one_sided_jacobi.hpp"

#include <algorithm>
#include <iterator>
#include <limits>
#include <numeric>

namespace numerical::detail {
namespace {

constexpr std::size_t sweep_limit = 60;

// x less its projections on the first `count` rows of `basis`, one after the other.
template <class T>
void remove_projections(aligned_vector<T>& x, const T* basis, std::size_t count)
{
    const std::size_t n = x.size();
    for (std::size_t p = 0; p < count; ++p) {
        const T* const row = basis + p * n;
        T along = 0;
        for (std::size_t i = 0; i < n; ++i)
            along += conjugate(row[i]) * x[i];
        for (std::size_t i = 0; i < n; ++i)
            x[i] -= along * row[i];
    }
}

// The index of the unit coordinate vector farthest from the span of the first `count` rows; ties go
// to the first.
template <class T>
std::size_t farthest_coordinate(const T* basis, std::size_t count, std::size_t n)
{
    aligned_vector<double> inside(n); // squared length of each one's projection
    for (std::size_t p = 0; p < count; ++p)
        for (std::size_t i = 0; i < n; ++i)
            inside[i] += std::norm(basis[p * n + i]);
    return static_cast<std::size_t>(std::min_element(inside.begin(), inside.end()) -
                                    inside.begin());
}

// A unit vector orthogonal to the first `count` rows of `basis`. The second orthogonalisation
// removes what rounding leaves of the first.
template <class T>
aligned_vector<T> completing_vector(const T* basis, std::size_t count, std::size_t n)
{
    aligned_vector<T> x(n);
    x[farthest_coordinate(basis, count, n)] = T(1);
    remove_projections(x, basis, count);
    remove_projections(x, basis, count);
    const double norm = scaled_norm(x.data(), n);
    for (T& element : x)
        element /= norm;
    return x;
}

// A column of subnormal numbers, whose norm has few digits, as a unit vector.
template <class T>
aligned_vector<T> direction_of_subnormals(const T* column, std::size_t n)
{
    aligned_vector<T> x(column, column + n);
    for (T& element : x)
        element *= tiny_scale(0); // to normal numbers
    const double norm = scaled_norm(x.data(), n);
    for (T& element : x)
        element /= norm;
    return x;
}

// Rows 0 .. n-1 of the result are the columns of the rotated matrix in the given order, divided by
// their norms; zero columns are replaced so that the set is orthonormal.
template <class T>
aligned_vector<T> left_vectors(const aligned_vector<T>& columns,
                               const aligned_vector<double>& norms,
                               const std::vector<std::size_t>& order, std::size_t n)
{
    aligned_vector<T> rows = reserved<T>(n * n);
    for (const std::size_t c : order) {
        const T* const column = columns.data() + c * n;
        if (norms[c] >= std::numeric_limits<double>::min()) {
            std::transform(column, column + n, std::back_inserter(rows),
                           [norm = norms[c]](const T& x) { return x / norm; });
        } else {
            const aligned_vector<T> added =
                norms[c] > 0 ? direction_of_subnormals(column, n)
                             : completing_vector(rows.data(), rows.size() / n, n);
            rows.insert(rows.end(), added.begin(), added.end());
        }
    }
    return rows;
}

} // namespace

template <class T>
square_svd<T> jacobi_svd(aligned_vector<T> a, std::size_t n)
{
    aligned_vector<T> v = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        v[i * n + i] = T(1);
    one_sided_jacobi(a, v, n, sweep_limit);
    transpose_in_place(a, n);
    transpose_in_place(v, n);

    aligned_vector<double> norms(n);
    for (std::size_t j = 0; j < n; ++j)
        norms[j] = scaled_norm(a.data() + j * n, n);
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t i, std::size_t j) { return norms[i] > norms[j]; });

    square_svd<T> out{{}, left_vectors(a, norms, order, n), reserved<T>(n * n)};
    for (const std::size_t c : order) {
        out.values.push_back(norms[c]);
        out.v.insert(out.v.end(), v.data() + c * n, v.data() + (c + 1) * n);
    }
    transpose_in_place(out.u, n);
    transpose_in_place(out.v, n);
    return out;
}

template square_svd<double> jacobi_svd(aligned_vector<double>, std::size_t);
template square_svd<complex> jacobi_svd(aligned_vector<complex>, std::size_t);

} // namespace numerical::detail
