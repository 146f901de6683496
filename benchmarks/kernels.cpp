// The engine's products against the measured peak of fused multiply-adds and against OpenBLAS, and
// its vector and row kernels and the bidiagonal reduction against the measured bandwidth. Each row
// times peak, ours and theirs in turns, so that whatever else the machine does meets all three; the
// figures are those of the best turn, the ratio is the median of the turns' ratios, theirs to ours:
// above 1 we are faster.
//
//     kernels [--benchmark_filter=dgemm.*threads:1]

#include "peak.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/hermitian_product.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/svd/bidiagonal.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <complex>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

struct shape
{
    std::size_t m, n, k;
};

const std::vector<shape> square_and_thin{
    {16, 16, 16},    {32, 32, 32},       {64, 64, 64},       {128, 128, 128},    {256, 256, 256},
    {512, 512, 512}, {1000, 1000, 1000}, {2000, 2000, 2000}, {3000, 3000, 3000}, {2000, 2000, 32},
    {2000, 64, 64},  {16, 4000, 16},     {16, 16, 4000},     {64, 2000, 2000}};

// --- the rival -----------------------------------------------------------------------------------

constexpr int row_major = 101;
constexpr int no_transpose = 111;
using real_product = void (*)(int, int, int, int, int, int, double, const double*, int,
                              const double*, int, double, double*, int);
using complex_product = void (*)(int, int, int, int, int, int, const void*, const void*, int,
                                 const void*, int, const void*, void*, int);

template <class Function>
Function openblas(const char* name)
{
    static void* const library = dlopen("libopenblas.so.0", RTLD_NOW | RTLD_LOCAL);
    return library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, name));
}

void set_threads(std::size_t threads)
{
    thread_cap() = threads;
    if (const auto set = openblas<void (*)(int)>("openblas_set_num_threads"))
        set(static_cast<int>(threads));
}

void multiply_by_rival(const shape& s, const double* a, const double* b, double* c)
{
    static const auto dgemm = openblas<real_product>("cblas_dgemm");
    const auto [m, n, k] = std::tuple(int(s.m), int(s.n), int(s.k));
    dgemm(row_major, no_transpose, no_transpose, m, n, k, 1.0, a, k, b, n, 1.0, c, n);
}

void multiply_by_rival(const shape& s, const complex* a, const complex* b, complex* c)
{
    static const auto zgemm = openblas<complex_product>("cblas_zgemm");
    const auto [m, n, k] = std::tuple(int(s.m), int(s.n), int(s.k));
    const complex one(1.0);
    zgemm(row_major, no_transpose, no_transpose, m, n, k, &one, a, k, b, n, &one, c, n);
}

// --- timing in turns -----------------------------------------------------------------------------

// One thread's figures are CPU time, those of several are wall time.
double seconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
}

struct contest
{
    std::vector<std::function<void()>> parties;
    clockid_t clock;
    std::vector<numerical::aligned_vector<double>> turns; // of each party

    double time_of(const std::function<void()>& party, std::size_t repeats) const
    {
        const double start = seconds(clock);
        for (std::size_t i = 0; i < repeats; ++i)
            party();
        return (seconds(clock) - start) / double(repeats);
    }

    // At least nine turns, and about half a second; calls of microseconds are timed in bunches.
    void run()
    {
        constexpr double least_sample = 1e-4;
        constexpr double enough = 0.5;
        std::vector<std::size_t> repeats;
        for (const auto& party : parties) {
            party();
            const double once = time_of(party, 3);
            repeats.push_back(once > least_sample ? 1 : std::size_t(least_sample / once) + 1);
        }
        turns.assign(parties.size(), {});
        const double start = seconds(CLOCK_MONOTONIC);
        while (turns[0].size() < 9 || seconds(CLOCK_MONOTONIC) - start < enough)
            for (std::size_t p = 0; p < parties.size(); ++p)
                turns[p].push_back(time_of(parties[p], repeats[p]));
    }

    double best(std::size_t party) const
    {
        return *std::min_element(turns[party].begin(), turns[party].end());
    }

    double median_ratio(std::size_t over, std::size_t under) const
    {
        numerical::aligned_vector<double> ratios(turns[over].size());
        for (std::size_t i = 0; i < ratios.size(); ++i)
            ratios[i] = turns[over][i] / turns[under][i];
        std::nth_element(ratios.begin(), ratios.begin() + long(ratios.size() / 2), ratios.end());
        return ratios[ratios.size() / 2];
    }
};

// --- rows ----------------------------------------------------------------------------------------

template <class T>
numerical::aligned_vector<T> random_values(std::size_t count)
{
    std::mt19937_64 generator(count);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    numerical::aligned_vector<T> out(count);
    for (T& x : out)
        x = uniform(generator);
    return out;
}

constexpr std::size_t peak_turns = 4000;

// Multiply-adds in the widest vectors of a path.
struct peak_probe
{
    double (*run)(std::size_t turns);
    double flops_per_turn;
};

