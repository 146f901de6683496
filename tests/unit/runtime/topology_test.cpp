#include "numerical/runtime/topology.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

using numerical::detail::core_sets_from;
namespace fs = std::filesystem;

// A folder laid out like the kernel's, removed with the test.
class topology : public testing::Test
{
protected:
    fs::path root;
    cpu_set_t allowed;

    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "topology-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root = pattern;
        CPU_ZERO(&allowed);
    }

    void TearDown() override { fs::remove_all(root); }

    void add_cpu(int cpu, const std::string& core, const std::string& package)
    {
        const fs::path folder = root / ("cpu" + std::to_string(cpu)) / "topology";
        fs::create_directories(folder);
        std::ofstream(folder / "core_id") << core << "\n";
        std::ofstream(folder / "physical_package_id") << package << "\n";
        CPU_SET(cpu, &allowed);
    }

    std::vector<cpu_set_t> sets() const { return core_sets_from(allowed, root.string() + "/"); }
};

TEST_F(topology, of_a_root_without_cpus_is_empty)
{
    CPU_SET(0, &allowed);
    EXPECT_TRUE(sets().empty());
}

TEST_F(topology, of_no_allowed_cpu_is_empty)
{
    EXPECT_TRUE(sets().empty());
}

TEST_F(topology, hyperthreads_of_one_core_share_a_set)
{
    add_cpu(0, "0", "0");
    add_cpu(1, "1", "0");
    add_cpu(2, "0", "0");
    const auto found = sets();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(CPU_COUNT(&found[0]), 2);
    EXPECT_TRUE(CPU_ISSET(0, &found[0]) && CPU_ISSET(2, &found[0]));
    EXPECT_EQ(CPU_COUNT(&found[1]), 1);
    EXPECT_TRUE(CPU_ISSET(1, &found[1]));
}

TEST_F(topology, equal_cores_of_two_packages_are_two_sets)
{
    add_cpu(0, "3", "0");
    add_cpu(1, "3", "1");
    EXPECT_EQ(sets().size(), 2U);
}

TEST_F(topology, sets_stay_dense_over_holes_and_leave_out_what_is_not_allowed)
{
    add_cpu(1, "0", "0");
    add_cpu(5, "1", "0");
    add_cpu(6, "1", "0");
    CPU_CLR(6, &allowed);
    const auto found = sets();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_TRUE(CPU_ISSET(1, &found[0]));
    EXPECT_TRUE(CPU_ISSET(5, &found[1]));
    EXPECT_EQ(CPU_COUNT(&found[1]), 1);
}

TEST_F(topology, one_unreadable_cpu_makes_all_unknown)
{
    add_cpu(0, "0", "0");
    add_cpu(1, "word", "0");
    EXPECT_TRUE(sets().empty());
    add_cpu(1, "99999999999999999999", "0");
    EXPECT_TRUE(sets().empty());
    add_cpu(1, "1", "0");
    EXPECT_EQ(sets().size(), 2U);
    CPU_SET(2, &allowed);
    EXPECT_TRUE(sets().empty());
}

TEST_F(topology, blanks_before_and_text_behind_a_number_are_read_over)
{
    add_cpu(0, "  7 ", "0x");
    EXPECT_EQ(sets().size(), 1U);
}

TEST_F(topology, cpu_numbers_of_one_to_four_digits_name_their_folders)
{
    for (const int cpu : {4, 42, 420, 1023})
        add_cpu(cpu, std::to_string(cpu), "-1");
    const auto found = sets();
    ASSERT_EQ(found.size(), 4U);
    EXPECT_TRUE(CPU_ISSET(1023, &found[3]));
}

TEST(hardware_threads, counts_the_allowed_cores_where_there_are_fewer_than_threads)
{
    using namespace numerical::detail;
    const std::size_t cores = core_sets_from(allowed_cpus(), system_cpu_root).size();
    const std::size_t threads = std::max(1U, std::thread::hardware_concurrency());
    EXPECT_EQ(hardware_threads(), cores == 0 ? threads : std::min(cores, threads));
}

TEST(hardware_threads, do_not_see_a_later_affinity)
{
    using namespace numerical::detail;
    const std::size_t before = hardware_threads();
    const cpu_set_t all = allowed_cpus();
    std::size_t first = 0;
    while (!CPU_ISSET(first, &all))
        ++first;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(first, &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    const std::size_t cores = core_sets_from(allowed_cpus(), system_cpu_root).size();
    const std::size_t after = hardware_threads();
    ASSERT_EQ(sched_setaffinity(0, sizeof all, &all), 0);
    EXPECT_LE(cores, 1U);
    EXPECT_EQ(after, before);
}

} // namespace
