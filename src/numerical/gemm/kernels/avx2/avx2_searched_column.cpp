#include "numerical/gemm/kernels/searched_column.hpp"

#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/searched_column_loops.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

largest_in_column avx2_update_and_search(const column_update<double>& update)
{
    return update_and_search<lanes, real_coefficient<lanes>>(update);
}

largest_in_column avx2_update_and_search_complex(const column_update<std::complex<double>>& update)
{
    return update_and_search<lanes, complex_coefficient<lanes>>(update);
}

} // namespace numerical::detail
