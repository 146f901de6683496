#include "numerical/elementwise/arithmetic_kernels.hpp"

#include "numerical/elementwise/arithmetic_loops.hpp"

namespace numerical::detail {
namespace {

struct product_loop
{
    template <std::size_t left_step, std::size_t right_step>
    static bool run(const double* __restrict left, const double* __restrict right,
                    double* __restrict out, std::size_t n)
    {
        bool nan = false;
        for (std::size_t j = 0; j < 2 * n; j += 2) {
            const double* x = left + j * left_step;
            const double* y = right + j * right_step;
            out[j] = x[0] * y[0] - x[1] * y[1];
            out[j + 1] = x[0] * y[1] + x[1] * y[0];
            nan |= __builtin_isunordered(out[j], out[j + 1]);
        }
        return nan;
    }
};

} // namespace

constexpr arithmetic_kernels portable_arithmetic = arithmetic_with<portable_stream, product_loop>;

} // namespace numerical::detail
