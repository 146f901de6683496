// Measures the errors of the elementary functions in units in the last place: random arguments of
// each range against the C library's 80-bit functions, and the worst of them again with MPFR, which
// is the first figure printed; the one in parentheses is that of the 80 bits.
//
//     g++ -std=c++20 -O2 -Isrc tools/vector_math_errors.cpp build/release/libnumerical_core.a
//         -lmpfr -lgmp -pthread -o vector_math_errors
//     vector_math_errors [ARGUMENTS_A_FUNCTION [NAME]]

#include "numerical/vector_math/functions.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mpfr.h>
#include <random>
#include <string>
#include <vector>

namespace {

namespace vm = numerical::vector_math;

// Equally likely numbers, or equally likely bits: so many in each binade.
enum class spread { numbers, binades };

struct range
{
    double low;
    double high;
    spread how;
    bool both_signs;
};

using mpfr_unary = int (*)(mpfr_t, const mpfr_t, mpfr_rnd_t);
using mpfr_binary = int (*)(mpfr_t, const mpfr_t, const mpfr_t, mpfr_rnd_t);

struct unary_case
{
    const char* name;
    vm::unary_function function;
    long double (*reference)(long double);
    mpfr_unary exact;
    std::vector<range> ranges;
};

struct binary_case
{
    const char* name;
    vm::binary_function function;
    long double (*reference)(long double, long double);
    mpfr_binary exact;
    std::vector<std::pair<range, range>> ranges;
};

constexpr spread numbers = spread::numbers;
constexpr spread binades = spread::binades;
constexpr double pi = 3.141592653589793;

const std::vector<unary_case> unary_cases{
    {"exp",
     vm::exp,
     expl,
     mpfr_exp,
     {{-708, 709.7, numbers, false}, {-1, 1, numbers, false}, {1e-20, 700, binades, true}}},
    {"exp2",
     vm::exp2,
     exp2l,
     mpfr_exp2,
     {{-1022, 1023.9, numbers, false}, {-1, 1, numbers, false}}},
    {"expm1",
     vm::expm1,
     expm1l,
     mpfr_expm1,
     {{-40, 709, numbers, false}, {-1, 1, numbers, false}, {1e-300, 40, binades, true}}},
    {"log",
     vm::log,
     logl,
     mpfr_log,
     {{5e-324, 1.79e308, binades, false}, {0.5, 2, numbers, false}, {0.96, 1.04, numbers, false}}},
    {"log2",
     vm::log2,
     log2l,
     mpfr_log2,
     {{5e-324, 1.79e308, binades, false}, {0.5, 2, numbers, false}, {0.96, 1.04, numbers, false}}},
    {"log10",
     vm::log10,
     log10l,
     mpfr_log10,
     {{5e-324, 1.79e308, binades, false}, {0.5, 2, numbers, false}, {0.96, 1.04, numbers, false}}},
    {"log1p",
     vm::log1p,
     log1pl,
     mpfr_log1p,
     {{-0.99999, 1, numbers, false},
      {1e-300, 1.79e308, binades, false},
      {1e-20, 1, binades, true}}},
    {"sin",
     vm::sin,
     sinl,
     mpfr_sin,
     {{-10, 10, numbers, false}, {1e-300, 1e6, binades, true}, {1e6, 1.79e308, binades, true}}},
    {"cos",
     vm::cos,
     cosl,
     mpfr_cos,
     {{-10, 10, numbers, false}, {1e-300, 1e6, binades, true}, {1e6, 1.79e308, binades, true}}},
    {"tan",
     vm::tan,
     tanl,
     mpfr_tan,
     {{-10, 10, numbers, false}, {1e-300, 1e6, binades, true}, {1e6, 1.79e308, binades, true}}},
    {"sinh",
     vm::sinh,
     sinhl,
     mpfr_sinh,
     {{-710.4, 710.4, numbers, false}, {-1, 1, numbers, false}, {1e-300, 40, binades, true}}},
    {"cosh",
     vm::cosh,
     coshl,
     mpfr_cosh,
     {{-710.4, 710.4, numbers, false}, {-1, 1, numbers, false}}},
    {"tanh",
     vm::tanh,
     tanhl,
     mpfr_tanh,
     {{-21, 21, numbers, false}, {-1, 1, numbers, false}, {1e-300, 40, binades, true}}},
    {"arcsin", vm::arcsin, asinl, mpfr_asin, {{-1, 1, numbers, false}, {1e-300, 1, binades, true}}},
    {"arccos",
     vm::arccos,
     acosl,
     mpfr_acos,
     {{-1, 1, numbers, false}, {1e-300, 1, binades, true}, {0.999, 1, numbers, false}}},
    {"arctan",
     vm::arctan,
     atanl,
     mpfr_atan,
     {{-20, 20, numbers, false}, {-1, 1, numbers, false}, {1e-300, 1e300, binades, true}}},
    {"arcsinh",
     vm::arcsinh,
     asinhl,
     mpfr_asinh,
     {{-20, 20, numbers, false}, {-1, 1, numbers, false}, {1e-300, 1.79e308, binades, true}}},
    {"arccosh",
     vm::arccosh,
     acoshl,
     mpfr_acosh,
     {{1, 20, numbers, false}, {1, 1.01, numbers, false}, {1, 1.79e308, binades, false}}},
    {"arctanh",
     vm::arctanh,
     atanhl,
     mpfr_atanh,
     {{-1, 1, numbers, false}, {1e-300, 1, binades, true}, {0.999, 1, numbers, false}}},
};

const std::vector<binary_case> binary_cases{
    {"pow",
     vm::pow,
     powl,
     mpfr_pow,
     {{{1e-300, 1e300, binades, false}, {1e-3, 1e3, binades, true}},
      {{0.01, 100, numbers, false}, {-150, 150, numbers, false}},
      {{0.97, 1.03, numbers, false}, {-2e4, 2e4, numbers, false}},
      {{0.999999, 1.000001, numbers, false}, {-7e8, 7e8, numbers, false}}}},
    {"arctan2",
     vm::arctan2,
     atan2l,
     mpfr_atan2,
     {{{-10, 10, numbers, false}, {-10, 10, numbers, false}},
      {{1e-300, 1e300, binades, true}, {1e-300, 1e300, binades, true}}}},
    {"hypot",
     vm::hypot,
     hypotl,
     mpfr_hypot,
     {{{-10, 10, numbers, false}, {-10, 10, numbers, false}},
      {{1e-308, 1e308, binades, true}, {1e-308, 1e308, binades, true}}}},
};

class arguments
{
public:
    arguments(const range& limits, std::uint64_t seed) : r(limits), engine(seed) {}

