"""Every work that the sources and the documents cite as "Author year" stands in docs/references.md.

An entry answers a citation if it begins with the first author, is of the year, and names the other
authors that the citation names.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
REFERENCES = ROOT / "docs" / "references.md"

NAME = r"[A-Z](?![A-Z])[^\W\d_]+"  # no acronym
SURNAME = rf"(?:(?:van|von|de|der|den|Van|De) )*{NAME}(?:-{NAME})*"
CITATION = re.compile(
    rf"\b({SURNAME}(?:(?:, | and |, and ){SURNAME})*)(?: et al\.)?,? \(?((?:1[89]|20)\d\d)\b"
)
COMMENT_MARK = re.compile(r"^[ \t]*(?://|#|\*)?[ \t]*", re.MULTILINE)


def citations(text: str) -> set[tuple[str, str]]:
    """Authors and year of each citation; a line break within one counts as a blank."""
    return set(CITATION.findall(" ".join(COMMENT_MARK.sub("", text).split())))


def answers(entry: str, authors: str, year: str) -> bool:
    first, *others = re.findall(SURNAME, authors)
    return (
        entry.startswith(f"{first},")
        and f"({year})" in entry
        and all(f"{author}," in entry for author in others)
    )


def main() -> int:
    entries = [" ".join(entry.split()) for entry in REFERENCES.read_text().split("\n- ")[1:]]
    files = [*(ROOT / "src").rglob("*.[ch]pp"), *(ROOT / "python").rglob("*.py")]
    files += [path for path in (ROOT / "docs").glob("*.md") if path != REFERENCES]
    missing, seen = [], set()
    for path in sorted(files):
        for authors, year in sorted(citations(path.read_text())):
            seen.add((authors, year))
            if not any(answers(entry, authors, year) for entry in entries):
                missing.append(f"{path.relative_to(ROOT)}: {authors} {year} is no reference")
    print("\n".join(missing) or f"{len(seen)} works are cited, each with its reference")
    return 1 if missing or not seen else 0


if __name__ == "__main__":
    sys.exit(main())
