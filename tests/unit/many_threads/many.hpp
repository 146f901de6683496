#pragma once

#include "numerical/gemm/path.hpp"
#include "sample.hpp"

#include <cstddef>
#include <vector>

namespace test {

// The numbers of threads that are compared with one; of a sample the widest path has the greatest.
inline std::vector<std::size_t> numbers_of_threads(int path)
{
    return sampled<std::size_t>({2, 3, 7, 64}, std::size_t(path) + 1);
}

} // namespace test
