#include "numerical/svd/bidiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/blocks_in_turn.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <iterator>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// basis := basis·Qᵀ, Q being the product of the reflectors in order; entry k of the list acts on
// coordinates k and up. The basis begins as a diagonal matrix and is built from the last
// reflectors backwards, so that the rows above each step are still zero where it acts.
template <class T>
void accumulate(const std::vector<aligned_vector<T>>& reflectors, std::size_t width,
                aligned_vector<T>& basis, std::size_t n)
{
    if (n < blocked_bases_order<T>) {
        for (std::size_t k = n; k-- > 0;)
            reflect_columns(basis, n, reflectors[k], k, k, n);
        return;
    }
    for (std::size_t to = n; to > 0;) {
        const std::size_t from = (to - 1) / width * width;
        const reflector_block<T> block = gather_reflectors(reflectors, from, to, n);
        apply_transposed_reflector_block(block, basis, n, from, n);
        to = from;
    }
}

// Right reflector i acts from coordinate i + 1 on: moved on by one place, the list is like the left
// one.
template <class T>
std::vector<aligned_vector<T>> shifted_right_reflectors(bidiagonal_reduction<T>& reduction)
{
    std::vector<aligned_vector<T>> shifted(reduction.order);
    for (std::size_t i = 0; i + 1 < reduction.order; ++i)
        shifted[i + 1] = std::move(reduction.right_reflectors[i]);
    return shifted;
}

// A block with what it is applied to.
template <class T>
class gathered_block
{
public:
    gathered_block(reflector_block<T> of, block_view<T> columns)
        : block(std::move(of)), slabs(block, columns, 1)
    {
    }

    std::size_t count() const { return slabs.count(); }

    std::size_t work() const { return slabs.work(); }

    void apply(std::size_t slab) const { slabs.apply(slab); }

private:
    reflector_block<T> block; // its vectors stay where they are when it moves
    slabs_application<block_operator::direct, T> slabs;
};

// The product of the reflectors, in order, times the target of n rows.
template <class T>
void apply_reflectors(const std::vector<aligned_vector<T>>& reflectors, std::size_t width,
                      aligned_vector<T>& target, std::size_t n)
{
    const block_view<T> all{target.data(), n, target.size() / n};
    if (all.cols == 0)
        return;
    const std::size_t blocks = ceil_div(n, width);
    apply_in_turn(blocks, [&](std::size_t b) {
        const std::size_t from = (blocks - 1 - b) * width;
        const std::size_t to = std::min(from + width, n);
        return gathered_block<T>(gather_reflectors(reflectors, from, to, n),
                                 all.sub(from, n, 0, all.cols));
    });
}

// Row i of the matrix times phases[i].
template <class T, class V>
aligned_vector<T> rows_times(const aligned_vector<T>& phases, aligned_vector<V> a)
{
    const std::size_t n = phases.size();
    const std::size_t columns = a.size() / n;
    const auto is_one = [](const T& phase) { return phase == T(1); };
    if constexpr (std::is_same_v<T, double>)
        if (std::all_of(phases.begin(), phases.end(), is_one))
            return a;
    aligned_vector<T> out = reserved<T>(a.size());
    for (std::size_t i = 0; i < n; ++i)
        std::transform(a.begin() + static_cast<std::ptrdiff_t>(i * columns),
                       a.begin() + static_cast<std::ptrdiff_t>((i + 1) * columns),
                       std::back_inserter(out),
                       [phase = phases[i]](const V& x) { return x * phase; });
    return out;
}

} // namespace

template <class T>
aligned_vector<T> multiply_left_basis(const bidiagonal_reduction<T>& reduction,
                                      aligned_vector<double> vectors)
{
    aligned_vector<T> phases = reduction.left_phases;
    for (T& phase : phases)
        phase = conjugate(phase);
    aligned_vector<T> out = rows_times(phases, std::move(vectors));
    apply_reflectors(reduction.left_reflectors, reduction.way_back, out, reduction.order);
    return out;
}

template <class T>
aligned_vector<T> multiply_left_adjoint(const bidiagonal_reduction<T>& reduction,
                                        aligned_vector<T> x)
{
    const std::size_t n = reduction.order;
    const std::size_t columns = x.size() / n;
    for (std::size_t from = 0; from < n; from += reduction.way_back) {
        const std::size_t to = std::min(from + reduction.way_back, n);
        const reflector_block<T> block = gather_reflectors(reduction.left_reflectors, from, to, n);
        apply_reflector_block<block_operator::adjoint>(block, x, columns, 0, columns);
    }
    return rows_times(reduction.left_phases, std::move(x));
}

template <class T, class V>
aligned_vector<T> multiply_right_basis(bidiagonal_reduction<T>& reduction,
                                       aligned_vector<V> vectors)
{
    aligned_vector<T> phases = reduction.right_phases;
    std::rotate(phases.begin(), phases.end() - 1, phases.end()); // one place on
    phases[0] = T(1);
    aligned_vector<T> out = rows_times(phases, std::move(vectors));
    apply_reflectors(shifted_right_reflectors(reduction), reduction.way_back, out, reduction.order);
    return out;
}

template <class T>
bidiagonal_bases<T> form_bidiagonal_bases(bidiagonal_reduction<T>& reduction)
{
    const std::size_t n = reduction.order;
    bidiagonal_bases<T> bases{zeros<T>(n * n), zeros<T>(n * n)};
    if (n == 0)
        return bases;
    bases.right[0] = T(1);
    for (std::size_t i = 0; i < n; ++i)
        bases.left[i * n + i] = conjugate(reduction.left_phases[i]);
    for (std::size_t i = 1; i < n; ++i)
        bases.right[i * n + i] = reduction.right_phases[i - 1];
    accumulate(reduction.left_reflectors, reduction.way_back, bases.left, n);

    accumulate(shifted_right_reflectors(reduction), reduction.way_back, bases.right, n);
    return bases;
}

template aligned_vector<double> multiply_left_basis(const bidiagonal_reduction<double>&,
                                                    aligned_vector<double>);
template aligned_vector<complex> multiply_left_basis(const bidiagonal_reduction<complex>&,
                                                     aligned_vector<double>);
template aligned_vector<double> multiply_right_basis(bidiagonal_reduction<double>&,
                                                     aligned_vector<double>);
template aligned_vector<complex> multiply_right_basis(bidiagonal_reduction<complex>&,
                                                      aligned_vector<double>);
template aligned_vector<complex> multiply_right_basis(bidiagonal_reduction<complex>&,
                                                      aligned_vector<complex>);
template aligned_vector<double> multiply_left_adjoint(const bidiagonal_reduction<double>&,
                                                      aligned_vector<double>);
template aligned_vector<complex> multiply_left_adjoint(const bidiagonal_reduction<complex>&,
                                                       aligned_vector<complex>);
template bidiagonal_bases<double> form_bidiagonal_bases(bidiagonal_reduction<double>&);
template bidiagonal_bases<complex> form_bidiagonal_bases(bidiagonal_reduction<complex>&);

} // namespace numerical::detail
