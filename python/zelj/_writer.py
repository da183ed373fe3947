"""Writing files, at once or band by band."""
from __future__ import annotations

import ctypes
import threading
import warnings
from ctypes import byref
from types import TracebackType
from typing import List, Optional, Tuple, Type

import numpy as np
import numpy.typing as npt

from . import _library as c
from ._types import Metadata, SettingValue, Target, metadata_record, path_of, picture_of, rows_of, settings_list


class Writer:
    """A file that is written from top to bottom; ``zelj.create`` gives one.

    At the end of a ``with`` block the file is finished; after an exception in it, it is as if it had never been begun.
    Threads may share a writer: their calls wait for each other. The interpreter's lock is free meanwhile.
    """

    def __init__(
        self,
        target: Target,
        shape: Tuple[int, ...],
        dtype: npt.DTypeLike = np.uint8,
        *,
        metadata: Optional[Metadata] = None,
        colours: Optional[str] = None,
        bits: Optional[int] = None,
        **settings: SettingValue,
    ) -> None:
        self._handle = ctypes.c_void_p()
        self._lock = threading.Lock()
        self._value: Optional[bytes] = None
        self._path: Optional[str] = None
        self._shape = shape
        picture, self._dtype = picture_of(shape, dtype, colours, bits)
        self._rows_left = shape[0]
        record = metadata_record(metadata or Metadata())
        options = settings_list(settings)
        if target is None:
            status = c.lib.zelcCreateMemory(byref(picture), byref(record), options, byref(self._handle))
        else:
            path, self._path = path_of(target)
            status = c.lib.zelcCreateFile(path, byref(picture), byref(record), options, byref(self._handle))
        c.check(status, self._path)

    @property
    def rows_left(self) -> int:
        """Rows that have not been written yet."""
        return self._rows_left

    def write(self, band: npt.ArrayLike) -> None:
        """Writes the next rows: an array like the picture, of any height that is left."""
        array = np.asarray(band)
        if array.shape[1:] != self._shape[1:] or array.dtype.newbyteorder("=") != self._dtype:
            expected = f"rows of {self._shape[1:]}, {self._dtype}"
            raise c.UsageError(f"{expected}, are expected, not {array.shape}, {array.dtype}")
        if len(array) == 0:
            return
        rows = rows_of(array, self._dtype)
        with self._lock:
            if len(rows) > self._rows_left:
                raise c.UsageError(f"{len(rows)} rows are given, and {self._rows_left} are left")
            status = c.lib.zelcWriteRows(self._opened(), rows.ctypes.data, rows.strides[0], len(rows))
            c.check(status, self._path)
            self._rows_left -= len(rows)

    def finish(self) -> None:
        """Completes the file after the last row. It stands in its place then."""
        for text in self._finish():
            warnings.warn(text, c.PictureWarning, stacklevel=2)

    def getvalue(self) -> bytes:
        """The bytes of a finished file that has no path."""
        if self._value is None:
            raise c.UsageError("there is no finished file in memory")
        return self._value

    def close(self) -> None:
        """Gives up a file that is not finished: it is removed, and what stood in its place stays."""
        with self._lock:
            self._release()

    def __enter__(self) -> "Writer":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        try:
            texts = self._finish() if kind is None and self._handle else []
        finally:
            self.close()
        for text in texts:
            warnings.warn(text, c.PictureWarning, stacklevel=2)

    def __del__(self) -> None:
        if getattr(self, "_handle", None):
            self.close()

    def _finish(self) -> List[str]:
        """Completes the file, and gives the warnings to be told."""
        with self._lock:
            c.check(c.lib.zelcFinish(self._opened()), self._path)
            if self._path is None:
                self._value = self._taken()
            texts = c.texts(c.lib.zelcWriterWarning, self._handle, 0, self._path)
            self._release()
        return texts

    def _opened(self) -> ctypes.c_void_p:
        if not self._handle:
            raise c.UsageError("the file has been finished or closed")
        return self._handle

    def _release(self) -> None:
        handle, self._handle = self._handle, ctypes.c_void_p()
        c.lib.zelcCloseWriter(handle)

    def _taken(self) -> bytes:
        data, size = ctypes.c_void_p(), ctypes.c_size_t()
        c.check(c.lib.zelcTakeBytes(self._handle, byref(data), byref(size)))
        try:
            return bytes((ctypes.c_char * size.value).from_address(data.value or 0).raw)
        finally:
            c.lib.zelcFree(data)


def create(
    target: Target,
    shape: Tuple[int, ...],
    dtype: npt.DTypeLike = np.uint8,
    *,
    metadata: Optional[Metadata] = None,
    colours: Optional[str] = None,
    bits: Optional[int] = None,
    **settings: SettingValue,
) -> Writer:
    """Begins a file that is written band by band.

    Parameters
    ----------
    target : path or None
        None for a file in memory, whose bytes ``getvalue()`` gives when it is finished.
    shape : tuple of int
        Of the whole picture: height x width, or height x width x channels.
    dtype : uint8 or uint16
    metadata, colours, bits, **settings
        As for ``zelj.write``.

    Examples
    --------
    >>> with zelj.open("huge.tif") as reader:
    ...     with zelj.create("huge.jp2", reader.info.shape, reader.info.dtype, metadata=reader.info.metadata) as writer:
    ...         for band in reader.bands():
    ...             writer.write(band)
    """
    return Writer(target, shape, dtype, metadata=metadata, colours=colours, bits=bits, **settings)


def write(
    target: Target,
    array: npt.ArrayLike,
    *,
    metadata: Optional[Metadata] = None,
    colours: Optional[str] = None,
    bits: Optional[int] = None,
    **settings: SettingValue,
) -> Optional[bytes]:
    """Writes a picture.

    Parameters
    ----------
    target : path or None
        Whose ending tells the format, where ``format`` does not. It takes the place of what stood there only when it is
        whole. None for a file in memory; that needs ``format``.
    array : array_like
        Height x width, or height x width x channels, of ``uint8`` or ``uint16`` in any memory order.
    metadata : Metadata, optional
        What travels with the samples, such as ``info.metadata`` of a file that was read.
    colours : str, optional
        What the channels are: ``"grey"``, ``"grey-alpha"``, ``"rgb"``, ``"rgba"`` or ``"cmyk"``. By default the first
        that has so many channels.
    bits : int, optional
        The largest sample is ``2**bits - 1``; by default all bits of the type.
    **settings
        How it is written, as ``zelj.settings()`` lists it: ``format="jp2"``, ``quality=90``, ``sampling="444"``,
        ``lossless=True``, ``rate=1.5``, ``depth=8``, ``background="white"``, ``tile=(256, 256)`` ...

    Returns
    -------
    bytes or None
        The file, where target is None.

    Raises
    ------
    OSError
        The file cannot be written.
    UsageError
        An array that is no picture, or settings that mean nothing for the format.
    TypeError
        Samples of another type.
    UnsupportedError, LimitError, MemoryError

    Warns
    -----
    PictureWarning
        What of the metadata the format cannot hold.

    Examples
    --------
    >>> zelj.write("photo.jpg", array, quality=90, metadata=info.metadata)
    >>> data = zelj.write(None, array, format="png")
    """
    samples = np.asarray(array)
    with Writer(
        target, samples.shape, samples.dtype, metadata=metadata, colours=colours, bits=bits, **settings
    ) as writer:
        writer.write(samples)
        texts = writer._finish()
    for text in texts:
        warnings.warn(text, c.PictureWarning, stacklevel=2)
    return None if target is not None else writer.getvalue()
