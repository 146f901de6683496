// The register tiles by themselves, at every shape and the smallest depths. What they make of
// larger ones is seen in the products.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/blocking.hpp"
#include "numerical/gemm/packing.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

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
    numerical::aligned_vector<T> a = test::integer_vector<T>(deepest * mr, 1);
    numerical::aligned_vector<T> b = test::integer_vector<T>(deepest * nr, 2);
    numerical::aligned_vector<T> c = test::integer_vector<T>((mr + 1) * ldc, 3);

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
        numerical::aligned_vector<T> want = c;
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

// A tile that packs an operand reads it where it lies: its products are those of a tile with both
// operands packed, and its panel is the one that packing makes.
template <class Kernel>
struct packing_case
{
    static constexpr std::size_t mr = blocking<Kernel>::mr;
    static constexpr std::size_t nr = blocking<Kernel>::nr;
    static constexpr std::size_t parts = Kernel::parts;
    static constexpr std::size_t stride = 41; // of all operands, in doubles
    std::size_t depth;
    numerical::aligned_vector<double> a = test::integer_vector<double>(mr * stride, 1);
    numerical::aligned_vector<double> b = test::integer_vector<double>(deepest * stride, 2);
    numerical::aligned_vector<double> c = test::integer_vector<double>(mr * stride, 3);
    numerical::aligned_vector<double> panel_of_a =
        numerical::aligned_vector<double>(parts * depth * mr);
    numerical::aligned_vector<double> panel_of_b = numerical::aligned_vector<double>(depth * nr);

    explicit packing_case(std::size_t kc) : depth(kc)
    {
        if constexpr (parts == 2) {
            pack_parts_of_a<mr>(a.data(), stride, 0, mr, depth, panel_of_a.data());
            pack_parts_of_b<nr>(b.data(), stride, 0, nr, depth, panel_of_b.data());
        } else {
            pack_a<mr>(a.data(), stride, 0, mr, depth, panel_of_a.data());
            pack_b<nr>(b.data(), stride, 0, nr, depth, panel_of_b.data());
        }
    }

    tile_operands both_packed(numerical::aligned_vector<double>& into)
    {
        return {.kc = depth,
                .a = panel_of_a.data(),
                .lda = 0,
                .b = panel_of_b.data(),
                .ldb = nr,
                .c = into.data(),
                .ldc = stride,
                .rows = mr,
                .cols = nr,
                .next_c = reinterpret_cast<std::uintptr_t>(into.data())};
    }

    template <class Tile>
    void expect_panel(const Tile& tile, tile_operands t,
                      const numerical::aligned_vector<double>& panel)
    {
        numerical::aligned_vector<double> want = c;
        Kernel::tile(both_packed(want));
        numerical::aligned_vector<double> got = panel;
        got.push_back(guard);
        const numerical::aligned_vector<double> want_panel = got;
        std::fill(got.begin(), got.end() - 1, -guard);
        t.panel = got.data();
        tile(t);
        ASSERT_EQ(c, want) << "depth " << depth;
        ASSERT_EQ(got, want_panel) << "depth " << depth;
    }
};

template <class Kernel>
void expect_panels_beside_products()
{
    for (std::size_t depth = 0; depth <= deepest; ++depth) {
        packing_case<Kernel> of_a(depth);
        tile_operands t = of_a.both_packed(of_a.c);
        t.a = of_a.a.data();
        t.lda = of_a.stride;
        of_a.expect_panel(Kernel::tile_packing_a, t, of_a.panel_of_a);

        packing_case<Kernel> of_b(depth);
        t = of_b.both_packed(of_b.c);
        t.b = of_b.b.data();
        t.ldb = of_b.stride;
        of_b.expect_panel(Kernel::tile_packing_b, t, of_b.panel_of_b);
    }
}

TEST(tiles, that_pack_an_operand_have_the_products_and_the_panel_of_packed_ones)
{
    if (cpu_features().avx2)
        expect_panels_beside_products<avx2_tile_kernel>();
    if (!cpu_features().avx512)
        return;
    expect_panels_beside_products<avx512_tile_kernel>();
    expect_panels_beside_products<avx512_complex_tile_kernel>();
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
