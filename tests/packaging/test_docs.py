"""The documentation builds without a warning, from public names alone."""

import importlib.util
import os
import pathlib
import subprocess
import sys

import pytest

# A whole file that is skipped would count as one without tests.
pytestmark = pytest.mark.skipif(
    any(importlib.util.find_spec(name) is None for name in ("sphinx", "myst_parser")),
    reason="no Sphinx",
)

ROOT = pathlib.Path(__file__).parents[2]
BUILD = pathlib.Path(os.environ.get("NUMERICAL_BUILD", ROOT / "build" / "release"))


@pytest.fixture(scope="module")
def built(tmp_path_factory):
    folder = tmp_path_factory.mktemp("docs")
    said = subprocess.run(
        [sys.executable, "-m", "sphinx", "-W", "-q", "-b", "text", ROOT / "docs", folder],
        capture_output=True, text=True, env={**os.environ, "PYTHONPATH": BUILD / "python"},
    )  # fmt: skip
    assert said.returncode == 0, said.stderr
    return folder


def test_the_api_shows_public_names_alone(built):
    for page in built.glob("api*.txt"):
        assert "numerical._" not in page.read_text(), page.name


def test_a_function_is_shown_with_its_sections(built):
    text = (built / "api_linalg.txt").read_text()
    solve = text.partition("numerical.linalg.solve(a, b")[2].partition("\nnumerical.linalg.")[0]
    for heading in ("Parameters:", "Returns:", "Raises:", "-[ Notes ]-", "-[ Examples ]-"):
        assert heading in solve
