// Whether the two Jacobi methods come to their end on small matrices of every kind: with entries of
// a few integers columns are often equally long and nearly orthogonal, where rounding alone can
// turn a pair for ever. Such matrices are rare, one of 10⁴ to 10⁵, so the tests of the system see
// few of them; this program tries as many as it is told to, by default a million.
//
//     jacobi_trials [trials]

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/errors.hpp"
#include "numerical/svd/svd.hpp"

#include <algorithm>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace {

using complex = std::complex<double>;
using numerical::matrix;

constexpr std::size_t least_order = 2;
constexpr std::size_t greatest_order = 9;

// Entries from -largest to largest, or 0 and 1 if it is 0, or any numbers if it is negative.
constexpr int entry_kinds[] = {0, 1, 2, 3, 9, -1};

struct outcome
{
    std::size_t failures = 0;
    double worst = 0; // loss of orthogonality, in units of n·ε
};

class entries
{
public:
    entries(int largest, std::mt19937_64& source) : kind(largest), generator(source) {}

    void draw(double& x) { x = number(); }

    void draw(complex& x) { x = {number(), number()}; }

private:
    int kind;
    std::mt19937_64& generator;

    double number()
    {
        if (kind < 0)
            return std::normal_distribution<double>()(generator);
        return std::uniform_int_distribution<int>(-kind, std::max(kind, 1))(generator);
    }
};

template <class T>
matrix<T> random_matrix(std::size_t n, int kind, std::mt19937_64& generator)
{
    entries drawn(kind, generator);
    numerical::aligned_vector<T> data(n * n);
    for (T& x : data)
        drawn.draw(x);
    return {n, n, std::move(data)};
}

// The largest entry of I - QᴴQ in units of n·ε.
template <class T>
double loss_of_orthogonality(const matrix<T>& q)
{
    double largest = 0;
    for (std::size_t i = 0; i < q.cols; ++i)
        for (std::size_t j = 0; j < q.cols; ++j) {
            std::complex<long double> sum = i == j ? -1 : 0;
            for (std::size_t l = 0; l < q.rows; ++l)
                sum += std::conj(std::complex<long double>(q.data[l * q.cols + i])) *
                       std::complex<long double>(q.data[l * q.cols + j]);
            largest = std::max(largest, double(std::abs(sum)));
        }
    return largest / (double(q.rows) * 0x1p-52);
}

template <class Decompose>
void attempt(const Decompose& decompose, outcome& result)
{
    try {
        result.worst = std::max(result.worst, loss_of_orthogonality(decompose()));
    } catch (const numerical::convergence_error&) {
        ++result.failures;
    }
}

template <class T>
void attempt_svd(const matrix<T>& a, outcome& result)
{
    using numerical::svd_decomposition;
    attempt([&] { return svd_decomposition<T>(a, numerical::svd_method::jacobi).u; }, result);
}

void attempt_eigen(const matrix<double>& a, outcome& result)
{
    using numerical::symmetric_eigen;
    attempt([&] { return symmetric_eigen(a, numerical::eigen_method::jacobi).vectors; }, result);
}

void report(const char* method, const outcome& result)
{
    std::printf("%-22s failures %zu, |I - Q*Q| at most %.2f n eps\n", method, result.failures,
                result.worst);
}

} // namespace

int main(int argc, char** argv)
{
    const std::size_t trials = argc > 1 ? std::stoul(argv[1]) : 1'000'000;
    outcome real_svd;
    outcome complex_svd;
    outcome real_eigen;
    std::mt19937_64 generator(1);
    for (std::size_t trial = 0; trial < trials; ++trial) {
        const std::size_t n = least_order + trial % (greatest_order - least_order + 1);
        const int kind = entry_kinds[trial / 8 % std::size(entry_kinds)];
        const auto a = random_matrix<double>(n, kind, generator);
        attempt_svd(a, real_svd);
        attempt_eigen(a, real_eigen);
        attempt_svd(random_matrix<complex>(n, kind, generator), complex_svd);
    }
    std::printf("%zu matrices of each type, of order %zu to %zu\n", trials, least_order,
                greatest_order);
    report("svd, real", real_svd);
    report("svd, complex", complex_svd);
    report("eigh, real", real_eigen);
    return real_svd.failures + complex_svd.failures + real_eigen.failures == 0 ? EXIT_SUCCESS
                                                                               : EXIT_FAILURE;
}
