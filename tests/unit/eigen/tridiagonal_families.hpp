#pragma once

// Real symmetric tridiagonal matrices on which eigenvalues are tried.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"

#include <cmath>
#include <string>
#include <vector>

namespace test {

struct named_tridiagonal
{
    std::string name;
    numerical::aligned_vector<double> d;
    numerical::aligned_vector<double> e; // as many as d, the last of no meaning
};

inline std::vector<named_tridiagonal> tridiagonal_families(std::size_t n)
{
    std::vector<named_tridiagonal> all{
        {"random", random_vector<double>(n, 1), random_vector<double>(n, 2)},
        {"second difference", numerical::aligned_vector<double>(n, 1.0),
         numerical::aligned_vector<double>(n, -0.5)},
        {"zero diagonal", numerical::aligned_vector<double>(n, 0.0), random_vector<double>(n, 3)},
        {"diagonal", random_vector<double>(n, 4), numerical::aligned_vector<double>(n, 0.0)},
        {"zero", numerical::aligned_vector<double>(n, 0.0),
         numerical::aligned_vector<double>(n, 0.0)},
        {"falling", numerical::aligned_vector<double>(n), numerical::aligned_vector<double>(n)},
        {"rising", numerical::aligned_vector<double>(n), numerical::aligned_vector<double>(n)},
        {"Wilkinson", numerical::aligned_vector<double>(n),
         numerical::aligned_vector<double>(n, 0.1)},
        {"glued", numerical::aligned_vector<double>(n), numerical::aligned_vector<double>(n)},
        {"apart", random_vector<double>(n, 5), random_vector<double>(n, 6)},
    };
    for (std::size_t i = 0; i < n; ++i) {
        all[5].d[i] = all[6].d[n - 1 - i] = std::pow(10.0, -12.0 * double(i) / double(n));
        all[5].e[i] = all[5].d[i] / 2;
        all[6].e[i] = all[6].d[i] / 2;
        all[7].d[i] = std::abs(double(i) - double(n) / 2) / double(n);
        all[8].d[i] = std::abs(double(i % 21) - 10) / 10;
        all[8].e[i] = i % 21 == 20 ? 1e-9 : 0.1;
        if (i % 7 == 3)
            all[9].e[i] = 0;
    }
    return all;
}

} // namespace test
