#include "numerical/vector_math/kernels.hpp"

#include "numerical/gemm/path.hpp"

namespace numerical::vector_math {

const kernel_set& kernels_in_force()
{
    switch (detail::gemm_path_current()) {
    case detail::avx512_path:
        return avx512_kernels;
    case detail::avx2_path:
        return avx2_kernels;
    default:
        return portable_kernels;
    }
}

} // namespace numerical::vector_math
