#include "module/functions.hpp"

#include "numerical/svd/least_squares.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/rank.hpp"

#include <stdexcept>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

template <class T>
any_tensor lstsq_of_type(const tensor<T>& a, const any_tensor& any_b)
{
    const tensor<T>* const b = std::get_if<tensor<T>>(&any_b);
    if (b == nullptr)
        throw std::runtime_error("lstsq operands must share one dtype");
    const gil_release released(a.data.size() >= gil_release_threshold);
    if (b->shape.size() == 1)
        return tensor<T>(numerical::lstsq(
            matrix_from(a), vector<T>{detail::copy_of(b->data.data(), b->data.size())}));
    return tensor<T>(numerical::lstsq(matrix_from(a), matrix_from(*b)));
}

template <class T>
any_tensor pinv_of_type(const tensor<T>& a)
{
    const gil_release released(a.data.size() >= gil_release_threshold);
    return tensor<T>(numerical::pinv(matrix_from(a)));
}

template <class T>
unsigned long matrix_rank_of_type(const tensor<T>& a)
{
    const gil_release released(a.data.size() >= gil_release_threshold);
    return numerical::matrix_rank(matrix_from(a));
}

} // namespace

any_tensor lstsq(const any_tensor& a, const any_tensor& b)
{
    if (shape_of(a).size() != 2 || (shape_of(b).size() != 1 && shape_of(b).size() != 2))
        throw std::runtime_error("lstsq(a, b) needs a rank-2 a and a rank-1 or rank-2 b");
    return std::visit([&](const auto& of_type) { return lstsq_of_type(of_type, b); }, a);
}

any_tensor pinv(const any_tensor& a)
{
    if (shape_of(a).size() != 2)
        throw std::runtime_error("pinv expects a matrix (rank-2 tensor)");
    return std::visit([](const auto& of_type) { return pinv_of_type(of_type); }, a);
}

unsigned long matrix_rank(const any_tensor& a)
{
    if (shape_of(a).size() != 2)
        throw std::runtime_error("matrix_rank expects a matrix (rank-2 tensor)");
    return std::visit([](const auto& of_type) { return matrix_rank_of_type(of_type); }, a);
}

} // namespace numerical::boundary
