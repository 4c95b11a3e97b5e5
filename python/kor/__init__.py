"""kor: classical numerical methods over numpy arrays, lists and Python callables."""
from ._kor import (At, Error, Interpret, Korvat, MessageWarning, Ref, at, missing, null,
                   set_message_handler, DivisionByZero, Overflow, SubscriptOutOfRange, TypeMismatch)
