"""No function has more than six parameters: what belongs together is an aggregate with a name.

The matrix products and their kernels keep the list that every reader of BLAS knows, the sizes and
each operand with its stride: those in numerical/gemm may have nine.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"
GEMM = SOURCES / "numerical" / "gemm"
MOST = 6
MOST_OF_GEMM = 9

NO_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)
NAME = re.compile(r"([\w~]+)\s*\(")
# A type and the name of a parameter, which may be a reference to an array or a pointer to function.
PARAMETER = re.compile(
    r"(?:const |typename |unsigned |struct )*[\w:]+(?:<.*>)?(?:::\w+)?(?:\s|[*&]|\bconst\b)*"
    r"(?:[\s*&]\w+(?:\[\w*\])?|\(\s*[*&]\s*\w+\s*\).*)?",
    re.DOTALL,
)
NAMED = re.compile(r"[\w>*&\]][\s*&]+\w+(?:\[\w*\])?$|\(\s*[*&]")


def closing(text: str, opened: int) -> int:
    """The place of the parenthesis that closes the one at `opened`."""
    depth = 0
    for at in range(opened, len(text)):
        depth += (text[at] == "(") - (text[at] == ")")
        if depth == 0:
            return at
    return len(text)


def split_list(arguments: str) -> list[str]:
    """The arguments between commas that no bracket holds."""
    parts, depth, start = [], 0, 0
    for at, character in enumerate(arguments):
        depth += (character in "([{<") - (character in ")]}>")
        if character == "," and depth == 0:
            parts.append(arguments[start:at])
            start = at + 1
    return [part.split("=")[0].strip() for part in [*parts, arguments[start:]]]


def is_declared(parameters: list[str]) -> bool:
    """Whether these are parameters rather than the arguments of a call, which are expressions."""
    return (
        all(PARAMETER.fullmatch(each) for each in parameters)
        and sum(NAMED.search(each) is not None for each in parameters) >= len(parameters) / 2
    )


def long_lists(text: str, most: int) -> list[tuple[int, str, int]]:
    """Line, name and number of parameters of each function with more than `most`."""
    code = NO_CODE.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)
    found = []
    for match in NAME.finditer(code):
        parameters = split_list(code[match.end() : closing(code, match.end() - 1)])
        if len(parameters) > most and is_declared(parameters):
            found.append((code.count("\n", 0, match.start()) + 1, match[1], len(parameters)))
    return found


def main() -> int:
    files = sorted(SOURCES.rglob("*.[ch]pp"))
    faults = [
        f"{path.relative_to(ROOT)}:{line}: {name} has {count} parameters"
        for path in files
        for line, name, count in long_lists(
            path.read_text(), MOST_OF_GEMM if GEMM in path.parents else MOST
        )
    ]
    print("\n".join(faults) or f"{len(files)} files, no function with too many parameters")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
