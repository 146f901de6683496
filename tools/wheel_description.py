"""The text that a wheel carries: the README as it reads away from the sources.

A wheel has no files to link to, and the project no address to link them at. So pictures are left out,
and a link into the tree becomes its own text.
"""

import re

PICTURE = re.compile(r"^!\[[^\]]*\]\([^)]*\)\n\n", re.MULTILINE)
LINK_INTO_TREE = re.compile(r"\[([^\]]+)\]\((?!https?:)[^)]*\)")


def wheel_description(readme: str) -> str:
    return LINK_INTO_TREE.sub(r"\1", PICTURE.sub("", readme))
