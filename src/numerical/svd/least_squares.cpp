#include "numerical/svd/least_squares.hpp"

#include "numerical/eps.hpp"
#include "numerical/svd/least_squares_fit.hpp"

#include <algorithm>
#include <complex>

namespace numerical {

template <class T>
matrix<T> lstsq(const matrix<T>& a, const matrix<T>& b)
{
    const double cutoff = static_cast<double>(std::max(a.rows, a.cols)) * detail::eps;
    return fit_least_squares(a, b, cutoff, detail::reflector_blocking::by_panels).x;
}

template <class T>
vector<T> lstsq(const matrix<T>& a, const vector<T>& b)
{
    return {lstsq(a, matrix<T>(b.data.size(), 1, b.data)).data};
}

template matrix<double> lstsq(const matrix<double>&, const matrix<double>&);
template matrix<std::complex<double>> lstsq(const matrix<std::complex<double>>&,
                                            const matrix<std::complex<double>>&);
template vector<double> lstsq(const matrix<double>&, const vector<double>&);
template vector<std::complex<double>> lstsq(const matrix<std::complex<double>>&,
                                            const vector<std::complex<double>>&);

} // namespace numerical
