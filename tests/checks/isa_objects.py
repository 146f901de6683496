"""The objects of the core: each holds the instructions of its own prefix and no others.

    isa_objects.py OBJECT...

An object built for more than the baseline may offer no weak symbol either: the linker keeps one
copy of those for everybody, and might keep this one. The loops of the tiles move no vector to or
from the stack, which would cost them a third of their speed.
"""

import re
import subprocess
import sys
from pathlib import Path

ADDRESS = re.compile(r"^\s*([0-9a-f]+):\t((?:[0-9a-f]{2} )+)\s*\t(\S+)\s*(.*)$")
FUNCTION = re.compile(r"^[0-9a-f]+ <(.+)>:$")
FUSED = re.compile(r"vfn?m(add|sub|addsub|subadd)\d+")
VECTOR = re.compile(r"%[xyz]mm")
JUMP_TARGET = re.compile(r"^([0-9a-f]+)")
VEX = {"c4", "c5"}
EVEX = "62"

# What AVX-512F alone has in 512 bits of what the kernels use. Not here, for they belong to
# AVX-512DQ: vandpd, vorpd, vxorpd of zmm, vextractf64x2, vbroadcastf64x2, vpmullq, vcvtqq2pd; to
# AVX-512BW: everything on bytes and words. Whoever needs another adds it with a look at its
# feature in the processor's manual.
FOUNDATION = re.compile(
    r"vmov[ua]p[sd]|vmovdqa(32|64)|vmovdqu(32|64)|vbroadcastsd|vpbroadcastq"
    r"|vfn?m(add|sub)(132|213|231)pd|v(add|sub|mul|div|max|min|sqrt)pd|vcmp\w*pd|vrndscalepd"
    r"|vunpck[lh]pd|vpermilpd|vpermpd|vperm[it]2pd|vshuff64x2|vextractf64x4|vinsertf64x4"
    r"|vp(xor|or|and|andn)[dq]|vp(add|sub|sll|srl|testm|cmpn?\w*)q|vpternlog[dq]|vblendmpd|vmovddup|valignq"
)
# Scalars in the upper sixteen registers are AVX-512F; the same of two or four lanes is AVX-512VL.
SCALAR = re.compile(
    r"vmov(sd|[dq])|v(add|sub|mul|div|max|min|sqrt)sd|vfn?m(add|sub)(132|213|231)sd"
    r"|vu?comisd|vcvt\w*(sd|si)\w*|vrndscalesd"
)
# Of the masks AVX-512F has the 16-bit forms, but for ktestw and kaddw.
MASK = re.compile(r"k(mov|and|andn|or|not|xor|xnor|unpckb|shiftl|shiftr|ortest)w|kunpckbw")


class Instruction:
    def __init__(self, match):
        self.address = int(match[1], 16)
        self.code = match[2].split()
        self.name = match[3]
        self.operands = match[4]

    def __str__(self):
        return f"{self.name} {self.operands}"


def functions_of(path):
    """Name and instructions of each function."""
    out = subprocess.run(
        ["objdump", "-d", "--insn-width=16", str(path)], check=True, capture_output=True, text=True
    ).stdout
    name, body = None, []
    for line in out.splitlines():
        if start := FUNCTION.match(line):
            if body:
                yield name, body
            name, body = start[1], []
        elif found := ADDRESS.match(line):
            body.append(Instruction(found))
    if body:
        yield name, body


def baseline_fault(i):
    return "isn't of the baseline" if i.name.startswith("v") or i.code[0] in VEX | {EVEX} else None


def avx2_fault(i):
    return "is AVX-512" if i.code[0] == EVEX or "%zmm" in i.operands else None


def avx2_unfused_fault(i):
    return "is fused" if FUSED.match(i.name) else avx2_fault(i)


def avx512_fault(i):
    if i.name.startswith("k"):
        return None if MASK.fullmatch(i.name) else "works on masks as AVX-512F can't"
    if i.code[0] != EVEX:
        return None
    if "%zmm" in i.operands:
        return None if FOUNDATION.fullmatch(i.name) else "isn't known to be of AVX-512F"
    return None if SCALAR.fullmatch(i.name) else "is AVX-512VL"


def rule_of(name):
    if name.startswith("avx512_"):
        return avx512_fault
    if name.startswith("avx2_unfused_"):
        return avx2_unfused_fault
    return avx2_fault if name.startswith("avx2_") else baseline_fault


def innermost_loops(body):
    """The stretches from the target of a conditional jump backwards to that jump, with no other
    inside. What is left through the middle is no loop but the way back from code set apart."""
    at = {i.address: n for n, i in enumerate(body)}
    spans = []
    for n, i in enumerate(body):
        conditional = i.name.startswith("j") and i.name != "jmp"
        target = JUMP_TARGET.match(i.operands) if conditional else None
        first = at.get(int(target[1], 16)) if target else None
        if first is None or first > n:
            continue
        if not any(inside.name in ("ret", "jmp") for inside in body[first:n]):
            spans.append((first, n))
    for first, last in spans:
        if not any(first <= f and l <= last and (f, l) != (first, last) for f, l in spans):
            yield body[first : last + 1]


def spills(body):
    """Vectors on the stack in the loops that hold fused products. The byte of a mask, which g++ 12
    reads anew in each turn of an edge tile, is none."""
    framed = any(i.name == "mov" and i.operands == "%rsp,%rbp" for i in body)
    stack = re.compile(r"\(%r[sb]p" if framed else r"\(%rsp")
    for loop in innermost_loops(body):
        if any(FUSED.match(i.name) for i in loop):
            yield from (i for i in loop if VECTOR.search(i.operands) and stack.search(i.operands))


def weak_symbols(path):
    out = subprocess.run(
        ["nm", "-C", "--defined-only", str(path)], check=True, capture_output=True, text=True
    ).stdout
    return [line.split(" ", 2)[2] for line in out.splitlines() if line.split()[1] in "WVu"]


def faults(path):
    """What is wrong with an object, and how many loops of fused products were looked at."""
    rule = rule_of(path.name)
    found = []
    loops = 0
    if rule is not baseline_fault:
        found += [f"offers the weak symbol {name}" for name in weak_symbols(path)]
    for function, body in functions_of(path):
        found += [f"{function}: {i} {why}" for i in body if (why := rule(i))]
        if re.match(r"avx\d+_tile\.", path.name):
            loops += sum(any(FUSED.match(i.name) for i in loop) for loop in innermost_loops(body))
            found += [f"{function}: {i} in a loop of products" for i in spills(body)]
    return found, loops


def main():
    objects = [Path(name) for name in sys.argv[1:] if name.endswith(".o")]
    if not objects:
        sys.exit(__doc__)
    failed = False
    loops = 0
    for path in objects:
        found, seen = faults(path)
        loops += seen
        failed = failed or bool(found)
        for fault in found:
            print(f"{path.name}: {fault}")
    if loops == 0:
        print("no tile has a loop of fused products: are these the objects of a release build?")
    print(f"{len(objects)} objects, {loops} loops of fused products looked at")
    sys.exit(1 if failed or loops == 0 else 0)


if __name__ == "__main__":
    main()
