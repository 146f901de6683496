#include "numerical/nonsymmetric/strip_kernels.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {

template <class T>
void reflect_strip(T* rows, const strip_reflector<T>* reflectors, std::size_t count,
                   std::size_t doubles)
{
    constexpr std::size_t width = strip_columns<T>;
    const std::size_t columns = doubles * sizeof(double) / sizeof(T);
    for (std::size_t i = 0; i < count; ++i) {
        const strip_reflector<T>& h = reflectors[i];
        T* const r0 = rows + i * width;
        T* const r1 = r0 + width;
        T* const r2 = r1 + width;
        const T w1 = conjugate(h.w1);
        const T w2 = conjugate(h.w2);
        for (std::size_t j = 0; j < columns; ++j) {
            const T t = r0[j] + finite_product(w1, r1[j]) + finite_product(w2, r2[j]);
            r0[j] -= h.tau * t;
            r1[j] -= finite_product(h.tau_w1, t);
            r2[j] -= finite_product(h.tau_w2, t);
        }
    }
}

template void reflect_strip(double*, const strip_reflector<double>*, std::size_t, std::size_t);
template void reflect_strip(complex*, const strip_reflector<complex>*, std::size_t, std::size_t);

void reflect_strip_on(int path, double* rows, const strip_reflector<double>* reflectors,
                      std::size_t count, std::size_t doubles)
{
    static_assert(sizeof(strip_reflector<double>) == 5 * sizeof(double));
    if (path == portable_path)
        return reflect_strip(rows, reflectors, count, doubles);
    const auto form = path == avx512_path ? avx512_reflect_strip : avx2_reflect_strip;
    form(rows, reinterpret_cast<const double*>(reflectors), count, doubles);
}

void reflect_strip_on(int path, complex* rows, const strip_reflector<complex>* reflectors,
                      std::size_t count, std::size_t doubles)
{
    static_assert(sizeof(strip_reflector<complex>) == 9 * sizeof(double));
    if (path == portable_path)
        return reflect_strip(rows, reflectors, count, doubles);
    const auto form =
        path == avx512_path ? avx512_reflect_complex_strip : avx2_reflect_complex_strip;
    form(reinterpret_cast<double*>(rows), reinterpret_cast<const double*>(reflectors), count,
         doubles);
}

} // namespace numerical::detail
