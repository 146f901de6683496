"""The common dtype of operands: complex128 if one of them is."""

from . import _numerical
from ._conversion import asarray, complex128


def same_dtype(*operands):
    """The operands as a list of tensors of one dtype."""
    tensors = [asarray(operand) for operand in operands]
    if tensors:
        dtype = tensors[0].dtype
        if any(tensor.dtype != dtype for tensor in tensors):
            return [_numerical.asarray(tensor, complex128) for tensor in tensors]
    return tensors
