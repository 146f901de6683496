#include "numerical/nonsymmetric/reflector_lanes.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/bulge.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

// A number of each lane, as the kernels store it: its parts lie reflector_lanes apart.
double get(const double* number, std::size_t lane, double /*like*/)
{
    return number[lane];
}

complex get(const double* number, std::size_t lane, complex /*like*/)
{
    return {number[lane], number[reflector_lanes + lane]};
}

void set(double* number, std::size_t lane, double value)
{
    number[lane] = value;
}

void set(double* number, std::size_t lane, const complex& value)
{
    number[lane] = value.real();
    number[reflector_lanes + lane] = value.imag();
}

template <class T>
constexpr std::size_t number_size = reflector_lanes * sizeof(T) / sizeof(double);

bool make(int path, const double* x, double* made, double /*like*/)
{
    const auto form = path == avx512_path ? avx512_reflectors_of_three : avx2_reflectors_of_three;
    return form(x, made);
}

bool make(int path, const double* x, double* made, complex /*like*/)
{
    const auto form =
        path == avx512_path ? avx512_complex_reflectors_of_three : avx2_complex_reflectors_of_three;
    return form(x, made);
}

} // namespace

template <class T>
void reflectors_of_three(int path, const T (*x)[3], std::size_t count, bulge_reflector<T>* h,
                         T* beta)
{
    constexpr std::size_t size = number_size<T>;
    alignas(64) double vectors[3 * size];
    alignas(64) double made[reflector_lanes + 3 * size]; // tau, w1, w2, beta
    if (path != portable_path) {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t l = 0; l < count; ++l)
                set(vectors + i * size, l, x[l][i]);
            for (std::size_t l = count; l < reflector_lanes; ++l)
                set(vectors + i * size, l, T(1));
        }
        if (make(path, vectors, made, T())) {
            const double* const rest = made + reflector_lanes;
            for (std::size_t l = 0; l < count; ++l) {
                h[l] = {made[l], get(rest, l, T()), get(rest + size, l, T())};
                beta[l] = get(rest + 2 * size, l, T());
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
