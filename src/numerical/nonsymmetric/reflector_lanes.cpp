#include "numerical/nonsymmetric/reflector_lanes.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/bulge.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(double);

// Values of T in lanes: part p of value i of lane l.
template <class T, std::size_t values>
struct value_lanes
{
    alignas(64) double of[values][parts<T>][reflector_lanes];

    void set(std::size_t i, std::size_t lane, const T& value)
    {
        if constexpr (parts<T> == 1) {
            of[i][0][lane] = value;
        } else {
            of[i][0][lane] = value.real();
            of[i][1][lane] = value.imag();
        }
    }

    T get(std::size_t i, std::size_t lane) const
    {
        if constexpr (parts<T> == 1)
            return of[i][0][lane];
        else
            return {of[i][0][lane], of[i][1][lane]};
    }
};

template <class T>
struct made_lanes
{
    alignas(64) double tau[reflector_lanes];
    value_lanes<T, 3> rest; // w1, w2, beta
};

bool make(int path, const value_lanes<double, 3>& x, made_lanes<double>& made)
{
    const auto form = path == avx512_path ? avx512_reflectors_of_three : avx2_reflectors_of_three;
    return form(x.of[0][0], made.tau);
}

bool make(int path, const value_lanes<complex, 3>& x, made_lanes<complex>& made)
{
    const auto form =
        path == avx512_path ? avx512_complex_reflectors_of_three : avx2_complex_reflectors_of_three;
    return form(x.of[0][0], made.tau);
}

} // namespace

template <class T>
void reflectors_of_three(int path, const T (*x)[3], std::size_t count, bulge_reflector<T>* h,
                         T* beta)
{
    value_lanes<T, 3> lanes;
    made_lanes<T> made;
    if (path != portable_path) {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t l = 0; l < count; ++l)
                lanes.set(i, l, x[l][i]);
            for (std::size_t l = count; l < reflector_lanes; ++l)
                lanes.set(i, l, T(1));
        }
        if (make(path, lanes, made)) {
            for (std::size_t l = 0; l < count; ++l) {
                h[l] = {made.tau[l], made.rest.get(0, l), made.rest.get(1, l)};
                beta[l] = made.rest.get(2, l);
            }
            return;
        }
    }
    for (std::size_t l = 0; l < count; ++l)
        h[l] = reflector_of_three(x[l], beta[l]);
}

template void reflectors_of_three(int, const double (*)[3], std::size_t, bulge_reflector<double>*,
                                  double*);
template void reflectors_of_three(int, const complex (*)[3], std::size_t, bulge_reflector<complex>*,
                                  complex*);

} // namespace numerical::detail
