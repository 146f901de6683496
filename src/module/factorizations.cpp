#include "module/functions.hpp"

#include "numerical/errors.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

template <class T>
any_tensor cholesky_factor(const tensor<T>& a)
{
    if (a.shape.size() != 2)
        throw dimension_error("cholesky expects a matrix (rank-2 tensor)");
    const gil_release released(a.data.size() >= gil_release_threshold);
    cholesky_decomposition<T> decomposition(a.data.data(), a.shape[0], a.shape[1]);
    const std::size_t n = decomposition.order;
    return tensor<T>(matrix<T>(n, n, std::move(decomposition.factors)));
}

template <class T>
std::tuple<any_tensor, any_tensor> qr_factors(const tensor<T>& a)
{
    if (a.shape.size() != 2)
        throw dimension_error("qr expects a matrix (rank-2 tensor)");
    const gil_release released(a.data.size() >= gil_release_threshold);
    matrix<T> work = matrix_from(a);
    detail::require_finite(work, "QR decomposition");
    const std::size_t k = std::min(work.rows, work.cols);
    auto [q, r] = detail::householder_qr(std::move(work.data), work.rows, work.cols);
    return {tensor<T>(matrix<T>(work.rows, k, std::move(q))),
            tensor<T>(matrix<T>(k, work.cols, std::move(r)))};
}

} // namespace

any_tensor cholesky(const any_tensor& a)
{
    return std::visit([](const auto& of_type) { return cholesky_factor(of_type); }, a);
}

std::tuple<any_tensor, any_tensor> qr(const any_tensor& a)
{
    return std::visit([](const auto& of_type) { return qr_factors(of_type); }, a);
}

} // namespace numerical::boundary
