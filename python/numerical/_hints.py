"""Hints of errors: what was given, and what to write instead."""


def add_hint(failure, sentence):
    """Adds a sentence to an exception: as its `hint`, and as a note where Python shows notes (3.11)."""
    failure.hint = sentence
    if hasattr(failure, "add_note"):
        failure.add_note(sentence)
    return failure


def einsum_hint(spec, shapes):
    """The first fault in the subscripts of an einsum of operands of these shapes, or None."""
    inputs, _, output = "".join(spec.split()).partition("->")
    parts = inputs.split(",")
    if len(parts) != len(shapes):
        return (
            f"the subscripts '{inputs}' are for {len(parts)} operands, and {len(shapes)} are given"
        )
    seen = {}  # each letter's extent, and where it was met
    for place, (part, shape) in enumerate(zip(parts, shapes)):
        where = f"operand {place} of shape {shape}"
        letters = len(part.replace("...", ""))
        if letters > len(shape) or letters < len(shape) and "..." not in part:
            return f"the subscripts '{part}' name {letters} axes, {where} has {len(shape)}"
        for letter, extent in _letters_with_extents(part, shape):
            first, met = seen.setdefault(letter, (extent, where))
            if first != extent:
                other = "itself" if met == where else where
                return f"'{letter}' is {first} in {met} and {extent} in {other}"
    strange = sorted(set(output.replace("...", "")) - seen.keys())
    if strange:
        return f"'{strange[0]}' of the output '{output}' is no label of an operand"
    if "..." in inputs:
        listed = " and ".join(str(shape) for part, shape in zip(parts, shapes) if "..." in part)
        return f"the axes of '...' must broadcast; the operands have shapes {listed}"
    return None


def _letters_with_extents(part, shape):
    """(letter, extent) for each letter of an operand's subscripts, those behind '...' from the end."""
    before, _, behind = part.partition("...")
    yield from zip(before, shape)
    yield from zip(reversed(behind), reversed(shape))
