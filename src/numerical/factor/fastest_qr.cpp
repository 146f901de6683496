#include "numerical/factor/fastest_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/tall_qr.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

template <class T>
thin_qr<T> factored(aligned_vector<T> a, std::size_t rows, std::size_t columns, basis_extent extent)
{
    const bool is_huge = any_part_above_on_threads(a.data(), a.size(), greatest_tall_part);
    if (is_huge || !is_tall<T>(rows, columns))
        return householder_qr(std::move(a), rows, columns, extent,
                              is_huge ? reflector_blocking::by_panels
                                      : reflector_blocking::fastest);
    tall_qr<T> factors(std::move(a), rows, columns);
    thin_qr<T> thin{{}, std::move(factors.r)};
    const aligned_vector<T> phases = turn_diagonal_real(thin.r, columns, columns);
    if (extent != basis_extent::none)
        thin.q = std::move(factors).form(phases);
    return thin;
}

} // namespace

template <class T>
thin_qr<T> fastest_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns)
{
    return factored(std::move(a), rows, columns, basis_extent::thin);
}

template <class T>
aligned_vector<T> fastest_triangle(aligned_vector<T> a, std::size_t rows, std::size_t columns)
{
    return factored(std::move(a), rows, columns, basis_extent::none).r;
}

template thin_qr<double> fastest_qr(aligned_vector<double>, std::size_t, std::size_t);
template thin_qr<std::complex<double>> fastest_qr(aligned_vector<std::complex<double>>, std::size_t,
                                                  std::size_t);
template aligned_vector<double> fastest_triangle(aligned_vector<double>, std::size_t, std::size_t);
template aligned_vector<std::complex<double>> fastest_triangle(aligned_vector<std::complex<double>>,
                                                               std::size_t, std::size_t);

} // namespace numerical::detail
