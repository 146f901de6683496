#include "numerical/eigen/ql_wave_loops.hpp"

#include <algorithm>
#include <array>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector = std::array<double, sweeps_of_wave>;
    using mask = std::array<bool, sweeps_of_wave>;

    static vector load(const double* x)
    {
        vector v;
        std::copy_n(x, v.size(), v.begin());
        return v;
    }

    static vector all(double x)
    {
        vector v;
        v.fill(x);
        return v;
    }

    static vector places() { return {0, 1, 2, 3, 4, 5, 6, 7}; }

    static vector plus(const vector& a, const vector& b)
    {
        return of_each([&](std::size_t i) { return a[i] + b[i]; });
    }

    static vector minus(const vector& a, const vector& b)
    {
        return of_each([&](std::size_t i) { return a[i] - b[i]; });
    }

    static vector times(const vector& a, const vector& b)
    {
        return of_each([&](std::size_t i) { return a[i] * b[i]; });
    }

    static vector over(const vector& a, const vector& b)
    {
        return of_each([&](std::size_t i) { return a[i] / b[i]; });
    }

    static mask less(const vector& a, const vector& b)
    {
        mask those;
        for (std::size_t i = 0; i < those.size(); ++i)
            those[i] = a[i] < b[i];
        return those;
    }

    static bool any(const mask& those)
    {
        return std::any_of(those.begin(), those.end(), [](bool is) { return is; });
    }

    static vector chosen(const mask& those, const vector& a, const vector& b)
    {
        return of_each([&](std::size_t i) { return those[i] ? a[i] : b[i]; });
    }

    // Each lane's number in the next lane, and *first in the first one.
    static vector handed_on(const vector& v, const double* first)
    {
        return of_each([&](std::size_t i) { return i == 0 ? *first : v[i - 1]; });
    }

    static void store_last(double* x, const vector& v) { *x = v.back(); }

private:
    template <class F>
    static vector of_each(const F& number)
    {
        vector v;
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] = number(i);
        return v;
    }
};

} // namespace

void run_ql_wave(double* d, double* e, std::size_t l, std::size_t m, const double* shifts)
{
    run_ql_wave_in<lanes>(d, e, l, m, shifts);
}

} // namespace numerical::detail
