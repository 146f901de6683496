#pragma once

// The physical cores that the process may use. The pool and the loops count cores, not hardware
// threads: two threads of one core share its multipliers and gain nothing in dense work.

#include <cstddef>
#include <sched.h>
#include <string>
#include <vector>

namespace numerical::detail {

constexpr const char* system_cpu_root = "/sys/devices/system/cpu/";

// One mask for each physical core among the `allowed` CPUs, in the order of their lowest CPU
// number: the CPUs of equal (physical_package_id, core_id). `root` ends in a slash. Empty if any
// allowed CPU's topology can't be read, rather than a partial answer.
std::vector<cpu_set_t> core_sets_from(const cpu_set_t& allowed, const std::string& root) noexcept;

// The calling thread's affinity mask; empty if it can't be read.
cpu_set_t allowed_cpus();

// The default number of threads: the physical cores in the affinity mask, or the hardware
// concurrency where the topology is unknown. Read once, at the first call.
std::size_t hardware_threads();

} // namespace numerical::detail
