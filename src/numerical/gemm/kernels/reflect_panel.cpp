#include "numerical/gemm/kernels/reflect_panel.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {

void reflect_panel(const panel_pass& pass)
{
    const auto* const u = reinterpret_cast<const complex*>(pass.u);
    const auto* const v = reinterpret_cast<const complex*>(pass.v);
    auto* const sums = reinterpret_cast<complex*>(pass.sums);
    std::fill_n(sums, pass.width, complex(0));
    for (std::size_t i = 0; i < pass.count; ++i) {
        auto* const y = reinterpret_cast<complex*>(pass.rows + 2 * i * pass.stride);
        for (std::size_t l = 0; l < pass.width; ++l) {
            y[l] -= complex(pass.f_real[2 * l], pass.f_imag[2 * l + 1]) * u[i];
            sums[l] += y[l] * std::conj(v[i]);
        }
        reinterpret_cast<complex*>(pass.next)[i] = y[pass.next_column];
    }
}

void reflect_panel_on(int path, const panel_pass& pass)
{
    choose(path, reflect_panel, avx2_reflect_panel, avx512_reflect_panel)(pass);
}

} // namespace numerical::detail
