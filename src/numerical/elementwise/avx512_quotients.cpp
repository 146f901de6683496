#include "numerical/elementwise/arithmetic_kernels.hpp"

namespace numerical::detail {
namespace {

template <std::size_t left_step, std::size_t right_step>
void quotients(const double* __restrict left, const double* __restrict right,
               double* __restrict out, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = left[j * left_step] / right[j * right_step];
}

} // namespace

constexpr rows_by_form<arithmetic_row> avx512_quotients{
    {quotients<1, 1>, quotients<1, 0>, quotients<0, 1>}};

void avx512_square_roots(const double* __restrict x, double* __restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        out[i] = __builtin_sqrt(x[i]);
}

} // namespace numerical::detail
