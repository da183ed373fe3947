"""Reading files, at once or band by band."""
from __future__ import annotations

import ctypes
import threading
import warnings
from ctypes import byref
from types import TracebackType
from typing import Iterator, List, Optional, Tuple, Type

import numpy as np

from . import _library as c
from ._types import Info, Parts, Samples, SettingValue, Source, info_of, path_of, settings_list


class Reader:
    """A file that is read from top to bottom; ``zelj.open`` gives one.

    Threads may share a reader: their calls wait for each other. The interpreter's lock is free meanwhile.

    Parameters
    ----------
    source : path or bytes-like
    **settings
        As ``zelj.settings()`` lists them, such as ``crop=(x, y, width, height)``, ``scale="1/2"``, ``page=3``,
        ``keep_going=True``, ``threads=1``.
    """

    def __init__(self, source: Source, **settings: SettingValue) -> None:
        self._handle = ctypes.c_void_p()
        self._lock = threading.Lock()
        self._told = 0  # warnings
        self._path: Optional[str] = None
        options = settings_list(settings)
        if isinstance(source, (bytes, bytearray, memoryview)):
            self._bytes = np.frombuffer(source, np.uint8)  # keeps them where they are
            status = c.lib.zelcOpenMemory(self._bytes.ctypes.data, self._bytes.size, options, byref(self._handle))
        else:
            path, self._path = path_of(source)
            status = c.lib.zelcOpenFile(path, options, byref(self._handle))
        c.check(status, self._path)
        facts, metadata = c.FileInfo(), c.FileMetadata()
        c.check(c.lib.zelcReaderInfo(self._handle, byref(facts)))
        c.check(c.lib.zelcReaderMetadata(self._handle, byref(metadata)))
        self._info = info_of(facts, metadata)
        self._rows_left = self._info.height

    @property
    def info(self) -> Info:
        """What the file is, and what reading gives."""
        return self._info

    @property
    def rows_left(self) -> int:
        """Rows that have not been read yet."""
        return self._rows_left

    def parts(self) -> Parts:
        """How many pages, faces, elements and resolutions the file has; looks through all of them."""
        parts = c.FileParts()
        with self._lock:
            c.check(c.lib.zelcReaderParts(self._opened(), byref(parts)), self._path)
        return Parts(parts.pages, parts.faces, parts.elements, parts.resolutions)

    def read(self, rows: Optional[int] = None, out: Optional[Samples] = None) -> Samples:
        """Reads the next rows.

        Parameters
        ----------
        rows : int, optional
            How many; fewer are given at the end. All that are left where it is not given.
        out : array, optional
            Where they go: of the type and row shape of the picture, with rows that are whole in memory. Its height is
            the number of rows, where ``rows`` is not given.

        Returns
        -------
        array
            The rows; a part of ``out``, where that is given.
        """
        array, texts = self._read(rows, out)
        for text in texts:
            warnings.warn(text, c.PictureWarning, stacklevel=2)
        return array

    def bands(self, rows: Optional[int] = None) -> Iterator[Samples]:
        """The rows that are left, as arrays of ``rows`` rows and one of those that remain.

        Without ``rows`` a band has a height that is read fast.
        """
        if rows is None:
            unit = self._info.band_rows
            rows = unit * max(1, 64 // unit)
        elif rows < 1:
            raise c.UsageError(f"bands cannot have {rows} rows")
        while self._rows_left:
            band, texts = self._read(rows)
            for text in texts:
                warnings.warn(text, c.PictureWarning, stacklevel=2)
            yield band

    def close(self) -> None:
        """Closes the file; also done at the end of a ``with`` block. Can be called again."""
        with self._lock:
            handle, self._handle = self._handle, ctypes.c_void_p()
            c.lib.zelcCloseReader(handle)

    def __enter__(self) -> "Reader":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None):
            self.close()

    def _read(self, rows: Optional[int] = None, out: Optional[Samples] = None) -> Tuple[Samples, List[str]]:
        """What ``read`` gives, and warnings to be told."""
        with self._lock:
            self._opened()
            if rows is not None and rows < 0:
                raise c.UsageError(f"{rows} rows cannot be read")
            count = self._rows_left if rows is None else min(rows, self._rows_left)
            if out is None:
                out = np.empty((count, *self._info.shape[1:]), self._info.dtype)
            elif rows is None:
                count = min(count, out.shape[0])
            self._fill(out, count)
            return out[:count], self._warnings()

    def _opened(self) -> ctypes.c_void_p:
        if not self._handle:
            raise c.UsageError("the file has been closed")
        return self._handle

    def _fill(self, out: Samples, count: int) -> None:
        info = self._info
        if out.dtype != info.dtype or out.shape[1:] != info.shape[1:] or out.shape[0] < count:
            wanted = f"{count} rows of {info.shape[1:]}, {info.dtype}"
            raise c.UsageError(f"{wanted}, have no room in {out.shape}, {out.dtype}")
        if not out.flags.writeable:
            raise c.UsageError("the array for the rows cannot be written")
        if count == 0:
            return
        step = out.strides[0] if count > 1 else out[0].nbytes  # one row alone may have any step
        if not out[0].flags.c_contiguous or step < out[0].nbytes:
            raise c.UsageError("rows of the array are not whole in memory")
        given = ctypes.c_int()
        c.check(c.lib.zelcReadRows(self._handle, out.ctypes.data, step, count, byref(given)), self._path)
        self._rows_left -= given.value

    def _warnings(self) -> List[str]:
        """Those that have not been told yet."""
        fresh = c.texts(c.lib.zelcReaderWarning, self._handle, self._told, self._path)
        self._told += len(fresh)
        return fresh


