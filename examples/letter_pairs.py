"""Vowels and consonants, found in a text without knowing either.

Entry (i, j) of the matrix counts how often letter j follows letter i. The first singular vectors
tell how frequent the letters are. The second ones tell what the pairs prefer: in a language in which
vowels follow consonants and consonants vowels, a letter's signs in the two vectors differ, and say
which of the two it is (Moler and Morrison 1983). The text is what Python ships as its help topics.

References
    C. Moler and D. Morrison, Singular value analysis of cryptograms, American Mathematical Monthly
        90 (1983).
"""

import pathlib
import pydoc_data.topics

import numerical as nm
import picture

LETTERS = "abcdefghijklmnopqrstuvwxyz"


def pair_counts(text):
    letters = "".join(c for c in text.lower() if c in LETTERS)
    counts = [[0.0] * len(LETTERS) for _ in LETTERS]
    for first, second in zip(letters, letters[1:]):
        counts[LETTERS.index(first)][LETTERS.index(second)] += 1
    return nm.array(counts), len(letters)


def classes(u, vh):
    """Letters whose second left and right coordinates are (+, -), (-, +), and of one sign."""
    left, right = u[:, 1].tolist(), vh[1].tolist()
    groups = {(1, -1): "", (-1, 1): "", "neither": ""}
    for letter, x, y in zip(LETTERS, left, right):
        key = (1, -1) if x > 0 > y else (-1, 1) if y > 0 > x else "neither"
        groups[key] += letter
    one, other = groups[1, -1], groups[-1, 1]
    return (one, other, groups["neither"]) if "e" in one else (other, one, groups["neither"])


def draw(u, vh, vowels):
    """Each letter as a dot at its second coordinates, vowels red."""
    size = 240
    pixels = [[(255, 255, 255)] * size for _ in range(size)]
    for letter, x, y in zip(LETTERS, u[:, 1].tolist(), vh[1].tolist()):
        column, row = int(size * (0.5 + 0.48 * x)), int(size * (0.5 - 0.48 * y))
        colour = (200, 40, 40) if letter in vowels else (40, 60, 160)
        for i in range(max(row - 2, 0), min(row + 3, size)):
            for j in range(max(column - 2, 0), min(column + 3, size)):
                pixels[i][j] = colour
    return pixels


def main():
    text = " ".join(pydoc_data.topics.topics.values())
    counts, letters = pair_counts(text)
    u, s, vh = nm.linalg.svd(counts)
    vowels, consonants, neither = classes(u, vh)
    print(f"{letters} letters of Python's help; largest singular values {s[:3].tolist()}")
    print(f"like vowels:     {vowels}")
    print(f"like consonants: {consonants}")
    print(f"undecided:       {neither}")
    target = pathlib.Path("build") / "gallery" / "letters.png"
    picture.write_png(target, draw(u, vh, vowels))
    print(f"the letters' places: {target}")


if __name__ == "__main__":
    main()