    double next()
    {
        if (r.how == spread::numbers)
            return r.low + (r.high - r.low) * std::ldexp(static_cast<double>(engine() >> 11), -53);
        const auto low = std::bit_cast<std::uint64_t>(r.low);
        const auto high = std::bit_cast<std::uint64_t>(r.high);
        const double x = std::bit_cast<double>(low + engine() % (high - low));
        return r.both_signs && engine() % 2 != 0 ? -x : x;
    }

private:
    range r;
    std::mt19937_64 engine;
};

// In units of the last place of the reference; of subnormal numbers all have the same.
long double units(double value, long double reference)
{
    const auto rounded = static_cast<double>(reference);
    if (!std::isfinite(rounded) || !std::isfinite(value))
        return value == rounded || (std::isnan(value) && std::isnan(rounded)) ? 0 : 1e30L;
    const int exponent = reference == 0 ? -1022 : std::max(std::ilogb(reference), -1022);
    return std::fabs(std::ldexp(static_cast<long double>(value) - reference, 52 - exponent));
}

long double exact_units(double value, mpfr_t reference)
{
    const long exponent =
        std::max(mpfr_zero_p(reference) ? -1022L : mpfr_get_exp(reference) - 1, -1022L);
    mpfr_sub_d(reference, reference, value, MPFR_RNDN);
    mpfr_mul_2si(reference, reference, 52 - exponent, MPFR_RNDN);
    return std::fabs(mpfr_get_ld(reference, MPFR_RNDN));
}

struct worst_case
{
    long double error = -1;
    double x = 0;
    double y = 0;
    double value = 0;
};

constexpr std::size_t block = 8192;

void measure(const unary_case& c, std::size_t count)
{
    for (const range& r : c.ranges) {
        arguments source(r, 1);
        std::vector<double> x(block);
        std::vector<double> y(block);
        worst_case worst;
        for (std::size_t done = 0; done < count / c.ranges.size(); done += block) {
            for (double& argument : x)
                argument = source.next();
            c.function(x.data(), y.data(), block);
            for (std::size_t i = 0; i < block; ++i)
                if (const long double e = units(y[i], c.reference(x[i])); e > worst.error)
                    worst = {e, x[i], 0, y[i]};
        }
        mpfr_t exact;
        mpfr_init2(exact, 300);
        mpfr_set_d(exact, worst.x, MPFR_RNDN);
        c.exact(exact, exact, MPFR_RNDN);
        std::printf("%-8s [%g, %g]%s %.3f  (%.3Lf) at %a gives %a\n", c.name, r.low, r.high,
                    r.how == binades ? " by binades" : "",
                    static_cast<double>(exact_units(worst.value, exact)), worst.error, worst.x,
                    worst.value);
        std::fflush(stdout);
        mpfr_clear(exact);
    }
}

void measure(const binary_case& c, std::size_t count)
{
    for (const auto& [first, second] : c.ranges) {
        arguments x_source(first, 1);
        arguments y_source(second, 2);
        std::vector<double> x(block);
        std::vector<double> y(block);
        std::vector<double> z(block);
        worst_case worst;
        for (std::size_t done = 0; done < count / c.ranges.size(); done += block) {
            for (std::size_t i = 0; i < block; ++i) {
                x[i] = x_source.next();
                y[i] = y_source.next();
            }
            c.function({x.data()}, {y.data()}, z.data(), block);
            for (std::size_t i = 0; i < block; ++i)
                if (const long double e = units(z[i], c.reference(x[i], y[i])); e > worst.error)
                    worst = {e, x[i], y[i], z[i]};
        }
        mpfr_t exact;
        mpfr_t other;
        mpfr_inits2(300, exact, other, static_cast<mpfr_ptr>(nullptr));
        mpfr_set_d(exact, worst.x, MPFR_RNDN);
        mpfr_set_d(other, worst.y, MPFR_RNDN);
        c.exact(exact, exact, other, MPFR_RNDN);
        std::printf("%-8s [%g, %g] x [%g, %g] %.3f  (%.3Lf) at %a, %a gives %a\n", c.name,
                    first.low, first.high, second.low, second.high,
                    static_cast<double>(exact_units(worst.value, exact)), worst.error, worst.x,
                    worst.y, worst.value);
        std::fflush(stdout);
        mpfr_clears(exact, other, static_cast<mpfr_ptr>(nullptr));
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100'000'000;
    const std::string only = argc > 2 ? argv[2] : "";
    for (const unary_case& c : unary_cases)
        if (only.empty() || only == c.name)
            measure(c, count);
    for (const binary_case& c : binary_cases)
        if (only.empty() || only == c.name)
            measure(c, count);
}
