#include "numerical/gemm/kernels/reflected_dots.hpp"

#include "numerical/gemm/kernels/dot.hpp"
#include "numerical/gemm/path.hpp"

namespace numerical::detail {

void reflected_dots(const reflected_dots_pass& pass)
{
    for (std::size_t c = 0; c < pass.count; ++c) {
        double* const y = pass.columns + c * pass.stride;
        for (std::size_t i = 0; i < pass.length; ++i)
            y[i] += pass.factors[c] * pass.u[i];
        pass.dots[c] = dot_product<double>(pass.v, y, pass.length);
    }
}

void reflected_dots_on(int path, const reflected_dots_pass& pass)
{
    choose(path, reflected_dots, avx2_reflected_dots, avx512_reflected_dots)(pass);
}

} // namespace numerical::detail
