"""The parts of docs/benchmarks.md that benchmarks write, each between its own two marks."""

import collections.abc
import pathlib
import re

ROOT = pathlib.Path(__file__).parents[1]
PAGE = ROOT / "docs" / "benchmarks.md"
END = "<!-- end -->"


def write_part(command: str, lines: collections.abc.Iterable[str]) -> None:
    """The lines in place of those that the command wrote before."""
    begin = f"<!-- begin: ./dev bench {command} -->"
    part = "\n".join([begin, "", *lines, "", END])
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(END), re.DOTALL)
    text = PAGE.read_text()
    if not pattern.search(text):
        raise ValueError(f"{PAGE} has no marks for the part of ./dev bench {command}")
    PAGE.write_text(pattern.sub(lambda _: part, text))
    print(f"wrote {PAGE}")
