#include "numerical/elementwise/arithmetic_kernels.hpp"

#include "numerical/elementwise/arithmetic_loops.hpp"

namespace numerical::detail {

constexpr rows_by_form<arithmetic_row> avx512_quotients = real_rows_of<portable_stream, over>;

void avx512_square_roots(const double* x, double* out, std::size_t n)
{
    number_row_of<portable_stream>(square_root_of)(x, out, n);
}

} // namespace numerical::detail
