// Times operations on stacks for stacks.py, on one thread. Each line of the input names one call,
//
//     operation order count file
//
// where the file holds `count` real matrices of that order, and is answered by the processor time
// that the call took, in seconds. Stacks that have been read are
// kept, and so is the memory of their results.

#include "numerical/stacks/stacks.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace stacks = numerical::stacks;
using numerical::matrix_stack;

struct result_buffers
{
    numerical::aligned_vector<double> first;
    numerical::aligned_vector<double> second;
    numerical::aligned_vector<double> third;
    std::vector<std::size_t> ranks;
};

struct loaded_stack
{
    std::size_t order;
    std::size_t count;
    numerical::aligned_vector<double> elements;
    result_buffers results;

    loaded_stack(std::size_t n, std::size_t places, const std::string& file)
        : order(n), count(places),
          elements(n * n * places), results{elements, elements, elements,
                                            std::vector<std::size_t>(places)}
    {
        std::ifstream in(file, std::ios::binary);
        in.read(reinterpret_cast<char*>(elements.data()),
                static_cast<std::streamsize>(elements.size() * sizeof(double)));
        if (!in)
            throw std::runtime_error("can't read " + file);
    }

    matrix_stack<double> matrices() const { return {elements.data(), order, order, order * order}; }

    // The first column of each matrix would do as well: what matters is one vector for each.
    matrix_stack<double> vectors() const { return {elements.data(), order, 1, order}; }
};

using call = std::function<void(const loaded_stack&, result_buffers&)>;

const std::map<std::string, call>& calls()
{
    using numerical::eigen_method;
    using numerical::svd_method;
    static const std::map<std::string, call> table{
        {"solve",
         [](const auto& s, auto& r) {
             stacks::solve_vectors(s.count, s.matrices(), s.vectors(), r.first.data());
         }},
        {"inv",
         [](const auto& s, auto& r) { stacks::inverse(s.count, s.matrices(), r.first.data()); }},
        {"det", [](const auto& s,
                   auto& r) { stacks::determinant(s.count, s.matrices(), r.first.data()); }},
        {"slogdet",
         [](const auto& s, auto& r) {
             stacks::slogdet(s.count, s.matrices(), r.first.data(), r.second.data());
         }},
        {"cholesky",
         [](const auto& s, auto& r) { stacks::cholesky(s.count, s.matrices(), r.first.data()); }},
        {"qr", [](const auto& s,
                  auto& r) { stacks::qr(s.count, s.matrices(), r.first.data(), r.second.data()); }},
        {"eigh",
         [](const auto& s, auto& r) {
             stacks::eigh(s.count, s.matrices(), eigen_method::divide_and_conquer, r.first.data(),
                          r.second.data());
         }},
        {"eigvalsh", [](const auto& s,
                        auto& r) { stacks::eigenvalues(s.count, s.matrices(), r.first.data()); }},
        {"svd",
         [](const auto& s, auto& r) {
             stacks::svd(s.count, s.matrices(), svd_method::divide_and_conquer, r.first.data(),
                         r.second.data(), r.third.data());
         }},
        {"pinv",
         [](const auto& s, auto& r) { stacks::pinv(s.count, s.matrices(), r.first.data()); }},
        {"matrix_rank",
         [](const auto& s, auto& r) {
             stacks::matrix_rank(s.count, s.matrices(), r.ranks.data());
         }},
        {"matmul",
         [](const auto& s, auto& r) {
             stacks::multiply(s.count, s.matrices(), s.matrices(), r.first.data());
         }},
        {"matvec",
         [](const auto& s, auto& r) {
             stacks::multiply(s.count, s.matrices(), s.vectors(), r.first.data());
         }},
    };
    return table;
}

double processor_seconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

} // namespace

int main()
{
    numerical::detail::thread_cap() = 1;
    std::map<std::string, loaded_stack> stacks_read;
    std::string operation;
    std::string file;
    std::size_t order;
    std::size_t count;
    while (std::cin >> operation >> order >> count >> file) {
        loaded_stack& stack = stacks_read.try_emplace(file, order, count, file).first->second;
        const double start = processor_seconds();
        calls().at(operation)(stack, stack.results);
        std::cout << processor_seconds() - start << std::endl;
    }
}
