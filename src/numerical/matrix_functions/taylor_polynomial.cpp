#include "numerical/matrix_functions/taylor_polynomial.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/matrix_functions/matrix_combination.hpp"
#include "numerical/storage.hpp"

#include <complex>

namespace numerical::detail {
namespace {

using complex = std::complex<double>;

// c1·A + c2·A² + c3·A³.
struct cubic
{
    double c1, c2, c3;
};

// With w = √177, x3 = 2/3:
//     y = A²·(x1·A + x2·A²),   T = I + A + y2·A² + (x3·A² + y)·(x4·I + x5·A + x6·A² + x7·y),
//     x1 = x3·(1 + w)/88, x2 = x3·(1 + w)/352, x4 = (29·w - 271)/(315·x3), x5 = 11·(w -
//     1)/(1260·x3), x6 = 11·(w - 9)/(5040·x3), x7 = (89 - w)/(5040·x3²), y2 = (857 - 58·w)/630.
constexpr double x1 = 0.10836465678522780852;
constexpr double x2 = 0.027091164196306952131;
constexpr double x3 = 0.66666666666666666667;
constexpr double x4 = 0.54676145797072405251;
constexpr double x5 = 0.16112557339541759283;
constexpr double x6 = 0.014090917158378207731;
constexpr double x7 = 0.033792797010870504141;
constexpr double y2 = 0.13549236135285063166;

// T = I + B1 + (b·I + B2 + q)·q with q = B3 + B4², all of degree 3 without a constant. The
// coefficients of degree 4 to 12 of the Taylor polynomial leave b and the constants free. Without
// constants in q the product, and with it the rounding errors of its sums, is as small as T - I;
// with this b the moduli of all terms add up to no more than 1.03·e^x at the largest norm.
constexpr double b = 5.6;
constexpr cubic b1{0.82575220846235321, -0.17036706466010696, -0.047065949038980612};
constexpr cubic b2{1.2470925188493521, 0.0083604405605889521, 0.010410427430151356};
constexpr cubic b3{0.03111567706029407, 0.09523216863003312, 0.0064460142165035645};
constexpr cubic b4{0.13181061013830184, 0.020278555405892591, 0.0067595184686308636};

// c1·A + c2·A² + c3·A³ + c6·A⁶.
struct sparse_sextic
{
    double c1, c2, c3, c6;
};

// T = I + D1 + (d·I + D2 + q)·q with q = D3 + D4·D5. The scheme of Bader, Blanes and Casas has a
// constant in q, which made the identity a result of the product. It was moved to the other parts,
// and the coefficients were refined until the terms up to degree 18 are those of e^x. The moduli of
// all terms add up to no more than 2.2·e^x at the largest norm.
constexpr double d = -11.148502971774368;
constexpr sparse_sextic d1{0.24591022090110864, 1.3626670832081905, 0.49892102569169427,
                           -6.4092743005853664e-4};
constexpr sparse_sextic d2{1.6801581387890620, 0.057177984647886551, -0.0069821012248805208,
                           3.3497501708607054e-5};
constexpr sparse_sextic d3{-0.067640451907138191, 0.067596130177045965, 0.029555257042931553,
                           -1.3918025751606070e-5};
constexpr sparse_sextic d4{-0.10036558103014463, -0.0080292464824115702, -8.9213849804573002e-4, 0};
constexpr sparse_sextic d5{0, -0.092336461936711853, -0.016936493900208171, -1.4008679818203615e-5};

} // namespace

// Products are added last: a sum over n terms that began with the identity would round each of them
// to its last place.
template <class T>
aligned_vector<T> taylor_of_degree_8(const T* a, const T* a2, std::size_t n, T* scratch)
{
    T* const y = scratch;
    T* const left = scratch + n * n;
    T* const right = scratch + 2 * n * n;
    combine<T, 2>({{{x1, a}, {x2, a2}}}, 0, n, left);
    gemm_new<T>(n, n, n, a2, n, left, n, y, n);
    combine<T, 2>({{{x3, a2}, {1, y}}}, 0, n, left);
    combine<T, 3>({{{x5, a}, {x6, a2}, {x7, y}}}, x4, n, right);
    aligned_vector<T> sum = uninitialized<T>(n * n);
    gemm_new<T>(n, n, n, left, n, right, n, sum.data(), n);
    combine<T, 3>({{{1, sum.data()}, {y2, a2}, {1, a}}}, 1, n, sum.data());
    return sum;
}

template <class T>
aligned_vector<T> taylor_of_degree_12(const T* a, const T* a2, std::size_t n, T* scratch)
{
    T* const a3 = scratch;
    T* const q = scratch + n * n;
    T* const factor = scratch + 2 * n * n; // B4, then b·I + B2 + q
    const auto combine_cubic = [&](const cubic& c, const T* more, double diagonal, T* to) {
        combine<T, 4>({{{1, more}, {c.c3, a3}, {c.c2, a2}, {c.c1, a}}}, diagonal, n, to);
    };
    gemm_new<T>(n, n, n, a2, n, a, n, a3, n);
    combine<T, 3>({{{b4.c3, a3}, {b4.c2, a2}, {b4.c1, a}}}, 0, n, factor);
    gemm_new<T>(n, n, n, factor, n, factor, n, q, n);
    combine_cubic(b3, q, 0, q);
    combine_cubic(b2, q, b, factor);
    aligned_vector<T> sum = uninitialized<T>(n * n);
    gemm_new<T>(n, n, n, factor, n, q, n, sum.data(), n);
    combine_cubic(b1, sum.data(), 1, sum.data());
    return sum;
}

template <class T>
aligned_vector<T> taylor_of_degree_18(const T* a, const T* a2, std::size_t n, T* scratch)
{
    T* const a3 = scratch;
    T* const a6 = scratch + n * n;
    T* const left = scratch + 2 * n * n;
    T* const right = scratch + 3 * n * n;
    T* const q = scratch + 4 * n * n;
    const auto combine_sextic = [&](const sparse_sextic& c, const T* more, double diagonal, T* to) {
        combine<T, 5>({{{1, more}, {c.c6, a6}, {c.c3, a3}, {c.c2, a2}, {c.c1, a}}}, diagonal, n,
                      to);
    };
    gemm_new<T>(n, n, n, a2, n, a, n, a3, n);
    gemm_new<T>(n, n, n, a3, n, a3, n, a6, n);
    combine<T, 3>({{{d4.c3, a3}, {d4.c2, a2}, {d4.c1, a}}}, 0, n, left);
    combine<T, 3>({{{d5.c6, a6}, {d5.c3, a3}, {d5.c2, a2}}}, 0, n, right);
    gemm_new<T>(n, n, n, left, n, right, n, q, n);
    combine_sextic(d3, q, 0, q);
    combine_sextic(d2, q, d, left);
    aligned_vector<T> sum = uninitialized<T>(n * n);
    gemm_new<T>(n, n, n, left, n, q, n, sum.data(), n);
    combine_sextic(d1, sum.data(), 1, sum.data());
    return sum;
}

template aligned_vector<double> taylor_of_degree_8(const double*, const double*, std::size_t,
                                                   double*);
template aligned_vector<complex> taylor_of_degree_8(const complex*, const complex*, std::size_t,
                                                    complex*);
template aligned_vector<double> taylor_of_degree_12(const double*, const double*, std::size_t,
                                                    double*);
template aligned_vector<complex> taylor_of_degree_12(const complex*, const complex*, std::size_t,
                                                     complex*);
template aligned_vector<double> taylor_of_degree_18(const double*, const double*, std::size_t,
                                                    double*);
template aligned_vector<complex> taylor_of_degree_18(const complex*, const complex*, std::size_t,
                                                     complex*);

} // namespace numerical::detail
