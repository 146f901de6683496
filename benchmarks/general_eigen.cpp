// Times eigenvalues and eigenpairs of general matrices by CPU time, for general_eigen.py, which
// runs it in turns with NumPy. A line "eig float64 200 3" on the standard input is answered by the
// seconds of each of 3 calls, on one thread. An argument limits the path by its code.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <complex>
#include <ctime>
#include <iostream>
#include <random>
#include <string>

namespace {

double cpu_seconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
}

template <class T>
numerical::matrix<T> random_matrix(std::size_t n)
{
    std::mt19937_64 generator(n);
    std::normal_distribution<double> normal;
    numerical::aligned_vector<T> data(n * n);
    for (T& x : data) {
        if constexpr (std::is_same_v<T, double>) {
            x = normal(generator);
        } else {
            const double re = normal(generator);
            x = {re, normal(generator)};
        }
    }
    return {n, n, std::move(data)};
}

// Small matrices are solved many times for each figure.
template <class T>
void answer(const std::string& what, std::size_t n, int calls)
{
    const auto a = random_matrix<T>(n);
    const std::size_t repeats = 1 + 4000 / (n * n);
    for (int call = 0; call < calls; ++call) {
        const double start = cpu_seconds();
        for (std::size_t r = 0; r < repeats; ++r) {
            if (what == "eig")
                numerical::general_eigen(a, numerical::eigenvector_sides::right);
            else
                numerical::general_eigenvalues(a);
        }
        std::cout << (cpu_seconds() - start) / double(repeats) << (call + 1 < calls ? " " : "\n");
    }
    std::cout.flush();
}

} // namespace

int main(int argc, char** argv)
{
    numerical::detail::thread_cap() = 1;
    if (argc > 1)
        numerical::detail::gemm_path_cap() = static_cast<unsigned char>(std::stoi(argv[1]));
    std::string what;
    std::string type;
    std::size_t n = 0;
    int calls = 0;
    while (std::cin >> what >> type >> n >> calls) {
        if (type == "float64")
            answer<double>(what, n, calls);
        else
            answer<std::complex<double>>(what, n, calls);
    }
}
