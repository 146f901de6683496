#include "numerical/eigen/tridiagonal_ql.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/plane_rotation.hpp"
#include "numerical/eigen/row_operations.hpp"
#include "numerical/eps.hpp"
#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// The iteration: it works on d and e, and records the rotations to apply to the basis.
class ql_iteration
{
public:
    ql_iteration(aligned_vector<double>& diagonal, aligned_vector<double>& subdiagonal,
                 std::size_t order, std::size_t max_steps)
        : d(diagonal), e(subdiagonal), n(order), steps_left(max_steps), rotations(order * order)
    {
    }

    row_operations run();

private:
    aligned_vector<double>& d;
    aligned_vector<double>& e;
    const std::size_t n;
    std::size_t steps_left;
    double shift = 0; // subtracted from all of d that is not final
    row_operation_log rotations;

    // The values at l + 1 before the chase over l .. m, which it needs at its end.
    struct corner
    {
        double dl1;
        double el1;
    };

    corner subtract_shift(std::size_t l);
    void chase(std::size_t l, std::size_t m, const corner& next);
};

row_operations ql_iteration::run()
{
    double largest = 0;
    for (std::size_t l = 0; l < n; ++l) {
        largest = std::max(largest, std::abs(d[l]) + std::abs(e[l]));
        const double small = eps * largest;
        if (std::abs(e[l]) > small) {
            std::size_t m = l + 1;
            while (std::abs(e[m]) > small)
                ++m;
            do {
                if (steps_left-- == 0)
                    throw convergence_error(
                        "symmetric eigendecomposition: QL did not converge within its steps");
                chase(l, m, subtract_shift(l));
            } while (std::abs(e[l]) > small);
        }
        d[l] += shift;
        e[l] = 0;
    }
    return rotations.take();
}

// Wilkinson's shift from the leading 2 × 2 block, subtracted from the whole block.
ql_iteration::corner ql_iteration::subtract_shift(std::size_t l)
{
    const double g = d[l];
    const double difference = d[l + 1] - g;
    const double p = difference / (2 * e[l]);
    const double reach = p + std::copysign(rotation_length(p, 1), p < 0 ? -1.0 : 1.0);
    if (std::isfinite(reach)) {
        d[l] = e[l] / reach;
        d[l + 1] = e[l] * reach;
    } else { // e is negligible compared to the difference: reach is difference/e
        d[l] = e[l] * (e[l] / difference);
        d[l + 1] = difference;
    }
    const double h = g - d[l];
    for (std::size_t i = l + 2; i < n; ++i)
        d[i] -= h;
    shift += h;
    return {d[l + 1], e[l + 1]};
}

// The bulge goes from m up to l, a rotation of rows i and i + 1 at each step.
void ql_iteration::chase(std::size_t l, std::size_t m, const corner& next)
{
    rotations.make_room(m - l);
    double p = d[m];
    double c = 1;
    double c2 = 1;
    double c3 = 1;
    double s = 0;
    double s2 = 0;
    for (std::size_t i = m; i-- > l;) {
        c3 = c2;
        c2 = c;
        s2 = s;
        const double g = c * e[i];
        const double h = c * p;
        const plane_rotation turn = rotation_onto_first(p, e[i]);
        e[i + 1] = s * turn.length;
        s = turn.s;
        c = turn.c;
        p = c * d[i] - s * g;
        d[i + 1] = h + s * (c * g + s * d[i]);
        rotations.add(
            {.kind = row_operation_kind::rotation, .first = i, .second = i + 1, .c = c, .s = -s});
    }
    p = -s * s2 * c3 * next.el1 * e[l] / next.dl1;
    e[l] = s * p;
    d[l] = c * p;
}

} // namespace

template <class T>
void tridiagonal_ql(aligned_vector<double>& d, aligned_vector<double>& e, aligned_vector<T>& basis,
                    std::size_t n, std::size_t max_steps)
{
    ql_iteration iteration(d, e, n, max_steps);
    const row_operations rotations = iteration.run();
    apply_row_operations(basis, n, rotations);
}

template void tridiagonal_ql(aligned_vector<double>&, aligned_vector<double>&,
                             aligned_vector<double>&, std::size_t, std::size_t);
template void tridiagonal_ql(aligned_vector<double>&, aligned_vector<double>&,
                             aligned_vector<complex>&, std::size_t, std::size_t);

} // namespace numerical::detail
