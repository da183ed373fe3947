"""libzelcodecs as ctypes sees it: records, prototypes, and errors as exceptions.

The interpreter's lock is released in every call: the library is loaded as a ``ctypes.CDLL``.
"""
from __future__ import annotations

import ctypes
import os
import pathlib
from ctypes import POINTER, Structure, byref, c_char_p, c_double, c_int, c_size_t, c_uint, c_uint64, c_void_p
from typing import Callable, Iterator, List, Optional, Tuple, Type

SONAME = "libzelcodecs.so.1"


class Error(Exception):
    """What goes wrong with a picture. Errors of files are ``OSError``, and a lack of memory is ``MemoryError``."""


class UsageError(Error, ValueError):
    """Something impossible is asked for: a setting that does not exist, an array of the wrong shape."""


class DamagedError(Error):
    """The file breaks the rules of its format.

    Attributes
    ----------
    offset : int or None
        The position in the file, in bytes, where one is known.
    """

    offset: Optional[int] = None


class UnsupportedError(Error):
    """A valid file, or a wish, of a kind that is not handled."""


class LimitError(Error):
    """The picture is above the limits ``max_pixels`` and ``max_memory``, or above what such a file can hold."""


class InternalError(Error):
    """A fault of the library."""


class PictureWarning(UserWarning):
    """What is odd about a file, or cannot be written to it."""


USAGE, FILE, DAMAGED, UNSUPPORTED, LIMIT, MEMORY = 1, 2, 3, 5, 6, 8  # of ZelcStatus
_CLASSES = {USAGE: UsageError, DAMAGED: DamagedError, UNSUPPORTED: UnsupportedError, LIMIT: LimitError}


class Picture(Structure):
    """``ZelcPicture``."""

    _fields_ = [("width", c_int), ("height", c_int), ("colours", c_int), ("bits", c_int)]


class FileInfo(Structure):
    """``ZelcInfo``."""

    _fields_ = [
        ("format", c_int),
        ("picture", Picture),
        ("channels", c_int),
        ("opacity", c_int),
        ("bytes_per_sample", c_int),
        ("band_rows", c_int),
        ("row_bytes", c_size_t),
    ]


class FileParts(Structure):
    """``ZelcParts``."""

    _fields_ = [("pages", c_int), ("faces", c_int), ("elements", c_int), ("resolutions", c_int)]


class FileMetadata(Structure):
    """``ZelcMetadata``."""

    _fields_ = [
        ("icc", c_void_p),
        ("icc_bytes", c_size_t),
        ("exif", c_void_p),
        ("exif_bytes", c_size_t),
        ("xmp", c_void_p),
        ("xmp_bytes", c_size_t),
        ("comments", POINTER(c_char_p)),
        ("pixels_per_metre_x", c_double),
        ("pixels_per_metre_y", c_double),
        ("orientation", c_int),
    ]


class FileSetting(Structure):
    """``ZelcSetting``."""

    _fields_ = [
        ("name", c_char_p),
        ("values", c_char_p),
        ("help", c_char_p),
        ("reading", c_int),
        ("writing", c_int),
        ("formats", c_uint),
    ]


def _places() -> Iterator[str]:
    """Where the library may be, the most particular place first."""
    named = os.environ.get("ZELJ_CODECS_LIBRARY")
    if named:
        yield named
        return
    here = pathlib.Path(__file__).resolve().parent
    beside = here / "library-directory"  # written where both are installed together: the way from here to there
    if beside.exists():
        yield str(here / beside.read_text().strip() / SONAME)
    yield SONAME  # wherever the loader looks


def _load() -> ctypes.CDLL:
    failures: List[str] = []
    for place in _places():
        try:
            return ctypes.CDLL(place)
        except OSError as error:
            failures.append(str(error))
    raise ImportError(f"zelj needs {SONAME}: " + "; ".join(failures))


