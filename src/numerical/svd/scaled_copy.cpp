#include "numerical/svd/scaled_copy.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/aligned_rows.hpp"

#include <algorithm>
#include <complex>
#include <limits>

namespace numerical::detail {

template <class T>
double scale_of(const matrix<T>& a)
{
    const double largest = largest_modulus(a.data.data(), a.data.size());
    return largest == 0 ? 1.0 : std::min(largest, std::numeric_limits<double>::max());
}

template <class T>
aligned_vector<T> divided(const matrix<T>& a, double scale)
{
    aligned_vector<T> out =
        reserved<T>(a.rows == a.cols ? aligned_rows<T>::room(a.cols) : a.data.size());
    out.insert(out.end(), a.data.begin(), a.data.end());
    divide_row(gemm_path_current(), as_doubles(out.data()), scale,
               out.size() * sizeof(T) / sizeof(double));
    return out;
}

template double scale_of(const matrix<double>&);
template double scale_of(const matrix<complex>&);
template aligned_vector<double> divided(const matrix<double>&, double);
template aligned_vector<complex> divided(const matrix<complex>&, double);

} // namespace numerical::detail