def open(source: Source, **settings: SettingValue) -> Reader:
    """Opens a file to be read band by band.

    Parameters and exceptions are those of ``zelj.read``.

    Examples
    --------
    >>> with zelj.open("huge.tif") as reader:
    ...     brightest = max(int(band.max()) for band in reader.bands())
    """
    return Reader(source, **settings)


def read(source: Source, **settings: SettingValue) -> Tuple[Samples, Info]:
    """Reads a picture.

    Parameters
    ----------
    source : path or bytes-like
        A file, or its bytes. The content tells the format, not the name.
    **settings
        What is wanted, as ``zelj.settings()`` lists it: ``crop=(x, y, width, height)``, ``grey=True``, ``depth=8``,
        ``auto_orient=True``, ``keep_going=True``, ``scale="1/2"``, ``reduce=1``, ``page=3``, ``threads=1`` ...

    Returns
    -------
    array : numpy.ndarray
        Height x width for grey, else height x width x channels; ``uint8`` up to 8 bits a sample, else ``uint16``.
    info : Info

    Raises
    ------
    OSError
        The file cannot be read: ``FileNotFoundError``, ``PermissionError`` ...
    DamagedError, UnsupportedError, LimitError, UsageError, MemoryError

    Warns
    -----
    PictureWarning
        What is odd about the file and, with ``keep_going``, its damages.

    Examples
    --------
    >>> array, info = zelj.read("photo.jpg", auto_orient=True)
    >>> thumbnail, _ = zelj.read("photo.jpg", scale="1/8")
    """
    with Reader(source, **settings) as reader:
        array, texts = reader._read()
    for text in texts:
        warnings.warn(text, c.PictureWarning, stacklevel=2)
    return array, reader.info


def info(source: Source, **settings: SettingValue) -> Info:
    """What a file is and what reading it gives, without reading its samples.

    Parameters and exceptions are those of ``zelj.read``.
    """
    with Reader(source, **settings) as reader:
        return reader.info


def parts(source: Source) -> Parts:
    """How many pages, faces, elements and resolutions a file has."""
    with Reader(source, keep_going=True) as reader:
        return reader.parts()
