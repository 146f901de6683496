#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace {

using complex = std::complex<double>;

// From one product to the next.
template <class T>
struct product_stack
{
    std::size_t count;
    const matrix_stack<T>& a;
    const matrix_stack<T>& b;
    T* c;

    std::size_t rows() const { return a.rows; }

    std::size_t cols() const { return b.cols; }

    std::size_t depth() const { return a.cols; }

    std::size_t elements() const { return rows() * cols(); }

    std::size_t products() const { return elements() * depth(); }

    bool summed_by_tiles() const { return detail::summed_by_tiles(rows(), cols(), depth()); }

    void multiply_one(std::size_t i) const
    {
        detail::gemm_new(rows(), cols(), depth(), a.at(i), depth(), b.at(i), cols(),
                         c + i * elements(), cols());
    }
};

// Side by side; false, with nothing done, where another way is better. A sum of a complex product
// by tiles has an order of its own.
template <class T>
bool multiply_in_lanes(const product_stack<T>& p)
{
    constexpr std::size_t greatest = 4;
    if (std::max({p.rows(), p.cols(), p.depth()}) > greatest)
        return false;
    const detail::lane_kernels& kernels = detail::lane_kernels_for(T());
    const auto finish = [&](std::size_t i, bool trusted) {
        if (!trusted)
            p.multiply_one(i);
    };
    detail::run_in_lanes<T>({.kernel = kernels.multiply_rounded,
                             .width = kernels.width,
                             .rows = p.rows(),
                             .cols = p.cols(),
                             .depth = p.depth()},
                            p.count, p.a, p.b, {p.c, p.elements()}, finish);
    return true;
}

bool multiply_small(const product_stack<complex>&)
{
    return false;
}

// Vectors, and real matrices whose rows are a vector of the processor.
bool multiply_small(const product_stack<double>& p)
{
    constexpr std::size_t greatest = 16;
    const int path = detail::gemm_path_current();
    const std::size_t width = detail::lane_kernels_for(0.0).width;
    const bool small = p.cols() <= width && std::max(p.rows(), p.depth()) <= greatest;
    if (path == detail::portable_path || (p.cols() != 1 && !small))
        return false;
    const detail::small_product_kernels& kernels =
        path == detail::avx512_path ? detail::avx512_small_products : detail::avx2_small_products;
    const detail::small_product_kernel by_rows =
        p.summed_by_tiles() ? kernels.by_rows_fused : kernels.by_rows_rounded;
    const detail::small_product_kernel vector =
        p.summed_by_tiles() ? kernels.vector_fused : kernels.vector_rounded;
    const detail::small_product_kernel kernel = p.cols() == 1 ? vector : by_rows;
    detail::parallel_for(p.count, p.products() / 16 + 8, [&](std::size_t i) {
        kernel({.rows = p.rows(),
                .cols = p.cols(),
                .depth = p.depth(),
                .a = p.a.at(i),
                .b = p.b.at(i),
                .c = p.c + i * p.elements()});
    });
    return true;
}

// A few large products are formed one after the other with all threads in each.
template <class T>
void multiply_one_by_one(const product_stack<T>& p)
{
    const bool inside = p.count < 2 * detail::allowed_threads();
    const auto one = [&](std::size_t i) { p.multiply_one(i); };
    detail::parallel_for(p.count, inside ? 0 : p.products() / 16 + 16, one);
}

} // namespace

template <class T>
void stacks::multiply(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* c)
{
    if (a.cols != b.rows)
        throw dimension_error("matrix–matrix product: inner dimensions differ");
    const product_stack<T> p{.count = count, .a = a, .b = b, .c = c};
    if (p.products() == 0)
        return detail::set_zero(c, count * p.elements());
    if (multiply_in_lanes(p) || multiply_small(p))
        return;
    const bool dense = a.offsets == nullptr && b.offsets == nullptr;
    if (dense && count >= 2 * detail::allowed_threads())
        return detail::gemm_batch_by_steps(
            {.batches = count, .m = p.rows(), .n = p.cols(), .k = p.depth()}, {a.step, b.step},
            a.first, b.first, c);
    multiply_one_by_one(p);
}

template void stacks::multiply(std::size_t, const matrix_stack<double>&,
                               const matrix_stack<double>&, double*);
template void stacks::multiply(std::size_t, const matrix_stack<complex>&,
                               const matrix_stack<complex>&, complex*);

} // namespace numerical