peak_probe probe_of(int path)
{
    if (path == avx512_path)
        return {peak::avx512_fma, peak::avx512_flops_per_turn};
    if (path == avx2_path)
        return {peak::avx2_fma, peak::avx2_flops_per_turn};
    return {peak::portable_multiply_add, peak::portable_flops_per_turn};
}

// On `threads` threads at once.
double peak_flops(std::size_t threads)
{
    return double(threads * peak_turns) * probe_of(gemm_path_current()).flops_per_turn;
}

void run_peak(std::size_t threads)
{
    const auto kernel = probe_of(gemm_path_current()).run;
    const auto run = [kernel](std::size_t) { benchmark::DoNotOptimize(kernel(peak_turns)); };
    parallel_for(threads, std::size_t{1} << 20, run);
}

template <class T>
void product_row(benchmark::State& state, shape s, std::size_t threads, int path)
{
    gemm_path_cap() = static_cast<unsigned char>(path);
    set_threads(threads);
    const auto a = random_values<T>(s.m * s.k);
    const auto b = random_values<T>(s.k * s.n);
    auto c = random_values<T>(s.m * s.n);
    auto d = c;
    contest turns{{[&] { run_peak(threads); },
                   [&] { gemm<T>(s.m, s.n, s.k, a.data(), s.k, b.data(), s.n, c.data(), s.n); }},
                  threads == 1 ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC,
                  {}};
    if (openblas<real_product>("cblas_dgemm") != nullptr)
        turns.parties.push_back([&] { multiply_by_rival(s, a.data(), b.data(), d.data()); });
    for (auto _ : state) {
        turns.run();
        state.SetIterationTime(turns.best(1));
    }
    const double flops =
        double(s.m) * double(s.n) * double(s.k) * (std::is_same_v<T, double> ? 2 : 8);
    const double peak = peak_flops(threads) / turns.best(0);
    state.counters["GFLOP/s"] = 1e-9 * flops / turns.best(1);
    state.counters["of_peak"] = flops / turns.best(1) / peak;
    if (turns.parties.size() > 2) {
        state.counters["rival"] = 1e-9 * flops / turns.best(2);
        state.counters["ratio"] = turns.median_ratio(2, 1);
    }
    gemm_path_cap() = 3;
    set_threads(0);
}

// Bytes a second of a kernel that reads `streams` vectors of n doubles, and of a plain copy.
void vector_row(benchmark::State& state, std::size_t n, std::size_t streams,
                const std::function<void(double*, const double*)>& kernel)
{
    auto y = random_values<double>(n);
    const auto x = random_values<double>(n);
    contest turns{{[&] { kernel(y.data(), x.data()); },
                   [&] { std::memcpy(y.data(), x.data(), n * sizeof(double)); }},
                  CLOCK_PROCESS_CPUTIME_ID,
                  {}};
    for (auto _ : state) {
        turns.run();
        state.SetIterationTime(turns.best(0));
    }
    state.counters["GB/s"] = 8e-9 * double(n * streams) / turns.best(0);
    state.counters["copy_GB/s"] = 16e-9 * double(n) / turns.best(1);
}

// The bidiagonal reduction's two products with the trailing matrix, for each column, need read it
// once: n³/3 elements in all. Their bytes a second of the whole reduction, panels and block updates
// included, beside the bytes that a dot of two halves of the matrix reads a second.
template <class T>
void reduction_row(benchmark::State& state, std::size_t n)
{
    set_threads(1);
    const auto a = random_values<T>(n * n);
    const std::size_t half = n * n * sizeof(T) / sizeof(double) / 2;
    const auto* const first = reinterpret_cast<const double*>(a.data());
    contest turns{
        {[&] { benchmark::DoNotOptimize(bidiagonalize(a, n)); },
         [&] { benchmark::DoNotOptimize(dot_on(gemm_path_current(), first, first + half, half)); }},
        CLOCK_PROCESS_CPUTIME_ID,
        {}};
    for (auto _ : state) {
        turns.run();
        state.SetIterationTime(turns.best(0));
    }
    const double swept = double(n) * double(n) * double(n) / 3 * sizeof(T);
    const double rate = swept / turns.best(0);
    const double readable = 16 * double(half) / turns.best(1);
    state.counters["swept_GB/s"] = 1e-9 * rate;
    state.counters["read_GB/s"] = 1e-9 * readable;
    state.counters["of_bandwidth"] = rate / readable;
    set_threads(0);
}

// Every double of x once, on the allowed threads: the limit of a pass that must read them all.
void read_through(const numerical::aligned_vector<double>& x)
{
    constexpr std::size_t chunk = 32768;
    const auto read_chunk = [&](std::size_t i) {
        const double* const from = x.data() + i * chunk;
        const std::size_t half = std::min(chunk, x.size() - i * chunk) / 2;
        benchmark::DoNotOptimize(dot_product(from, from + half, half));
    };
    parallel_for((x.size() + chunk - 1) / chunk, chunk, read_chunk);
}

