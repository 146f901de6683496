"""Every Python block of the README and the docs runs, page by page, in its order."""

import pathlib
import re

import pytest

ROOT = pathlib.Path(__file__).parents[2]
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
BLOCK = re.compile(r"^```python\n(.*?)^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^)#:\s]+)(?:#[^)]*)?\)")
WITH_CODE = [page for page in PAGES if BLOCK.search(page.read_text())]


@pytest.mark.parametrize("page", WITH_CODE, ids=lambda page: page.name)
def test_the_code_of_a_page_runs(page):
    names = {}
    for block in BLOCK.findall(page.read_text()):
        exec(compile(block, str(page), "exec"), names)


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_links_lead_to_files(page):
    for target in LINK.findall(page.read_text()):
        assert (page.parent / target).exists(), target


def test_the_readme_is_short():
    assert len((ROOT / "README.md").read_text().splitlines()) < 150
