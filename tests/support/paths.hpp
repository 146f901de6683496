#pragma once

// Settings of the process changed for a scope, and the paths and thread counts that a test runs.

#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include "sample.hpp"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace test {

class path_limit
{
public:
    explicit path_limit(int code)
        : former(numerical::detail::gemm_path_cap().exchange(static_cast<unsigned char>(code)))
    {
    }

    path_limit(const path_limit&) = delete;
    path_limit& operator=(const path_limit&) = delete;

    ~path_limit() { numerical::detail::gemm_path_cap() = former; }

private:
    unsigned char former;
};

class thread_limit
{
public:
    explicit thread_limit(std::size_t threads)
        : former(numerical::detail::thread_cap().exchange(threads))
    {
    }

    thread_limit(const thread_limit&) = delete;
    thread_limit& operator=(const thread_limit&) = delete;

    ~thread_limit() { numerical::detail::thread_cap() = former; }

private:
    std::size_t former;
};

// The path codes that this machine, or an emulated program, can run. NUMERICAL_TEST_PATHS leaves
// those whose digits it has: for an emulated program the path that the others' runs lack.
inline std::vector<int> available_paths()
{
    std::vector<int> paths{numerical::detail::portable_path};
    if (numerical::detail::cpu_features().avx2)
        paths.push_back(numerical::detail::avx2_path);
    if (numerical::detail::cpu_features().avx512)
        paths.push_back(numerical::detail::avx512_path);
    if (const char* named = std::getenv("NUMERICAL_TEST_PATHS"))
        std::erase_if(paths, [&](int path) { return std::strchr(named, '0' + path) == nullptr; });
    return paths;
}

// Of a sample all threads that the machine has; tests/unit/many_threads has other numbers then too.
inline const std::vector<std::size_t> thread_counts = sampled<std::size_t>({1, 2, 3, 64}, 3);

} // namespace test
