#include "numerical/svd/truncated_inverse.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/bidiagonal.hpp"
#include "numerical/svd/bidiagonal_divide.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

// The parts of complex numbers are columns of their own beside a real matrix.
template <class T>
block_view<double> parts_of(aligned_vector<T>& a, std::size_t rows)
{
    const std::size_t cols = a.size() * sizeof(T) / sizeof(double) / rows;
    return {as_doubles(a.data()), rows, cols};
}

// B⁺·X from the first `rank` values and vectors of B.
template <class T>
aligned_vector<T> times_inverse(const bidiagonal_svd& of_b, std::size_t rank, aligned_vector<T> x)
{
    const std::size_t n = of_b.values.size();
    aligned_vector<T> along = zeros<T>(x.size() / n * rank);
    const block_view<double> y = parts_of(along, rank);
    add_adjoint_product<double>({.first = of_b.u.data(), .rows = n, .cols = rank, .stride = n},
                                parts_of(x, n), y);
    for (std::size_t i = 0; i < rank; ++i)
        for (std::size_t j = 0; j < y.cols; ++j)
            y(i, j) /= of_b.values[i];
    std::fill(x.begin(), x.end(), T(0));
    add_product<double>({.first = of_b.v.data(), .rows = n, .cols = rank, .stride = n}, y,
                        parts_of(x, n));
    return x;
}

} // namespace

template <class T>
truncated_values apply_truncated_inverse(aligned_vector<T> a, std::size_t n, double cutoff,
                                         aligned_vector<T>& x, reflector_blocking blocking)
{
    auto reduction = blocking == reflector_blocking::by_panels
                         ? bidiagonalize(std::move(a), n)
                         : bidiagonalize_fastest(std::move(a), n);
    bidiagonal_svd of_b = divide_bidiagonal(reduction.d, reduction.e, n);
    const double threshold = cutoff * of_b.values[0];
    const auto rank = static_cast<std::size_t>(std::count_if(
        of_b.values.begin(), of_b.values.end(), [=](double value) { return value > threshold; }));
    if (rank == 0)
        std::fill(x.begin(), x.end(), T(0));
    else
        x = multiply_right_basis(
            reduction, times_inverse(of_b, rank, multiply_left_adjoint(reduction, std::move(x))));
    return {std::move(of_b.values), rank};
}

template truncated_values apply_truncated_inverse(aligned_vector<double>, std::size_t, double,
                                                  aligned_vector<double>&, reflector_blocking);
template truncated_values apply_truncated_inverse(aligned_vector<complex>, std::size_t, double,
                                                  aligned_vector<complex>&, reflector_blocking);

} // namespace numerical::detail
