// In a separate file, so that a test program that defines hardware_threads itself replaces this
// object, and runs the splits of the work for machines with other numbers of cores.

#include "numerical/runtime/topology.hpp"

#include <atomic>
#include <thread>

namespace numerical::detail {
namespace {

std::size_t count_hardware_threads()
{
    const std::size_t cores = core_sets_from(allowed_cpus(), system_cpu_root).size();
    const std::size_t concurrency = std::thread::hardware_concurrency();
    const std::size_t threads = concurrency == 0 ? 1 : concurrency;
    return cores != 0 && threads > cores ? cores : threads;
}

} // namespace

// The first count is kept, in an atomic rather than a guarded static, which a fork during its
// initialisation would leave locked in the child.
std::size_t hardware_threads()
{
    static constinit std::atomic<std::size_t> threads{0};
    if (threads == 0) {
        std::size_t unknown = 0;
        threads.compare_exchange_strong(unknown, count_hardware_threads());
    }
    return threads;
}

} // namespace numerical::detail
