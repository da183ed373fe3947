"""What a picture is, and what travels with its samples."""
from __future__ import annotations

import ctypes
import os
from dataclasses import dataclass
from typing import Any, List, Mapping, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _library as c

Source = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview]
Target = Union[str, "os.PathLike[str]", None]
Samples = npt.NDArray[Any]
SettingValue = Union[None, bool, int, float, str, Sequence[int]]

METRES_PER_INCH = 0.0254
COLOURS = ("grey", "grey-alpha", "rgb", "rgba", "cmyk")  # from 1 on, as the library counts them
CHANNELS = {"grey": 1, "grey-alpha": 2, "rgb": 3, "rgba": 4, "cmyk": 4}


@dataclass(frozen=True)
class Metadata:
    """What a file says besides its samples.

    Attributes
    ----------
    icc, exif, xmp : bytes
        An ICC profile, a TIFF structure as EXIF has it, and an XMP packet; empty where there is none.
    comments : tuple of str
    dpi : tuple of float or None
        Horizontal and vertical resolution in dots per inch.
    orientation : int
        How the picture is to be turned to be seen upright: 1 to 8, as TIFF and EXIF have it.
    """

    icc: bytes = b""
    exif: bytes = b""
    xmp: bytes = b""
    comments: Tuple[str, ...] = ()
    dpi: Optional[Tuple[float, float]] = None
    orientation: int = 1


@dataclass(frozen=True)
class Parts:
    """What else a file holds; numbers that are not there are 1.

    Attributes
    ----------
    pages : int
        Of a TIFF file, for the setting ``page``.
    faces, elements : int
        Of a DDS file, for ``face`` and ``element``.
    resolutions : int
        Mip levels of a DDS file, for ``mip``; resolutions of a JPEG 2000 file, for ``reduce``.
    """

    pages: int = 1
    faces: int = 1
    elements: int = 1
    resolutions: int = 1


@dataclass(frozen=True)
class Info:
    """What a file is, and what reading it gives.

    Attributes
    ----------
    format : str
        ``"JPEG"``, ``"JPEG 2000"``, ``"TIFF"``, ``"DDS"``, ``"PNG"`` or ``"Netpbm"``.
    width, height : int
        In pixels, after ``crop``, ``scale`` and other settings.
    colours : str
        ``"grey"``, ``"grey-alpha"``, ``"rgb"``, ``"rgba"`` or ``"cmyk"``. Opacity is the last channel, and colours are
        not multiplied with it. In CMYK 0 is no ink.
    bits : int
        Samples are 0 to ``2**bits - 1``: in ``uint8`` up to 8 bits, else in ``uint16``.
    band_rows : int
        The height in which the format brings its rows.
    metadata : Metadata
    """

    format: str
    width: int
    height: int
    colours: str
    bits: int
    band_rows: int
    metadata: Metadata

    @property
    def channels(self) -> int:
        """Samples of a pixel."""
        return CHANNELS[self.colours]

    @property
    def shape(self) -> Tuple[int, ...]:
        """The shape of the array: two dimensions for grey, else three."""
        return (self.height, self.width) if self.channels == 1 else (self.height, self.width, self.channels)

    @property
    def dtype(self) -> "np.dtype[Any]":
        """``uint8`` or ``uint16``."""
        return np.dtype(np.uint8 if self.bits <= 8 else np.uint16)


def info_of(info: c.FileInfo, metadata: c.FileMetadata) -> Info:
    """``Info`` from the library's records."""
    picture = info.picture
    return Info(
        c.format_name(info.format),
        picture.width,
        picture.height,
        COLOURS[picture.colours - 1],
        picture.bits,
        info.band_rows,
        _metadata_of(metadata),
    )


def _metadata_of(m: c.FileMetadata) -> Metadata:
    def copy(data: Optional[int], size: int) -> bytes:
        return ctypes.string_at(data, size) if data else b""

    comments: List[str] = []
    while m.comments and m.comments[len(comments)] is not None:
        comments.append(_text(m.comments[len(comments)]))
    x, y = (METRES_PER_INCH * v for v in (m.pixels_per_metre_x, m.pixels_per_metre_y))
    return Metadata(
        copy(m.icc, m.icc_bytes),
        copy(m.exif, m.exif_bytes),
        copy(m.xmp, m.xmp_bytes),
        tuple(comments),
        (x, y) if x > 0 else None,
        m.orientation,
    )


def _text(comment: bytes) -> str:
    """UTF-8, and what is none as Latin-1."""
    try:
        return comment.decode()
    except UnicodeDecodeError:
        return comment.decode("latin-1")


