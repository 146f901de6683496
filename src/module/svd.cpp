#include "module/functions.hpp"

#include "numerical/svd/svd.hpp"

#include "numerical/strided/transpose.hpp"

#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

template <class T>
std::tuple<any_tensor, any_tensor, any_tensor> svd_factors(const tensor<T>& a, svd_method method)
{
    if (a.shape.size() != 2)
        throw std::runtime_error("svd expects a matrix (rank-2 tensor)");
    const gil_release released(a.data.size() >= gil_release_threshold);
    svd_decomposition<T> svd(matrix_from(a), method);
    matrix<T> right = detail::adjoint(svd.v);
    const std::size_t k = svd.values.size();
    return {tensor<T>(std::move(svd.u)), tensor<double>({k}, std::move(svd.values)),
            tensor<T>(std::move(right))};
}

} // namespace

svd_method svd_method_named(const std::string& name)
{
    if (name == "bidiagonal_qr")
        return svd_method::bidiagonal_qr;
    if (name == "jacobi")
        return svd_method::jacobi;
    if (name == "divide_and_conquer")
        return svd_method::divide_and_conquer;
    throw std::invalid_argument("unknown method '" + name + "'");
}

std::tuple<any_tensor, any_tensor, any_tensor> svd(const any_tensor& a, const std::string& method)
{
    const svd_method named = svd_method_named(method);
    return std::visit([=](const auto& of_type) { return svd_factors(of_type, named); }, a);
}

} // namespace numerical::boundary
