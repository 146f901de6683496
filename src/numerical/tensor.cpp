#include "numerical/tensor.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace numerical {
namespace {

// dimension_error if the shape holds another number of elements.
template <class T>
void require_size(const tensor<T>& a, const shape_list& shape)
{
    std::size_t count = 1;
    for (const std::size_t extent : shape)
        count = detail::checked_mul(count, extent);
    if (count != a.data.size())
        throw dimension_error("cannot reshape a tensor of size " + std::to_string(a.data.size()) +
                              " into shape " + detail::shape_text(shape));
}

} // namespace

template <class T>
tensor<T>::tensor(matrix<T>&& a) : shape{a.rows, a.cols}, data(std::move(a.data))
{
    finalize();
}

template <class T>
tensor<T>::tensor(const vector<T>& a)
    : shape{a.data.size()}, data(detail::copy_of(a.data.data(), a.data.size()))
{
    finalize();
}

// From the last axis: to the left of a zero extent all strides are 0, and no overflow can arise.
template <class T>
void tensor<T>::finalize()
{
    strides.resize(shape.size());
    std::size_t count = 1;
    for (std::size_t axis = shape.size(); axis-- > 0;) {
        strides[axis] = count;
        count = detail::checked_mul(count, shape[axis]);
    }
    if (data.size() != count)
        throw dimension_error("tensor: data size does not match the shape");
}

template <class T>
tensor<T> eye(std::size_t n)
{
    aligned_vector<T> data = detail::zeros<T>(detail::checked_mul(n, n));
    for (std::size_t i = 0; i < n; ++i)
        data[i * (n + 1)] = T(1);
    return tensor<T>({n, n}, std::move(data));
}

template <class T>
tensor<T> reshape(const tensor<T>& a, shape_list shape)
{
    require_size(a, shape);
    return tensor<T>(std::move(shape), detail::copy_of(a.data.data(), a.data.size()));
}

template <class T>
tensor<T> reshaped_share(const tensor<T>& a, shape_list shape)
{
    require_size(a, shape);
    return tensor<T>(std::move(shape), a.data.part(0, a.data.size()));
}

template <class T>
tensor<T> operator-(const tensor<T>& a)
{
    aligned_vector<T> data = detail::uninitialized<T>(a.data.size());
    std::transform(a.data.begin(), a.data.end(), data.begin(),
                   [](const T& x) { return detail::negated(x); });
    return tensor<T>(a.shape, std::move(data));
}

template struct tensor<double>;
template struct tensor<std::complex<double>>;
template struct tensor<std::ptrdiff_t>;
template struct tensor<std::uint8_t>;
template tensor<double> eye(std::size_t);
template tensor<std::complex<double>> eye(std::size_t);
template tensor<double> reshape(const tensor<double>&, shape_list);
template tensor<std::complex<double>> reshape(const tensor<std::complex<double>>&, shape_list);
template tensor<double> reshaped_share(const tensor<double>&, shape_list);
template tensor<std::complex<double>> reshaped_share(const tensor<std::complex<double>>&,
                                                     shape_list);
template positions reshaped_share(const positions&, shape_list);
template tensor<double> operator-(const tensor<double>&);
template tensor<std::complex<double>> operator-(const tensor<std::complex<double>>&);

} // namespace numerical
