#include "numerical/nonsymmetric/bulge_kernels.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/bulge_loops.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {
namespace {

double entry_of(const bulge_reflector<double>& h, std::size_t i, std::size_t j)
{
    return real_entry(parts_of(h), i, j);
}

complex entry_of(const bulge_reflector<complex>& h, std::size_t i, std::size_t j)
{
    const complex_entry entry(parts_of(h), i, j);
    return {entry.re, entry.im};
}

} // namespace

template <class T>
void reflect_bulge_rows(T* rows, std::size_t stride, std::size_t n, const bulge_reflector<T>& h)
{
    T* const r0 = rows;
    T* const r1 = rows + stride;
    T* const r2 = rows + 2 * stride;
    const T w1c = conjugate(h.w1);
    const T w2c = conjugate(h.w2);
    for (std::size_t j = 0; j < n; ++j) {
        const T t = h.tau * (r0[j] + finite_product(w1c, r1[j]) + finite_product(w2c, r2[j]));
        r0[j] -= t;
        r1[j] -= finite_product(h.w1, t);
        r2[j] -= finite_product(h.w2, t);
    }
}

template <class T>
void reflect_bulge_columns(T* rows, std::size_t stride, std::size_t count,
                           const bulge_reflector<T>& h)
{
    T entries[3][3];
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            entries[i][j] = entry_of(h, i, j);
    for (std::size_t r = 0; r < count; ++r) {
        T* const x = rows + r * stride;
        const T x0 = x[0];
        const T x1 = x[1];
        const T x2 = x[2];
        for (std::size_t j = 0; j < 3; ++j)
            x[j] = finite_product(x0, entries[0][j]) + finite_product(x1, entries[1][j]) +
                   finite_product(x2, entries[2][j]);
    }
}

template void reflect_bulge_rows(double*, std::size_t, std::size_t, const bulge_reflector<double>&);
template void reflect_bulge_rows(complex*, std::size_t, std::size_t,
                                 const bulge_reflector<complex>&);
template void reflect_bulge_columns(double*, std::size_t, std::size_t,
                                    const bulge_reflector<double>&);
template void reflect_bulge_columns(complex*, std::size_t, std::size_t,
                                    const bulge_reflector<complex>&);

template <>
void bulge_kernels<double>::rows(double* first, std::size_t stride, std::size_t n,
                                 const bulge_reflector<double>& h) const
{
    if (path == portable_path)
        return reflect_bulge_rows(first, stride, n, h);
    const auto form = path == avx512_path ? avx512_reflect_bulge_rows : avx2_reflect_bulge_rows;
    form(first, stride, n, parts_of(h));
}

template <>
void bulge_kernels<complex>::rows(complex* first, std::size_t stride, std::size_t n,
                                  const bulge_reflector<complex>& h) const
{
    if (path == portable_path)
        return reflect_bulge_rows(first, stride, n, h);
    const auto form =
        path == avx512_path ? avx512_reflect_complex_bulge_rows : avx2_reflect_complex_bulge_rows;
    form(as_doubles(first), stride, n, parts_of(h));
}

template <>
void bulge_kernels<double>::columns(double* first, std::size_t stride, std::size_t count,
                                    const bulge_reflector<double>& h) const
{
    if (path == portable_path)
        return reflect_bulge_columns(first, stride, count, h);
    const auto form =
        path == avx512_path ? avx512_reflect_bulge_columns : avx2_reflect_bulge_columns;
    form(first, stride, count, parts_of(h));
}

template <>
void bulge_kernels<complex>::columns(complex* first, std::size_t stride, std::size_t count,
                                     const bulge_reflector<complex>& h) const
{
    if (path == portable_path)
        return reflect_bulge_columns(first, stride, count, h);
    const auto form = path == avx512_path ? avx512_reflect_complex_bulge_columns
                                          : avx2_reflect_complex_bulge_columns;
    form(as_doubles(first), stride, count, parts_of(h));
}

template <>
void bulge_kernels<double>::columns_of_two(double* first, std::size_t stride, std::size_t count,
                                           const bulge_reflector<double>& behind,
                                           const bulge_reflector<double>& ahead) const
{
    if (path == avx512_path)
        return avx512_reflect_two_bulges_columns(first, stride, count, parts_of(behind),
                                                 parts_of(ahead));
    columns(first, stride, count, behind);
    columns(first + 3, stride, count, ahead);
}

template <>
void bulge_kernels<complex>::columns_of_two(complex* first, std::size_t stride, std::size_t count,
                                            const bulge_reflector<complex>& behind,
                                            const bulge_reflector<complex>& ahead) const
{
    columns(first, stride, count, behind);
    columns(first + 3, stride, count, ahead);
}

} // namespace numerical::detail
