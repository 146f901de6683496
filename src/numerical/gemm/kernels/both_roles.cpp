#include "numerical/gemm/kernels/both_roles.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {
namespace {

template <class T>
void plain_both_roles(const both_roles_pass<T>& pass)
{
    for (std::size_t i = 0; i < pass.count; ++i) {
        const T* const row = pass.rows + i * pass.stride;
        T sum = 0;
        for (std::size_t j = 0; j < pass.n; ++j) {
            sum += finite_product(row[j], pass.x[j]);
            pass.u[j] += finite_product(pass.w[i], row[j]);
        }
        pass.y[i] = sum;
    }
}

} // namespace

template <>
void both_roles_on(int path, const both_roles_pass<double>& pass)
{
    choose(path, plain_both_roles<double>, avx2_both_roles, avx512_both_roles)(pass);
}

template <>
void both_roles_on(int path, const both_roles_pass<complex>& pass)
{
    choose(path, plain_both_roles<complex>, avx2_complex_both_roles,
           avx512_complex_both_roles)(pass);
}

} // namespace numerical::detail
