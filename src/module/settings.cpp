#include "module/functions.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>

namespace numerical::boundary {

void set_num_threads(unsigned long n)
{
    detail::thread_cap().exchange(n);
}

unsigned long get_num_threads()
{
    return detail::allowed_threads();
}

int limit_gemm_path(int code)
{
    detail::gemm_path_cap() = static_cast<unsigned char>(std::clamp(code, 0, 3));
    return detail::gemm_path_current();
}

int gemm_path()
{
    return detail::gemm_path_current();
}

// There is no AMX kernel, so there is nothing to detect.
bool amx_probed()
{
    return false;
}

} // namespace numerical::boundary
