"""Which systems a shared object loads on: the symbol versions that it asks of its libraries.

Reads the section .gnu.version_r of a 64-bit little-endian ELF file (System V ABI, Linux Standard Base
Core 5.0, section 10.7.4).
"""

import pathlib
import struct
import sys

VERSIONS_NEEDED = 0x6FFFFFFE  # section type SHT_GNU_verneed


def _sections(elf):
    (table,) = struct.unpack_from("<Q", elf, 0x28)
    size, count = struct.unpack_from("<HH", elf, 0x3A)
    for i in range(count):
        # name, type, flags, address, offset, size, link, info
        yield struct.unpack_from("<IIQQQQII", elf, table + i * size)


def _text(elf, place):
    return elf[place : elf.index(b"\0", place)].decode()


def needed_versions(path):
    """{library: set of the versions asked of it}, such as {"libc.so.6": {"GLIBC_2.14"}}."""
    elf = pathlib.Path(path).read_bytes()
    if elf[:6] != b"\x7fELF\x02\x01":
        raise ValueError(f"{path} is no 64-bit little-endian ELF file")
    sections = list(_sections(elf))
    needed = {}
    for _, kind, _, _, record, _, link, count in sections:
        if kind != VERSIONS_NEEDED:
            continue
        names = sections[link][4]
        for _ in range(count):
            _, entries, file, first, following = struct.unpack_from("<HHIII", elf, record)
            entry = record + first
            versions = needed.setdefault(_text(elf, names + file), set())
            for _ in range(entries):
                _, _, _, name, step = struct.unpack_from("<IHHII", elf, entry)
                versions.add(_text(elf, names + name))
                entry += step
            record += following
    return needed


def newest(versions, family):
    """The newest version of a family as a tuple: (2, 14) of {"GLIBC_2.14", "GLIBC_2.2.5"}."""
    found = [
        tuple(map(int, number.split(".")))
        for prefix, _, number in (version.rpartition("_") for version in versions)
        if prefix == family
    ]
    return max(found, default=())


FLOOR = (2, 28)  # what the build aims at


def platform_tag(path):
    """The wheel's platform (PEP 600): manylinux_2_28, or that of the newer glibc which is needed."""
    versions = set().union(*needed_versions(path).values())
    if newest(versions, "GLIBCXX"):
        return "linux_x86_64"  # a libstdc++ that other systems may lack
    major, minor = max(newest(versions, "GLIBC")[:2], FLOOR)
    return f"manylinux_{major}_{minor}_x86_64"


if __name__ == "__main__":
    for file in sys.argv[1:]:
        print(file, platform_tag(file), *sorted(set().union(*needed_versions(file).values())))
