"""What a failing call raises."""

from . import _abi


class ComError(Exception):
    """A component, or the call of it, failed.

    hresult      the result as an unsigned number, 0x80004005 (E_FAIL) mostly
    member       the method or property that was called, or the ProgID of the object to be made
    description  the reason in words
    ErrorCode    the object's own reason, read after the failure: 2 if another object holds the
                 device, for example. None if the object has no such property, if it can't be read,
                 or if the member wasn't run at all.
    """

    __module__ = __package__  # where applications know it from

    def __init__(self, hresult: int, member: str, description: str,
                 ErrorCode: int | None = None) -> None:
        super().__init__(hresult, member, description, ErrorCode)
        self.hresult = hresult & 0xFFFFFFFF
        self.member = member
        self.description = description
        self.ErrorCode = ErrorCode

    def __str__(self) -> str:
        code = "" if self.ErrorCode is None else f", ErrorCode {self.ErrorCode}"
        # The text that a component gives mostly names the member already.
        member = "" if self.member in self.description else f"{self.member}: "
        return f"{member}{self.description} (0x{self.hresult:08X}{code})"


def check(hresult: int, member: str) -> None:
    """Raises a ComError for a result that is a failure."""
    if hresult < 0:
        raise ComError(hresult, member, _abi.description(hresult))
