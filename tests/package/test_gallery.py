"""Each program of the gallery runs, draws its picture, and says what it should."""

import os
import pathlib
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).parents[2]
PROGRAMS = {
    "picture_compression": ("rank  40:", "compression.png"),
    "letter_pairs": ("like vowels:     ae", "letters.png"),
    "drums": ("largest difference of the 825 values:", "drums.png"),
    "tensor_network": ("3 x 3 spins, all 512 states counted", "ising.png"),
    "pagerank": ("the ranks sum to 1.0000", "pagerank.png"),
}


def run(program, folder, *options):
    return subprocess.run(
        [sys.executable, ROOT / "examples" / f"{program}.py", *options], cwd=folder, check=True,
        capture_output=True, text=True,
        env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)},
    ).stdout  # fmt: skip


@pytest.mark.parametrize("program", PROGRAMS)
def test_a_program_runs_and_draws(program, tmp_path):
    words, picture = PROGRAMS[program]
    assert words in run(program, tmp_path)
    drawn = (tmp_path / "build" / "gallery" / picture).read_bytes()
    assert drawn.startswith(b"\x89PNG\r\n\x1a\n")


def test_the_drums_sound_the_same(tmp_path):
    line = next(line for line in run("drums", tmp_path).splitlines() if "difference" in line)
    assert float(line.split(":")[1].split()[0]) < 1e-13


def test_the_terrain_fits_its_heights(tmp_path):
    said = run("terrain", tmp_path)
    assert "the sign as theory tells" in said
    line = next(line for line in said.splitlines() if "largest error" in line)
    assert float(line.split()[5]) < 1e-9
    assert (tmp_path / "build" / "demo" / "hawaii.png").exists()


def test_least_squares_larger_than_memory_are_solved_by_blocks(tmp_path):
    pytest.importorskip("dask")
    said = run(
        "tall_least_squares", tmp_path,
        "--rows", "400000", "--cosines", "31", "--block-rows", "4000", "--memory", "64",
    )  # fmt: skip
    assert "400000 rows are 98 MiB, the limit is 64 MiB" in said
    assert "100% Completed" in said
    line = next(line for line in said.splitlines() if "differ by" in line)
    assert float(line.split()[-1]) < 1e-12
    assert "root mean square of the residual: 0.007" in said.splitlines()[-1]