def metadata_record(m: Metadata) -> c.FileMetadata:
    """The library's record; it keeps the bytes alive that it points to."""
    record = c.FileMetadata()
    comments = (ctypes.c_char_p * (len(m.comments) + 1))(*[text.encode() for text in m.comments], None)
    record.icc, record.icc_bytes = _address(m.icc), len(m.icc)
    record.exif, record.exif_bytes = _address(m.exif), len(m.exif)
    record.xmp, record.xmp_bytes = _address(m.xmp), len(m.xmp)
    record.comments = ctypes.cast(comments, ctypes.POINTER(ctypes.c_char_p))
    x, y = m.dpi or (0.0, 0.0)
    record.pixels_per_metre_x, record.pixels_per_metre_y = x / METRES_PER_INCH, y / METRES_PER_INCH
    record.orientation = m.orientation
    record.kept = (m, comments)
    return record


def _address(data: bytes) -> Optional[int]:
    return ctypes.cast(ctypes.c_char_p(data), ctypes.c_void_p).value if data else None


@dataclass(frozen=True)
class Setting:
    """What reading or writing can be asked for by a keyword argument.

    Attributes
    ----------
    name : str
        The keyword.
    values : str
        What it takes; empty for a switch, which is true or false.
    help : str
    reading, writing : bool
        Which of the two knows it.
    formats : tuple of str
        The formats that know it; empty for all.
    """

    name: str
    values: str
    help: str
    reading: bool
    writing: bool
    formats: Tuple[str, ...]


def setting_of(s: c.FileSetting) -> Setting:
    """``Setting`` from the library's record."""
    formats = tuple(c.format_name(number) for number in range(1, 7) if s.formats >> number & 1)
    name = s.name.decode().replace("-", "_")
    return Setting(name, s.values.decode(), s.help.decode(), bool(s.reading), bool(s.writing), formats)


def settings_list(settings: Mapping[str, SettingValue]) -> "ctypes.Array[ctypes.c_char_p]":
    """``name=value`` texts from keyword arguments. ``None`` is as if the argument were not there."""
    texts: List[bytes] = []
    for name, value in settings.items():
        if value is None:
            continue
        if isinstance(value, bool):
            value = "yes" if value else "no"
        elif isinstance(value, (tuple, list)):
            value = ",".join(str(v) for v in value)
        texts.append(f"{name.replace('_', '-')}={value}".encode())
    return (ctypes.c_char_p * (len(texts) + 1))(*texts, None)


def path_of(place: Union[str, "os.PathLike[str]"]) -> Tuple[bytes, str]:
    """A path as the system has it, and for messages. A file may be named ``-`` here."""
    text = os.fspath(place)
    name = "./-" if text == "-" else text
    encoded = os.fsencode(name)
    if b"\0" in encoded:
        raise ValueError("embedded null byte")
    return encoded, text


def picture_of(
    shape: Tuple[int, ...], dtype: npt.DTypeLike, colours: Optional[str], bits: Optional[int]
) -> Tuple[c.Picture, "np.dtype[Any]"]:
    """The record of a picture for arrays of such a shape and type, and their type in native order."""
    kind = np.dtype(dtype).newbyteorder("=")
    if kind not in (np.dtype(np.uint8), np.dtype(np.uint16)):
        raise TypeError(f"samples are uint8 or uint16, not {np.dtype(dtype)}; others are to be scaled first")
    if len(shape) not in (2, 3):
        raise c.UsageError(f"a picture is height x width, or height x width x channels, not of shape {shape}")
    channels = shape[2] if len(shape) == 3 else 1
    if colours is None and 1 <= channels <= 4:
        colours = COLOURS[channels - 1]
    if colours is None or CHANNELS.get(colours) != channels:
        named = f'colours "{colours}"' if colours else "a picture"
        raise c.UsageError(f"{named} cannot have {channels} channels")
    depth = bits if bits is not None else 8 * kind.itemsize
    if depth < 1 or depth > 8 * kind.itemsize or (kind.itemsize == 2 and depth <= 8):
        raise c.UsageError(f"{kind} holds {'1 to 8' if kind.itemsize == 1 else '9 to 16'} bits, not {depth}")
    if max(shape[0], shape[1]) >= 2**31 or min(shape[0], shape[1]) < 1:
        raise c.UsageError(f"a picture cannot have {shape[1]} x {shape[0]} pixels")
    return c.Picture(shape[1], shape[0], COLOURS.index(colours) + 1, depth), kind


def rows_of(array: Samples, dtype: "np.dtype[Any]") -> Samples:
    """The array itself where its rows are whole in memory, aligned and one behind the other, else a copy that is so."""
    whole = array[0].flags.c_contiguous and array.strides[0] >= array[0].nbytes
    if array.dtype == dtype and whole and array.flags.aligned:
        return array
    return np.require(array, dtype, ["C_CONTIGUOUS", "ALIGNED"])