_HANDLE, _TEXTS, _STATUS = c_void_p, POINTER(c_char_p), c_int
_PROTOTYPES: Tuple[Tuple[str, object, Tuple[object, ...]], ...] = (
    ("zelcVersion", c_char_p, ()),
    ("zelcLastError", c_char_p, ()),
    ("zelcLastErrno", c_int, ()),
    ("zelcLastOffset", c_uint64, ()),
    ("zelcFormatName", c_char_p, (c_int,)),
    ("zelcSetting", _STATUS, (c_int, POINTER(FileSetting))),
    ("zelcOpenFile", _STATUS, (c_char_p, _TEXTS, POINTER(_HANDLE))),
    ("zelcOpenMemory", _STATUS, (c_void_p, c_size_t, _TEXTS, POINTER(_HANDLE))),
    ("zelcReaderInfo", _STATUS, (_HANDLE, POINTER(FileInfo))),
    ("zelcReaderParts", _STATUS, (_HANDLE, POINTER(FileParts))),
    ("zelcReaderMetadata", _STATUS, (_HANDLE, POINTER(FileMetadata))),
    ("zelcReadRows", _STATUS, (_HANDLE, c_void_p, c_size_t, c_int, POINTER(c_int))),
    ("zelcReaderWarning", c_char_p, (_HANDLE, c_int)),
    ("zelcCloseReader", None, (_HANDLE,)),
    ("zelcCreateFile", _STATUS, (c_char_p, POINTER(Picture), POINTER(FileMetadata), _TEXTS, POINTER(_HANDLE))),
    ("zelcCreateMemory", _STATUS, (POINTER(Picture), POINTER(FileMetadata), _TEXTS, POINTER(_HANDLE))),
    ("zelcWriteRows", _STATUS, (_HANDLE, c_void_p, c_size_t, c_int)),
    ("zelcFinish", _STATUS, (_HANDLE,)),
    ("zelcTakeBytes", _STATUS, (_HANDLE, POINTER(c_void_p), POINTER(c_size_t))),
    ("zelcWriterWarning", c_char_p, (_HANDLE, c_int)),
    ("zelcCloseWriter", None, (_HANDLE,)),
    ("zelcFree", None, (c_void_p,)),
)

lib = _load()
for _name, _result, _arguments in _PROTOTYPES:
    _function = getattr(lib, _name)
    _function.restype, _function.argtypes = _result, _arguments


def check(status: int, path: Optional[str] = None) -> None:
    """Raises the exception of a status that is not 0; the error is this thread's last one."""
    if status == 0:
        return
    text = os.fsdecode(lib.zelcLastError())
    if status == FILE:
        code = lib.zelcLastErrno()
        raise OSError(code, os.strerror(code), path) if code else OSError(text)
    if status == MEMORY:
        raise MemoryError(text)
    kind: Type[Error] = _CLASSES.get(status, InternalError)
    error = kind(text if path is None or text.startswith(path) else f"{path}: {text}")
    if isinstance(error, DamagedError):
        offset = lib.zelcLastOffset()
        error.offset = None if offset == 2**64 - 1 else int(offset)
    raise error


def texts(
    function: Callable[..., Optional[bytes]], handle: ctypes.c_void_p, first: int, path: Optional[str]
) -> List[str]:
    """The warnings of a handle from the given number on, with the file's name before them."""
    found: List[str] = []
    while True:
        text = function(handle, first + len(found))
        if text is None:
            return found
        found.append(("" if path is None else f"{path}: ") + text.decode(errors="replace"))


def version() -> str:
    """The version of libzelcodecs."""
    return str(lib.zelcVersion().decode())


def format_name(number: int) -> str:
    """The name of a format, such as ``"JPEG 2000"``."""
    return str(lib.zelcFormatName(number).decode())


def all_settings() -> List[FileSetting]:
    """Every setting, in the library's order."""
    found: List[FileSetting] = []
    setting = FileSetting()
    while lib.zelcSetting(len(found), byref(setting)) == 0:
        found.append(setting)
        setting = FileSetting()
    return found
