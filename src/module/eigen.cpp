#include "numerical/eigen/eigen.hpp"

#include "module/functions.hpp"

#include <complex>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

template <class T>
std::tuple<any_tensor, any_tensor> eigenpairs(const tensor<T>& a, eigen_method method)
{
    using decomposition_of_type =
        std::conditional_t<std::is_same_v<T, double>, symmetric_eigen, hermitian_eigen>;
    if (a.shape.size() != 2)
        throw std::runtime_error("eigh expects a matrix (rank-2 tensor)");
    const gil_release released(a.data.size() >= gil_release_threshold);
    decomposition_of_type decomposition(matrix_from(a), method);
    const std::size_t n = decomposition.size;
    return {tensor<double>({n}, std::move(decomposition.values)),
            tensor<T>({n, n}, std::move(decomposition.vectors.data))};
}

} // namespace

eigen_method eigen_method_named(const std::string& name)
{
    if (name == "tridiagonal_ql")
        return eigen_method::tridiagonal_ql;
    if (name == "jacobi")
        return eigen_method::jacobi;
    if (name == "divide_and_conquer")
        return eigen_method::divide_and_conquer;
    throw std::invalid_argument("unknown method '" + name + "'");
}

std::tuple<any_tensor, any_tensor> eigh(const any_tensor& a, const std::string& method)
{
    const eigen_method chosen = eigen_method_named(method);
    return std::visit([chosen](const auto& of_type) { return eigenpairs(of_type, chosen); }, a);
}

} // namespace numerical::boundary
