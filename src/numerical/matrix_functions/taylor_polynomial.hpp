#pragma once

// Taylor polynomials of e^x for matrices of small norm, by fewer products than their degree seems
// to ask for and with no system to solve (Bader, Blanes and Casas 2019): degree 8 takes three
// products, degree 12 four and degree 18 five, A² included.

#include "numerical/aligned_vector.hpp"

#include <cstddef>

namespace numerical::detail {

// The largest ‖A^p‖^(1/p) for which the backward error is below the unit roundoff: where the series
// of log(e^(-x)·T(x)), with the moduli of its coefficients, is x·2^-53.
constexpr double taylor_theta8 = 4.9912288711153227e-2;
constexpr double taylor_theta12 = 2.9961589138115805e-1;
constexpr double taylor_theta18 = 1.0908637192900362;

// T(A) of degree 8, 12 and 18 for a dense n × n matrix and its square. `scratch` is room for three
// such matrices, for degree 18 for five. T = double or std::complex<double>.
template <class T>
aligned_vector<T> taylor_of_degree_8(const T* a, const T* a2, std::size_t n, T* scratch);
template <class T>
aligned_vector<T> taylor_of_degree_12(const T* a, const T* a2, std::size_t n, T* scratch);
template <class T>
aligned_vector<T> taylor_of_degree_18(const T* a, const T* a2, std::size_t n, T* scratch);

} // namespace numerical::detail
