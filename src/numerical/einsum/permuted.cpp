#include "numerical/einsum/permuted.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/einsum/loop_axes.hpp"
#include "numerical/strided/strided_copy.hpp"

#include <complex>

namespace numerical::detail {

template <class T>
aligned_vector<T> permuted(std::span<const T> data, const std::string& from, const std::string& to,
                           const label_extents& extents)
{
    if (data.empty())
        return {};
    return strided_copy<T>(data.data(), loop_axes<1>(to, {label_strides(from, extents)}, extents));
}

template aligned_vector<double> permuted(std::span<const double>, const std::string&,
                                         const std::string&, const label_extents&);
template aligned_vector<std::complex<double>> permuted(std::span<const std::complex<double>>,
                                                       const std::string&, const std::string&,
                                                       const label_extents&);

} // namespace numerical::detail
