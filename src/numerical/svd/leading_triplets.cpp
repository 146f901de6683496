#include "numerical/svd/leading_triplets.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"
#include "numerical/svd/scaled_copy.hpp"
#include "numerical/svd/svd.hpp"

#include <complex>
#include <utility>

namespace numerical {
namespace {

using detail::complex;

template <class T>
matrix<T> first_columns(const matrix<T>& a, std::size_t count)
{
    matrix<T> out(a.rows, count, detail::uninitialized<T>(a.rows * count));
    detail::copy_block<T>(detail::view_of(a).sub(0, a.rows, 0, count), detail::view_of(out));
    return out;
}

template <class T>
singular_triplets<T> cut_from_all(const matrix<T>& a, std::size_t k)
{
    svd_decomposition<T> all(a, svd_method::divide_and_conquer, svd_blocks::fastest);
    all.values.resize(k);
    return {first_columns(all.u, k), std::move(all.values), first_columns(all.v, k)};
}

// Of the n × n array, whose largest modulus is 1.
template <class T>
singular_triplets<T> of_square(aligned_vector<T> a, std::size_t n, std::size_t k)
{
    auto reduction = detail::bidiagonalize_fastest(std::move(a), n);
    auto [values, u, v] = detail::divide_bidiagonal_leading(reduction.d, reduction.e, n, k);
    values.resize(k);
    return {{n, k, detail::multiply_left_basis(reduction, std::move(u))},
            std::move(values),
            {n, k, detail::multiply_right_basis(reduction, std::move(v))}};
}

// Q·[ U ; 0 ] for the blocks of a factorization of `rows` rows.
template <class T>
matrix<T> multiplied_by_q(const std::vector<detail::reflector_block<T>>& blocks, std::size_t rows,
                          matrix<T> u)
{
    aligned_vector<T> product = detail::zeros<T>(rows * u.cols);
    std::copy(u.data.begin(), u.data.end(), product.begin());
    for (auto block = blocks.rbegin(); block != blocks.rend(); ++block)
        detail::apply_reflector_block<detail::block_operator::direct>(*block, product, u.cols, 0,
                                                                      u.cols);
    return {rows, u.cols, std::move(product)};
}

// For m >= n.
template <class T>
singular_triplets<T> of_tall(const matrix<T>& a, std::size_t k)
{
    const std::size_t n = a.cols;
    const double scale = detail::scale_of(a);
    aligned_vector<T> work = detail::divided(a, scale);
    singular_triplets<T> found{{0, 0, {}}, {}, {0, 0, {}}};
    if (a.rows > n) {
        auto [r, blocks] = detail::householder_reflect(std::move(work), a.rows, n);
        found = of_square(std::move(r), n, k);
        found.u = multiplied_by_q(blocks, a.rows, std::move(found.u));
    } else {
        found = of_square(std::move(work), n, k);
    }
    for (double& value : found.values)
        value *= scale;
    return found;
}

} // namespace

template <class T>
singular_triplets<T> leading_triplets(const matrix<T>& a, std::size_t k)
{
    const std::size_t least = std::min(a.rows, a.cols);
    if (least < detail::bidiagonal_leaf_order || k == least)
        return cut_from_all(a, k);
    detail::require_finite(a, "SVD");
    if (a.rows >= a.cols)
        return of_tall(a, k);
    singular_triplets<T> found = of_tall(detail::adjoint(a), k);
    std::swap(found.u, found.v);
    return found;
}

template singular_triplets<double> leading_triplets(const matrix<double>&, std::size_t);
template singular_triplets<complex> leading_triplets(const matrix<complex>&, std::size_t);

} // namespace numerical