// The bytes of the lower triangle a second, and the share of those of a plain read of as many.
template <class T>
void hermitian_row(benchmark::State& state, std::size_t n, std::size_t threads)
{
    set_threads(threads);
    const auto a = random_values<T>(n * n);
    const auto x = random_values<T>(n);
    const std::size_t doubles = n * (n + 1) / 2 * (sizeof(T) / sizeof(double));
    const auto as_many = random_values<double>(doubles);
    numerical::aligned_vector<T> y(n);
    numerical::aligned_vector<T> partials;
    const auto multiply = [&] {
        hermitian_product<T> product({a.data(), n, n}, x.data(), y.data(), partials);
        product.multiply([] {});
        constexpr std::size_t piece = hermitian_product<T>::most_added;
        for (std::size_t from = 0; from < n; from += piece)
            product.add_up(from, std::min(from + piece, n));
    };
    contest turns{{multiply, [&] { read_through(as_many); }},
                  threads == 1 ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC,
                  {}};
    for (auto _ : state) {
        turns.run();
        state.SetIterationTime(turns.best(0));
    }
    state.counters["GB/s"] = 8e-9 * double(doubles) / turns.best(0);
    state.counters["read_GB/s"] = 8e-9 * double(doubles) / turns.best(1);
    state.counters["of_read"] = turns.median_ratio(1, 0);
    set_threads(0);
}

std::string tail_of(const shape& s, int path, std::size_t threads)
{
    std::ostringstream tail;
    tail << '/' << s.m << 'x' << s.n << 'x' << s.k << "/path:" << path << "/threads:" << threads;
    return tail.str();
}

// The vector paths of this machine, or the portable one if it has none.
std::vector<int> paths_to_measure()
{
    switch (gemm_path_current()) {
    case avx512_path:
        return {avx2_path, avx512_path};
    case avx2_path:
        return {avx2_path};
    default:
        return {portable_path};
    }
}

void register_products()
{
    for (const int path : paths_to_measure())
        for (const std::size_t threads : {1, 2})
            for (const shape& s : square_and_thin) {
                const std::string tail = tail_of(s, path, threads);
                benchmark::RegisterBenchmark(("dgemm" + tail).c_str(), product_row<double>, s,
                                             threads, path)
                    ->Iterations(1)
                    ->UseManualTime();
                benchmark::RegisterBenchmark(("zgemm" + tail).c_str(), product_row<complex>, s,
                                             threads, path)
                    ->Iterations(1)
                    ->UseManualTime();
            }
}

void register_vectors()
{
    const auto dot = [](double* y, const double* x, std::size_t n) {
        benchmark::DoNotOptimize(dot_product(x, y, n));
    };
    const auto scaled_add = [](double* y, const double* x, std::size_t n) {
        scaled_add_on(gemm_path_current(), y, x, 1e-9, n);
    };
    for (const std::size_t n : {1000UL, 30000UL, 10000000UL}) {
        std::ostringstream length;
        length << '/' << n;
        const std::string tail = length.str();
        benchmark::RegisterBenchmark(
            ("dot" + tail).c_str(),
            [=](benchmark::State& state) {
                vector_row(state, n, 2, [=](double* y, const double* x) { dot(y, x, n); });
            })
            ->Iterations(1)
            ->UseManualTime();
        benchmark::RegisterBenchmark(
            ("scaled_add" + tail).c_str(),
            [=](benchmark::State& state) {
                vector_row(state, n, 3, [=](double* y, const double* x) { scaled_add(y, x, n); });
            })
            ->Iterations(1)
            ->UseManualTime();
    }
}

void register_reductions()
{
    for (const std::size_t n : {500, 1000, 2000}) {
        std::ostringstream order;
        order << '/' << n;
        const std::string tail = order.str();
        benchmark::RegisterBenchmark(("bidiagonalize_real" + tail).c_str(), reduction_row<double>,
                                     n)
            ->Iterations(1)
            ->UseManualTime();
        benchmark::RegisterBenchmark(("bidiagonalize_complex" + tail).c_str(),
                                     reduction_row<complex>, n)
            ->Iterations(1)
            ->UseManualTime();
    }
}

// Triangles that fit the second cache, the third, and neither.
void register_hermitian_products()
{
    for (const std::size_t threads : {1UL, 2UL})
        for (const std::size_t n : {200UL, 1000UL, 4000UL}) {
            std::ostringstream tail;
            tail << '/' << n << "/threads:" << threads;
            benchmark::RegisterBenchmark(("symmetric_product" + tail.str()).c_str(),
                                         hermitian_row<double>, n, threads)
                ->Iterations(1)
                ->UseManualTime();
            benchmark::RegisterBenchmark(("hermitian_product" + tail.str()).c_str(),
                                         hermitian_row<complex>, n, threads)
                ->Iterations(1)
                ->UseManualTime();
        }
}

} // namespace

int main(int argc, char** argv)
{
    register_products();
    register_vectors();
    register_reductions();
    register_hermitian_products();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
