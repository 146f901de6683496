#include "numerical/gemm/kernels/gemv.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <type_traits>

namespace numerical::detail {
namespace {

// Ascending sums by the textbook formula, several times faster than checking each product. A
// product with a NaN leaves one in its sum, and only such sums are formed again.
template <class T>
void plain_row_dots(T* out, const T* v, const T* rows, std::size_t stride, std::size_t count,
                    std::size_t n)
{
    for (std::size_t t = 0; t < count; ++t) {
        const T* const row = rows + t * stride;
        T sum = 0;
        for (std::size_t j = 0; j < n; ++j)
            sum += finite_product(conjugate(row[j]), v[j]);
        if (has_nan(sum)) {
            sum = 0;
            for (std::size_t j = 0; j < n; ++j)
                sum += conjugate(row[j]) * v[j];
        }
        out[t] = sum;
    }
}

using dots_kernel = void (*)(double*, const double*, const double*, std::size_t, std::size_t,
                             std::size_t);

} // namespace

template <class T>
void row_dots(int path, T* out, const T* v, const T* rows, std::size_t stride, std::size_t count,
              std::size_t n)
{
    if (path == portable_path)
        return plain_row_dots(out, v, rows, stride, count, n);
    constexpr bool real = std::is_same_v<T, double>;
    constexpr dots_kernel avx2 = real ? avx2_row_dots : avx2_complex_row_dots;
    constexpr dots_kernel avx512 = real ? avx512_row_dots : avx512_complex_row_dots;
    (path == avx512_path ? avx512 : avx2)(as_doubles(out), as_doubles(v), as_doubles(rows), stride,
                                          count, n);
}

template void row_dots(int, double*, const double*, const double*, std::size_t, std::size_t,
                       std::size_t);
template void row_dots(int, complex*, const complex*, const complex*, std::size_t, std::size_t,
                       std::size_t);

void add_row_dots_on(int path, double* w, const double* rows, std::size_t stride, std::size_t count,
                     const double* x, std::size_t n)
{
    choose(path, add_row_dots, avx2_add_row_dots, avx512_add_row_dots)(w, rows, stride, count, x,
                                                                       n);
}

void add_row_dots_on(int path, complex* w, const complex* rows, std::size_t stride,
                     std::size_t count, const complex* x, std::size_t n)
{
    choose(path, add_complex_row_dots, avx2_add_complex_row_dots, avx512_add_complex_row_dots)(
        as_doubles(w), as_doubles(rows), 2 * stride, count, as_doubles(x), 2 * n);
}

} // namespace numerical::detail
