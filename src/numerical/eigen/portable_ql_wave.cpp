#include "numerical/eigen/ql_kernels.hpp"

namespace numerical::detail {
namespace {

constexpr std::size_t last = sweeps_of_wave - 1;

// A row's entry and squared coupling, on their way from sweep to sweep.
struct wave_row
{
    double d;
    double e;
};

// One step: the row becomes what the sweep leaves of the row below.
void pass_row(ql_sweep& at, wave_row& row)
{
    const double square = row.e;
    const double length = at.p + square;
    const double reciprocal = 1 / length;
    const double turned = at.p * (row.d - at.shift) - square * at.gamma;
    const double next = turned * reciprocal;
    const bool vanishes = at.p < least_square;
    const double gamma = vanishes ? 0 : next;
    row.e = at.sine * length;
    row.d = at.gamma + (row.d - gamma);
    const double p = vanishes ? at.cosine * square : next * (turned / at.p);
    at.cosine = vanishes ? 0 : at.p * reciprocal;
    at.sine = vanishes ? 1 : square * reciprocal;
    at.gamma = gamma;
    at.p = p;
}

} // namespace

void run_ql_wave(double* d, double* e, std::size_t from, std::size_t to,
                 ql_sweep (&sweeps)[sweeps_of_wave])
{
    wave_row rows[sweeps_of_wave];
    for (std::size_t j = 0; j < last; ++j) {
        const std::size_t next = from + (j + 1) * rows_between_sweeps;
        rows[j] = {d[next], e[next]};
    }
    for (std::size_t i = from + 1; i-- > to;) {
        for (std::size_t j = last; j > 0; --j)
            rows[j] = rows[j - 1];
        rows[0] = {d[i], e[i]};
        for (std::size_t j = 0; j < sweeps_of_wave; ++j)
            pass_row(sweeps[j], rows[j]);
        d[i + last * rows_between_sweeps + 1] = rows[last].d;
        e[i + last * rows_between_sweeps + 1] = rows[last].e;
    }
    for (std::size_t j = 0; j < last; ++j) {
        d[to + j * rows_between_sweeps + 1] = rows[j].d;
        e[to + j * rows_between_sweeps + 1] = rows[j].e;
    }
}

} // namespace numerical::detail
