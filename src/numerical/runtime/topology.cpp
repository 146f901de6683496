#include "numerical/runtime/topology.hpp"

#include <exception>
#include <fstream>
#include <map>
#include <utility>

namespace numerical::detail {
namespace {

// The number on the file's first line; std::stol refuses the empty line of a missing file.
long number_in(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return std::stol(line);
}

std::vector<cpu_set_t> read_core_sets(const cpu_set_t& allowed, const std::string& root)
{
    std::vector<cpu_set_t> sets;
    std::map<std::pair<long, long>, std::size_t> index_of;
    for (std::size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (!CPU_ISSET(cpu, &allowed))
            continue;
        const std::string directory = root + "cpu" + std::to_string(cpu) + "/topology/";
        const long core = number_in(directory + "core_id");
        const long package = number_in(directory + "physical_package_id");
        const auto [place, is_new] = index_of.try_emplace({package, core}, sets.size());
        if (is_new)
            CPU_ZERO(&sets.emplace_back());
        CPU_SET(cpu, &sets[place->second]);
    }
    return sets;
}

} // namespace

std::vector<cpu_set_t> core_sets_from(const cpu_set_t& allowed, const std::string& root) noexcept
{
    try {
        return read_core_sets(allowed, root);
    } catch (const std::exception&) {
        return {};
    }
}

cpu_set_t allowed_cpus()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        CPU_ZERO(&allowed);
    return allowed;
}

} // namespace numerical::detail
