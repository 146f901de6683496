"""Which modules of the standard library the others rest on.

A reader who follows an import at random, and now and then opens any module at all, is found in
module j with probability x[j], where x = (1 - damping)/n + damping·M·x and M spreads each module's
weight over what it imports (Brin and Page 1998). That is one linear system. The graph is read from
the library's own sources.

References
    S. Brin and L. Page, The anatomy of a large-scale hypertextual web search engine, Computer
        Networks 30 (1998).
"""

import ast
import pathlib
import sys
import sysconfig

import numerical as nm
import picture

DAMPING = 0.85


def imported_by(path):
    """Names of the top-level modules that a source imports."""
    names = set()
    for node in ast.walk(ast.parse(path.read_bytes())):
        if isinstance(node, ast.Import):
            names |= {alias.name.split(".")[0] for alias in node.names}
        elif isinstance(node, ast.ImportFrom) and node.level == 0 and node.module:
            names.add(node.module.split(".")[0])
    return names


def library_imports():
    folder = pathlib.Path(sysconfig.get_path("stdlib"))
    sources = {path.stem: path for path in folder.glob("*.py")}
    sources |= {path.parent.name: path for path in folder.glob("*/__init__.py")}
    named = sys.stdlib_module_names - {"antigravity", "this"}
    graph = {name: imported_by(path) for name, path in sorted(sources.items()) if name in named}
    return {name: sorted((found & graph.keys()) - {name}) for name, found in graph.items()}


def ranks(graph):
    names = list(graph)
    n = len(names)
    place = {name: i for i, name in enumerate(names)}
    columns = []
    for name in names:
        column = [0.0] * n
        for other in graph[name] or names:  # who imports nothing leads everywhere
            column[place[other]] = 1.0 / len(graph[name] or names)
        columns.append(column)
    walk = nm.array(columns).T
    system = nm.eye(n) - DAMPING * walk
    x = nm.linalg.solve(system, nm.full((n,), (1 - DAMPING) / n))
    error = nm.max(nm.abs(system @ x - (1 - DAMPING) / n))
    print(f"{n} modules; the ranks sum to {nm.sum(x):.15f}, largest error {error:.1e}")
    return dict(zip(names, x.tolist()))


def main():
    found = ranks(library_imports())
    best = sorted(found, key=found.get, reverse=True)[:12]
    for name in best:
        print(f"  {name:<12} {100 * found[name]:5.2f} %  {'#' * int(400 * found[name])}")
    longest = found[best[0]]
    pixels = []
    for name in best:
        width = int(300 * found[name] / longest)
        bar = [(90, 110, 150)] * width + [(255, 255, 255)] * (300 - width)
        pixels += [bar] * 9 + [[(255, 255, 255)] * 300] * 3
    target = pathlib.Path("build") / "gallery" / "pagerank.png"
    picture.write_png(target, pixels)
    print(f"the bars: {target}")


if __name__ == "__main__":
    main()
