#include "numerical/gemm/kernels/unfused.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {

void plain_unfused(const unfused_operands<complex>& p)
{
    for (std::size_t i = 0; i < p.rows; ++i) {
        complex* const c = p.c + i * p.ldc;
        if (p.update == unfused_update::overwrite)
            std::fill_n(c, p.cols, complex(0));
        for (std::size_t l = 0; l < p.depth; ++l)
            for (std::size_t j = 0; j < p.cols; ++j) {
                const complex term = p.a[i * p.a_row + l * p.a_step] * p.b[l * p.ldb + j];
                if (p.update == unfused_update::subtract)
                    c[j] -= term;
                else
                    c[j] += term;
            }
    }
}

namespace {

// Of products without terms nothing is read: the operands may have no address.
template <class T>
void update_by_nothing(const unfused_operands<T>& p)
{
    if (p.update == unfused_update::overwrite)
        for (std::size_t i = 0; i < p.rows; ++i)
            std::fill_n(p.c + i * p.ldc, p.cols, T(0));
}

} // namespace

template <class T>
void multiply_unfused(int path, const unfused_operands<T>& p)
{
    if (p.depth == 0)
        return update_by_nothing(p);
    using form = void (*)(const unfused_operands<T>&);
    choose<form>(path, portable_unfused, avx2_unfused, avx512_unfused)(p);
}

template void multiply_unfused(int, const unfused_operands<double>&);
template void multiply_unfused(int, const unfused_operands<complex>&);

} // namespace numerical::detail
