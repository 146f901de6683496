"""Pictures without a library: a PNG writer, and the same picture in the terminal."""

import os
import pathlib
import struct
import sys
import zlib

Pixel = tuple[int, int, int]


def write_png(path: pathlib.Path, rows: list[list[Pixel]]) -> None:
    """Rows of (red, green, blue), each 0 to 255, as an 8-bit RGB file (ISO/IEC 15948)."""

    def chunk(kind: bytes, body: bytes) -> bytes:
        check = zlib.crc32(kind + body)
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", check)

    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 2, 0, 0, 0)
    lines = b"".join(b"\0" + bytes(part for pixel in row for part in pixel) for row in rows)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", header)
        + chunk(b"IDAT", zlib.compress(lines, 9))
        + chunk(b"IEND", b"")
    )


def show_in_terminal(rows: list[list[Pixel]], columns: int = 78) -> None:
    """Two pixels in each character cell, in 24-bit colour; letters for brightness elsewhere."""
    step = max(1, -(-len(rows[0]) // columns))
    small = [row[::step] for row in rows[::step]]
    colour = sys.stdout.isatty() and os.environ.get("TERM", "dumb") != "dumb"
    for upper, lower in zip(small[::2], small[1::2]):
        if colour:
            cells = (
                f"\x1b[38;2;{a[0]};{a[1]};{a[2]}m\x1b[48;2;{b[0]};{b[1]};{b[2]}m▀"
                for a, b in zip(upper, lower)
            )
            print("".join(cells) + "\x1b[0m")
        else:
            print("".join(" .:-=+*#%@"[min(9, sum(pixel) * 10 // 766)] for pixel in upper))
