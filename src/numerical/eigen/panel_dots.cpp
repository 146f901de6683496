#include "numerical/eigen/panel_dots.hpp"

#include "numerical/eigen/panel_kernels.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <complex>

namespace numerical::detail {
namespace {

// The plain form, for paths without kernels.
template <class T>
void plain_row_dots(T* out, const T* v, const T* rows, std::size_t stride, std::size_t count,
                    std::size_t n)
{
    for (std::size_t t = 0; t < count; ++t) {
        out[t] = 0;
        for (std::size_t j = 0; j < n; ++j)
            out[t] += conjugate(rows[t * stride + j]) * v[j];
    }
}

row_dots_kernel row_dots_kernel_on(int path, const double*)
{
    return path == avx512_path ? avx512_row_dots : avx2_row_dots;
}

row_dots_kernel row_dots_kernel_on(int path, const complex*)
{
    return path == avx512_path ? avx512_complex_row_dots : avx2_complex_row_dots;
}

} // namespace

template <class T>
void row_dots(int path, T* out, const T* v, const T* rows, std::size_t stride, std::size_t count,
              std::size_t n)
{
    if (path == portable_path)
        return plain_row_dots(out, v, rows, stride, count, n);
    row_dots_kernel_on(path, v)(reinterpret_cast<double*>(out), reinterpret_cast<const double*>(v),
                                reinterpret_cast<const double*>(rows), stride, count, n);
}

template void row_dots(int, double*, const double*, const double*, std::size_t, std::size_t,
                       std::size_t);
template void row_dots(int, complex*, const complex*, const complex*, std::size_t, std::size_t,
                       std::size_t);

} // namespace numerical::detail
