"""Element-wise functions, reductions, comparisons, sorting and searching, all native."""

from ._native_module import native

# --- elementary functions -------------------------------------------------------------------------
exp = native.exp
exp2 = native.exp2
expm1 = native.expm1
log = native.log
log2 = native.log2
log10 = native.log10
log1p = native.log1p
sqrt = native.sqrt
sin = native.sin
cos = native.cos
tan = native.tan
sinh = native.sinh
cosh = native.cosh
tanh = native.tanh
arcsin = native.arcsin
arccos = native.arccos
arctan = native.arctan
arcsinh = native.arcsinh
arccosh = native.arccosh
arctanh = native.arctanh
arctan2 = native.arctan2
hypot = native.hypot

# The names of the array API.
acos, asin, atan, atan2 = arccos, arcsin, arctan, arctan2
acosh, asinh, atanh = arccosh, arcsinh, arctanh
pow = power = native.power

# --- arithmetic and rounding ----------------------------------------------------------------------
abs = native.abs
square = native.square
sign = native.sign
copysign = native.copysign
nextafter = native.nextafter
floor = native.floor
ceil = native.ceil
trunc = native.trunc
round = native.round
clip = native.clip
real = native.real
imag = native.imag
conj = native.conj
negative = native.negative
add = native.add
subtract = native.subtract
multiply = native.multiply
divide = native.divide
floor_divide = native.floor_divide
remainder = native.remainder
maximum = native.maximum
minimum = native.minimum
absolute, conjugate = abs, conj

# --- booleans -------------------------------------------------------------------------------------
equal = native.equal
not_equal = native.not_equal
less = native.less
less_equal = native.less_equal
greater = native.greater
greater_equal = native.greater_equal
logical_and = native.logical_and
logical_or = native.logical_or
logical_xor = native.logical_xor
logical_not = native.logical_not
signbit = native.signbit
isnan = native.isnan
isinf = native.isinf
isfinite = native.isfinite
isclose = native.isclose
where = native.where

# --- reductions and running sums ------------------------------------------------------------------
sum = native.sum
mean = native.mean
prod = native.prod
max = native.max
min = native.min
var = native.var
std = native.std
any = native.any
all = native.all
count_nonzero = native.count_nonzero
cumsum = native.cumsum
cumprod = native.cumprod

# --- sorting and searching ------------------------------------------------------------------------
sort = native.sort
argsort = native.argsort
argmax = native.argmax
argmin = native.argmin
searchsorted = native.searchsorted
nonzero = native.nonzero

# --- comparisons of whole tensors -----------------------------------------------------------------
allclose = native.allclose
array_equal = native.array_equal
