"""Every Python block of the README and the docs runs, page by page, in its order.

A block of `pycon` is a session of the interpreter, whose answers are compared.
"""

import doctest
import pathlib
import re

import pytest

import numerical as nm

ROOT = pathlib.Path(__file__).parents[2]
PAGES = [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]
BLOCK = re.compile(r"^```(python|pycon)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
AUTODOC = re.compile(r"^\.\. auto(?:function|class|exception):: (\w+)", re.MULTILINE)
LINK = re.compile(r"\]\(([^)#:\s]+)(?:#[^)]*)?\)")
WITH_CODE = [page for page in PAGES if BLOCK.search(page.read_text())]


@pytest.mark.parametrize("page", WITH_CODE, ids=lambda page: page.name)
def test_the_code_of_a_page_runs(page):
    names = {}
    for kind, block in BLOCK.findall(page.read_text()):
        if kind == "python":
            exec(compile(block, str(page), "exec"), names)
        else:
            run_session(block, names, page.name)


def run_session(block, names, page):
    said = []
    session = doctest.DocTest(
        doctest.DocTestParser().get_examples(block), names, page, None, None, block
    )
    doctest.DocTestRunner(verbose=False).run(session, out=said.append, clear_globs=False)
    names.update(session.globs)
    assert not said, "".join(said)


@pytest.mark.parametrize("page", PAGES, ids=lambda page: page.name)
def test_links_lead_to_files(page):
    for target in LINK.findall(page.read_text()):
        assert (page.parent / target).exists(), target


def test_every_public_name_is_on_a_page_of_the_api():
    pages = [*(ROOT / "docs").glob("api_*.md"), ROOT / "docs/tensor.md", ROOT / "docs/errors.md"]
    listed = {name for page in pages for name in AUTODOC.findall(page.read_text())}
    public = {name for name in dir(nm) if name[0] != "_" and callable(getattr(nm, name))}
    assert public - listed - set(nm.linalg.__all__) == set()
    assert listed <= public | set(nm.linalg.__all__)


def test_the_readme_is_short():
    assert len((ROOT / "README.md").read_text().splitlines()) < 150
