"""The checks of the sources see what they are there for."""

import importlib.util
import pathlib

CHECKS = pathlib.Path(__file__).parents[1] / "checks"


def check(name):
    spec = importlib.util.spec_from_file_location(name, CHECKS / f"{name}.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def names(text, most=6):
    return [name for _, name, _ in check("parameters").long_lists(text, most)]


def test_a_function_with_seven_parameters_is_found_whatever_its_types():
    assert names("void f(int a, int b, int c, int d, int e, int g, int h);") == ["f"]
    assert names(
        "template <class T>\n"
        "bool each(const std::vector<T>& x, std::pair<int, T> p, double (&out)[3],\n"
        "          void (*done)(int, int), const T* rows, std::size_t stride, T last = T(0))\n{"
    ) == ["each"]
    assert names("    panel(block_view<T> a, int b, int c, int d, int e, int g, int h) : x(a)") == [
        "panel"
    ]


def test_unnamed_parameters_count():
    assert names(
        "int by_path(int, const double* a, double*, std::size_t n, int p, int q, int r)"
    ) == ["by_path"]


def test_six_parameters_calls_and_comments_are_no_fault():
    assert names("void f(int a, int b, int c, int d, int e, int g);") == []
    assert names("    f(a + 1, b, c[2], d(), 5, g.x, h);") == []
    assert names("    gemm(m, n, k, a, lda, b, ldb, c, ldc);") == []
    assert names("// f(int a, int b, int c, int d, int e, int g, int h)") == []


def test_the_line_of_a_fault_is_told():
    text = '#include "x.hpp"\n\nint f(int a, int b, int c, int d, int e, int g,\n      int h);\n'
    assert check("parameters").long_lists(text, 6) == [(3, "f", 7)]
