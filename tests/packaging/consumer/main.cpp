// A program of a C++ user: multiplies on whatever path the machine offers.

#include <cstdio>
#include <numerical/gemm/gemm.hpp>
#include <numerical/tensor.hpp>

int main()
{
    const numerical::matrix<double> a(2, 2, {1, 2, 3, 4});
    const numerical::tensor<double> square(a * a);
    std::printf("%g %g %g %g\n", square.data[0], square.data[1], square.data[2], square.data[3]);
}
