#include "numerical/matrix_functions/hermitian.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <type_traits>
#include <utility>

namespace numerical::detail {

namespace {

// Whether each element equals the image of the one across the diagonal.
template <class T, class F>
bool equals_across_diagonal(const matrix<T>& a, const F& image)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            if (a.data[i * a.cols + j] != image(a.data[j * a.cols + i]))
                return false;
    return true;
}

} // namespace

template <class T>
bool is_hermitian(const matrix<T>& a)
{
    return equals_across_diagonal(a, [](const T& x) { return conjugate(x); });
}

bool is_antihermitian(const matrix<complex>& a)
{
    return equals_across_diagonal(a, [](const complex& x) { return negated(conjugate(x)); });
}

template <class T>
void make_hermitian(matrix<T>& x)
{
    const std::size_t n = x.rows;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j <= i; ++j) {
            T& lower = x.data[i * n + j];
            T& upper = x.data[j * n + i];
            lower = 0.5 * lower + 0.5 * conjugate(upper);
            upper = conjugate(lower);
        }
}

template <class T>
hermitian_spectrum<T> spectrum_of_hermitian(matrix<T> a)
{
    using solver = std::conditional_t<std::is_same_v<T, double>, symmetric_eigen, hermitian_eigen>;
    solver found(std::move(a), eigen_method::divide_and_conquer, eigen_blocks::fastest);
    return {std::move(found.values), std::move(found.vectors)};
}

template <class T>
void hermitian_spectrum<T>::clear_rounding()
{
    const double largest = largest_modulus(values.data(), values.size());
    const double rounding =
        double(values.size()) * std::numeric_limits<double>::epsilon() * largest;
    for (double& value : values)
        if (std::abs(value) <= rounding)
            value = 0;
}

// The blocks end with their diagonal blocks, of which both triangles are formed.
template <class T>
matrix<T> spectral_sum_of_rows(block_view<const T> b, const double* f)
{
    const std::size_t n = b.cols;
    aligned_vector<T> scaled = adjoint_copy<T>(b);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < b.rows; ++k)
            scaled[i * b.rows + k] *= f[k];
    matrix<T> sum(n, n, uninitialized<T>(n * n));
    const block_view<T> s{sum.data.data(), n, n};
    for (std::size_t from = 0; from < n; from += spectral_block) {
        const std::size_t to = std::min(from + spectral_block, n);
        gemm_new<T>(n - from, to - from, b.rows, scaled.data() + from * b.rows, b.rows,
                    b.first + from, b.stride, s.row(from) + from, n);
        for (std::size_t i = from; i < to; ++i) {
            s(i, i) = real_part(s(i, i));
            for (std::size_t j = from; j < i; ++j)
                s(j, i) = conjugate(s(i, j));
        }
        adjoint_into<T>(s.sub(from, to, to, n), s.sub(to, n, from, to));
    }
    return sum;
}

template <class T>
matrix<T> spectral_sum(const matrix<T>& vectors, const aligned_vector<double>& f)
{
    const matrix<T> rows = adjoint(vectors);
    return spectral_sum_of_rows<T>({rows.data.data(), rows.rows, rows.cols}, f.data());
}

template bool is_hermitian(const matrix<double>&);
template bool is_hermitian(const matrix<complex>&);
template void make_hermitian(matrix<double>&);
template void make_hermitian(matrix<complex>&);
template struct hermitian_spectrum<double>;
template struct hermitian_spectrum<complex>;
template hermitian_spectrum<double> spectrum_of_hermitian(matrix<double>);
template hermitian_spectrum<complex> spectrum_of_hermitian(matrix<complex>);
template matrix<double> spectral_sum_of_rows(block_view<const double>, const double*);
template matrix<complex> spectral_sum_of_rows(block_view<const complex>, const double*);
template matrix<double> spectral_sum(const matrix<double>&, const aligned_vector<double>&);
template matrix<complex> spectral_sum(const matrix<complex>&, const aligned_vector<double>&);

} // namespace numerical::detail
