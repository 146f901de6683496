// The register tiles by themselves, at every shape and the smallest depths. What they make of
// larger ones is seen in the products.

#include "numerical/gemm/blocking.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

constexpr double guard = 12345;
constexpr std::size_t deepest = 5;

// A packed A panel, a packed B panel, and a C of one tile among guards. Small integers, so that no
// order of rounding matters; panels are zero beyond rows and cols, as packing leaves them.
template <class Kernel, class T>
struct tile_case
{
    static constexpr std::size_t mr = blocking<Kernel>::mr;
    static constexpr std::size_t nr = blocking<Kernel>::nr;
    static constexpr std::size_t ldc = nr + 3;
    std::size_t kc, rows, cols;
    std::vector<T> a = test::integer_vector<T>(deepest * mr, 1);
    std::vector<T> b = test::integer_vector<T>(deepest * nr, 2);
    std::vector<T> c = test::integer_vector<T>((mr + 1) * ldc, 3);

    tile_case(std::size_t depth, std::size_t tile_rows, std::size_t tile_cols)
        : kc(depth), rows(tile_rows), cols(tile_cols)
    {
        for (std::size_t p = 0; p < deepest; ++p) {
            std::fill(a.begin() + long(p * mr + rows), a.begin() + long((p + 1) * mr), T(0));
            std::fill(b.begin() + long(p * nr + cols), b.begin() + long((p + 1) * nr), T(0));
        }
        for (std::size_t i = 0; i < c.size(); ++i)
            if (i / ldc >= rows || i % ldc >= cols)
                c[i] = guard;
    }

    void expect_sums()
    {
        std::vector<T> want = c;
        for (std::size_t r = 0; r < rows; ++r)
            for (std::size_t j = 0; j < cols; ++j)
                for (std::size_t p = 0; p < kc; ++p)
                    want[r * ldc + j] += a[p * mr + r] * b[p * nr + j];
        Kernel::tile(tile_operands_of<T>{kc, a.data(), 0, b.data(), nr, c.data(), ldc, rows, cols,
                                         reinterpret_cast<std::uintptr_t>(c.data())});
        ASSERT_EQ(c, want) << rows << " x " << cols << ", depth " << kc;
    }
};

template <class Kernel, class T>
void expect_every_shape()
{
    for (std::size_t kc = 0; kc <= deepest; ++kc)
        for (std::size_t rows = 1; rows <= blocking<Kernel>::mr; ++rows)
            for (std::size_t cols = 1; cols <= blocking<Kernel>::nr; ++cols)
                tile_case<Kernel, T>(kc, rows, cols).expect_sums();
}

TEST(tiles, add_their_products_and_nothing_at_depth_0)
{
    expect_every_shape<vector_tile_kernel<double>, double>();
    expect_every_shape<vector_tile_kernel<complex>, complex>();
    if (cpu_features().avx2)
        expect_every_shape<avx2_tile_kernel, double>();
    if (cpu_features().avx512)
        expect_every_shape<avx512_tile_kernel, double>();
}

} // namespace
