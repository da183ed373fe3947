"""Pictures in files to NumPy arrays and back: JPEG, JPEG 2000, TIFF, DDS, PNG and Netpbm.

>>> import zelj
>>> array, info = zelj.read("photo.jpg")
>>> zelj.write("photo.jp2", array, rate=1.5, metadata=info.metadata)

Files go through in bands with ``zelj.open`` and ``zelj.create``. The work is done by libzelcodecs, on several threads
and without the interpreter's lock.
"""
from typing import List

from ._library import (
    DamagedError,
    Error,
    InternalError,
    LimitError,
    PictureWarning,
    UnsupportedError,
    UsageError,
    all_settings,
    version,
)
from ._reader import Reader, info, open, parts, read
from ._types import Info, Metadata, Parts, Setting, setting_of
from ._writer import Writer, create, write

__all__ = [
    "DamagedError",
    "Error",
    "Info",
    "InternalError",
    "LimitError",
    "Metadata",
    "Parts",
    "PictureWarning",
    "Reader",
    "Setting",
    "UnsupportedError",
    "UsageError",
    "Writer",
    "create",
    "info",
    "open",
    "parts",
    "read",
    "settings",
    "version",
    "write",
]

__version__ = version()


def settings() -> List[Setting]:
    """What reading and writing can be asked for by keyword arguments."""
    return [setting_of(s) for s in all_settings()]
