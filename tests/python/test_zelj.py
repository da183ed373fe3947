"""The package zelj beside Pillow and NumPy."""
import contextlib
import ctypes
import io
import os
import pathlib
import re
import sys
import tempfile
import threading
import time
import unittest
import warnings

try:
    import numpy as np
    from PIL import Image, ImageCms
except ImportError as missing:
    print(f"skipped: {missing}")
    sys.exit(77)

import zelj


def picture(*shape, dtype=np.uint8, seed=1):
    """Slopes with some noise, opaque where there is opacity."""
    height, width = shape[:2]
    y, x = np.mgrid[:height, :width]
    channels = shape[2] if len(shape) == 3 else 1
    noise = np.random.default_rng(seed).integers(0, 9, (height, width, channels))
    a = np.stack([(3 * x + (c + 2) * y) % 240 for c in range(channels)], axis=-1) + noise
    if channels in (2, 4):
        a[..., -1] = 255
    return (a * (257 if dtype == np.uint16 else 1)).astype(dtype).reshape(shape)


def psnr(a, b):
    return 10 * np.log10(255.0**2 / np.mean((a.astype(float) - b) ** 2))


def pillow_bytes(image, **options):
    out = io.BytesIO()
    image.save(out, **options)
    return out.getvalue()


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def same(self, a, b):
        self.assertEqual((a.shape, a.dtype), (b.shape, b.dtype))
        self.assertTrue(np.array_equal(a, b))


class BesidePillow(Case):
    def test_writes_what_pillow_reads(self):
        for ending, modes in {
            "png": "L LA RGB RGBA",
            "tif": "L LA RGB RGBA CMYK",
            "jp2": "L LA RGB RGBA",
            "ppm": "RGB",
            "pgm": "L",
        }.items():
            for mode in modes.split():
                with self.subTest(ending=ending, mode=mode):
                    channels = len(mode)
                    a = picture(41, 57) if channels == 1 else picture(41, 57, channels)
                    path = self.folder / f"a.{ending}"
                    zelj.write(path, a, colours="cmyk" if mode == "CMYK" else None)
                    with Image.open(path) as image:
                        self.assertEqual(image.mode, mode)
                        self.same(np.asarray(image), a)
        for ending, colours, floor in (("jpg", "rgb", 35), ("dds", "rgb", 25), ("jpg", "grey", 40)):
            with self.subTest(ending=ending, colours=colours):
                a = picture(64, 80, 3) if colours == "rgb" else picture(64, 80)
                options = {"quality": 95, "sampling": "444"} if ending == "jpg" else {"texture": "dxt1"}
                zelj.write(self.folder / f"b.{ending}", a, **options)
                with Image.open(self.folder / f"b.{ending}") as image:
                    back = np.asarray(image)
                self.assertGreater(psnr(back[..., :3] if colours == "rgb" else back, a), floor)

    def test_reads_what_pillow_writes(self):
        rgb = Image.fromarray(picture(41, 57, 3))
        for kind, options in (
            ("PNG", {}),
            ("TIFF", {"compression": "tiff_lzw"}),
            ("TIFF", {"compression": "tiff_adobe_deflate"}),
            ("PPM", {}),
            ("JPEG2000", {"irreversible": False}),
        ):
            for mode in ("RGB", "L") if kind in ("PPM", "JPEG2000") else ("RGB", "L", "RGBA", "LA", "P"):
                with self.subTest(kind=kind, mode=mode):
                    image = rgb.convert(mode)
                    array, info = zelj.read(pillow_bytes(image, format=kind, **options))
                    self.same(array, np.asarray(image.convert("RGB") if mode == "P" else image))
                    self.assertEqual((info.shape, info.dtype), (array.shape, array.dtype))
        cmyk = Image.fromarray(picture(33, 44, 4), "CMYK")
        self.same(zelj.read(pillow_bytes(cmyk, format="TIFF"))[0], np.asarray(cmyk))
        for mode in ("RGB", "L", "CMYK"):
            with self.subTest(jpeg=mode):
                original = cmyk if mode == "CMYK" else rgb.convert(mode)
                data = pillow_bytes(original, format="JPEG", quality=95, subsampling=0)
                with Image.open(io.BytesIO(data)) as image:
                    array, info = zelj.read(data)
                    self.assertEqual(info.colours, {"L": "grey"}.get(mode, mode.lower()))
                    self.assertGreater(psnr(array, np.asarray(image)), 48)

    def test_sixteen_bits(self):
        a = picture(30, 31, dtype=np.uint16)
        for ending in ("png", "tif"):
            zelj.write(self.folder / f"a.{ending}", a)
            with Image.open(self.folder / f"a.{ending}") as image:
                self.assertTrue(np.array_equal(np.asarray(image).astype(np.uint16), a))
            self.same(zelj.read(pillow_bytes(Image.fromarray(a), format=ending.replace("tif", "tiff")))[0], a)
        with self.assertRaisesRegex(zelj.UsageError, "depth"):
            zelj.write(None, a, format="jpg")
        self.assertEqual(zelj.read(zelj.write(None, a, format="jpg", depth=8))[0].dtype, np.uint8)

    def test_metadata(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        exif = Image.Exif()
        exif[0x112], exif[0x10F] = 6, "a maker"
        image = Image.fromarray(picture(20, 30, 3))
        data = pillow_bytes(image, format="JPEG", icc_profile=profile, exif=exif, dpi=(200, 200), comment=b"caf\xe9")
        array, info = zelj.read(data)
        m = info.metadata
        self.assertEqual((m.icc, m.orientation, m.comments, m.dpi), (profile, 6, ("café",), (200.0, 200.0)))
        back = Image.open(io.BytesIO(zelj.write(None, array, format="png", metadata=m)))
        self.assertEqual(back.info["icc_profile"], profile)
        self.assertEqual((back.getexif()[0x112], back.getexif()[0x10F]), (6, "a maker"))
        self.assertAlmostEqual(back.info["dpi"][0], 200, 1)
        turned, upright = zelj.read(data, auto_orient=True)
        self.same(turned, np.rot90(array, -1))
        self.assertEqual(upright.metadata.orientation, 1)
        with self.assertWarnsRegex(zelj.PictureWarning, "ICC profile.*EXIF") as caught:
            zelj.write(self.folder / "a.ppm", array, metadata=m)
        self.assertEqual(caught.filename, __file__)
        self.assertIn("a.ppm", str(caught.warning))

    def test_pages_levels_and_parts_of_a_picture(self):
        pages = [Image.fromarray(picture(20, 30, seed=s)) for s in range(3)]
        data = pillow_bytes(pages[0], format="TIFF", save_all=True, append_images=pages[1:])
        self.assertEqual(zelj.parts(data).pages, 3)
        for number, page in enumerate(pages):
            self.same(zelj.read(data, page=number)[0], np.asarray(page))
        a = picture(80, 96, 3)
        data = zelj.write(None, a, format="jp2", levels=3)
        self.assertEqual(zelj.parts(data).resolutions, 4)
        self.assertEqual(zelj.read(data, reduce=2)[0].shape, (20, 24, 3))
        self.same(zelj.read(data, crop=(10, 20, 30, 40), threads=1)[0], a[20:60, 10:40])
        jpg = zelj.write(None, a, format="jpg")
        small = zelj.info(jpg, scale="1/8")
        self.assertEqual((small.format, small.shape), ("JPEG", (10, 12, 3)))


class Arrays(Case):
    def test_any_memory_order(self):
        a = picture(24, 36, 3)
        wide = picture(24, 72, 3)
        deep = picture(24, 36, 3, dtype=np.uint16)
        for name, array in {
            "transposed": a.transpose(1, 0, 2),
            "Fortran": np.asfortranarray(a),
            "upside down": a[::-1],
            "mirrored": a[:, ::-1],
            "columns of a wider one": wide[:, 5:41],
            "every other column": wide[:, ::2],
            "channels turned": a[..., ::-1],
            "every other row": a[::2],
            "other byte order": deep.astype(">u2"),
            "one row": a[:1],
            "one pixel": a[:1, :1],
            "repeated row": np.broadcast_to(a[:1], a.shape),
            "odd address": np.frombuffer(b"\0" + deep.tobytes(), np.uint16, deep.size, 1).reshape(deep.shape),
        }.items():
            with self.subTest(name):
                back, _ = zelj.read(zelj.write(None, array, format="pnm"))
                self.assertTrue(np.array_equal(back, array))
        self.assertEqual(zelj.read(zelj.write(None, a[..., :1], format="png"))[0].shape, (24, 36))

    def test_bits(self):
        for bits, dtype in ((1, np.uint8), (5, np.uint8), (10, np.uint16), (12, np.uint16)):
            a = np.arange(70 * 3, dtype=dtype).reshape(10, 21) % (1 << bits)
            array, info = zelj.read(zelj.write(None, a, format="jp2", bits=bits))
            self.same(array, a.astype(dtype))
            self.assertEqual(info.bits, bits)
        with self.assertRaisesRegex(zelj.UsageError, "largest"):
            zelj.write(None, np.full((4, 4), 32, np.uint8), format="jp2", bits=5)

    def test_refused(self):
        a = picture(5, 6, 3)
        for error, array, options in (
            (TypeError, a.astype(float), {}),
            (TypeError, a.astype(np.int16), {}),
            (TypeError, a > 9, {}),
            (zelj.UsageError, a[0, 0], {}),
            (zelj.UsageError, a[None], {}),
            (zelj.UsageError, np.zeros((4, 4, 5), np.uint8), {}),
            (zelj.UsageError, np.zeros((0, 4), np.uint8), {}),
            (zelj.UsageError, a, {"colours": "rgba"}),
            (zelj.UsageError, a, {"colours": "pink"}),
            (zelj.UsageError, a, {"bits": 9}),
            (zelj.UsageError, a, {"quality": 90}),
            (ValueError, a, {"nonsense": 1}),
        ):
            with self.subTest(array=array.shape, options=options), self.assertRaises(error):
                zelj.write(None, array, format="png", **options)
        clear = np.dstack([a, np.full(a.shape[:2], 9, np.uint8)])
        with self.assertRaisesRegex(zelj.UsageError, "opa"):
            zelj.write(None, clear, format="jpg")
        white, _ = zelj.read(zelj.write(None, np.zeros((8, 8, 4), np.uint8), format="jpg", background=(255, 255, 255)))
        self.assertEqual(white.min(), 255)


class Bands(Case):
    def test_equal_to_the_whole(self):
        a = picture(130, 70, 3)
        for ending in ("jpg", "tif", "jp2", "png", "ppm", "dds"):
            with self.subTest(ending):
                whole = self.folder / f"whole.{ending}"
                zelj.write(whole, a)
                expected, info = zelj.read(whole)
                for rows in (None, 1, 37, 1000):
                    with zelj.open(whole) as reader:
                        bands = list(reader.bands(rows))
                        self.assertEqual(reader.rows_left, 0)
                        self.assertEqual(len(reader.read(5)), 0)
                    self.same(np.concatenate(bands), expected)
                    self.assertTrue(rows is None or all(len(b) == rows for b in bands[:-1]))
                path = self.folder / f"bands.{ending}"
                with zelj.create(path, a.shape) as writer:
                    for y in range(0, 130, 23):
                        writer.write(a[y : y + 23])
                self.assertEqual(path.read_bytes(), whole.read_bytes())

    def test_into_memory_of_the_caller(self):
        a = picture(50, 40, 3)
        frame = np.zeros((60, 64, 3), np.uint8)
        with zelj.open(zelj.write(None, a, format="png")) as reader:
            given = reader.read(20, out=frame[:, 10:50])
            self.assertTrue(np.shares_memory(given, frame) and len(given) == 20)
            self.assertEqual(len(reader.read(out=frame[20:, 10:50])), 30)
            for bad in (frame[:, 10:50].astype(np.uint16), frame[:, ::-1], frame[:, :9], np.zeros(a.shape, bool)):
                with self.assertRaises(zelj.UsageError):
                    reader.read(out=bad)
        expected = np.zeros_like(frame)
        expected[:50, 10:50] = a
        self.same(frame, expected)

    def test_given_up(self):
        path = self.folder / "a.png"
        path.write_text("what stood there")
        with self.assertRaises(KeyError):
            with zelj.create(path, (9, 9)) as writer:
                writer.write(np.zeros((4, 9), np.uint8))
                raise KeyError
        with self.assertRaisesRegex(zelj.UsageError, "missing"):
            with zelj.create(path, (9, 9)) as writer:
                writer.write(np.zeros((4, 9), np.uint8))
        self.assertEqual(path.read_text(), "what stood there")
        self.assertEqual(os.listdir(self.folder), ["a.png"])
        for call in (writer.finish, lambda: writer.write(np.zeros((1, 9), np.uint8)), writer.getvalue):
            self.assertRaises(zelj.UsageError, call)
        writer.close()
        with zelj.create(None, (2, 9), format="png") as writer:
            for bad in (np.zeros((1, 8), np.uint8), np.zeros((1, 9), np.uint16), np.zeros((3, 9), np.uint8)):
                self.assertRaises(zelj.UsageError, writer.write, bad)
            writer.write(np.zeros((2, 9), np.uint8))
        self.assertEqual(zelj.info(writer.getvalue()).shape, (2, 9))


class Errors(Case):
    def test_classes(self):
        png = zelj.write(None, picture(60, 60, 3), format="png")
        jpg = zelj.write(None, picture(60, 60, 3), format="jpg")
        with self.assertRaises(zelj.DamagedError) as caught:
            zelj.read(jpg[:400])
        self.assertLessEqual(caught.exception.offset, 400)
        for error, call in (
            (zelj.UnsupportedError, lambda: zelj.read(b"GIF89a")),
            (zelj.UnsupportedError, lambda: zelj.read(b"")),
            (zelj.LimitError, lambda: zelj.read(png, max_pixels=3599)),
            (zelj.UsageError, lambda: zelj.read(png, crop=(50, 50, 20, 20))),
            (zelj.UsageError, lambda: zelj.read(png, page=1)),
            (FileNotFoundError, lambda: zelj.read(self.folder / "none.png")),
            (IsADirectoryError, lambda: zelj.read(self.folder)),
            (FileNotFoundError, lambda: zelj.write(self.folder / "no" / "a.png", picture(2, 2))),
            (zelj.UsageError, lambda: zelj.write(self.folder / "a.nonsense", picture(2, 2))),
            (ValueError, lambda: zelj.read("a\0b")),
            (TypeError, lambda: zelj.read(7)),
        ):
            with self.assertRaises(error) as caught:
                call()
            self.assertTrue(str(caught.exception))
        with self.assertRaises(FileNotFoundError) as caught:
            zelj.info("none.png")
        self.assertEqual(caught.exception.filename, "none.png")
        self.assertFalse(issubclass(zelj.DamagedError, OSError))

    def test_damage_is_told_and_passed_over(self):
        a = picture(60, 60, 3)
        whole = zelj.write(None, a, format="jpg")
        (self.folder / "cut.jpg").write_bytes(whole[: len(whole) * 3 // 4])
        with self.assertWarns(zelj.PictureWarning) as caught:
            array, info = zelj.read(self.folder / "cut.jpg", keep_going=True)
        self.assertEqual((array.shape, caught.filename), (a.shape, __file__))
        with zelj.open(self.folder / "cut.jpg") as reader:
            self.assertRaises(zelj.DamagedError, lambda: list(reader.bands()))
            self.assertRaises(zelj.UsageError, reader.read)

    def test_handles(self):
        path = self.folder / "a.png"
        zelj.write(path, picture(9, 9))
        reader = zelj.open(path)
        reader.close()
        reader.close()
        self.assertRaises(zelj.UsageError, reader.read)
        self.assertEqual(reader.info.shape, (9, 9))  # is still known
        count = len(os.listdir("/proc/self/fd"))
        for _ in range(50):
            zelj.open(path)  # not closed by hand
        self.assertLessEqual(len(os.listdir("/proc/self/fd")), count + 1)

    def test_sources(self):
        a = picture(9, 9)
        data = zelj.write(None, a, format="png")
        kept = bytearray(data)
        for source in (kept, memoryview(data)):
            self.same(zelj.read(source)[0], a)
        with zelj.open(kept):
            self.assertRaises(BufferError, kept.clear)  # would pull the bytes away
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.folder)
        zelj.write("-", a, format="png")  # a file, not standard output
        self.same(zelj.read("-")[0], a)


class Threads(Case):
    def test_lock_is_released(self):
        """Another thread runs while a call decodes; with the lock held by the same call it does not."""
        data = zelj.write(None, picture(1500, 1500, 3), format="jp2")

        def pauses(library):
            """The longest time for which this thread's helper did not run, as a part of one call's time."""
            ticks, stop = [], threading.Event()

            def tick():
                while not stop.is_set():
                    ticks.append(time.monotonic())
                    time.sleep(0.001)

            original = zelj._library.lib.zelcReadRows
            function = library.zelcReadRows
            function.restype, function.argtypes = original.restype, original.argtypes
            zelj._library.lib.zelcReadRows = function
            helper = threading.Thread(target=tick)
            try:
                with zelj.open(data, threads=1) as reader:
                    helper.start()
                    time.sleep(0.02)
                    begin = time.monotonic()
                    reader.read()
                    end = time.monotonic()
            finally:
                stop.set()
                helper.join()
                zelj._library.lib.zelcReadRows = original
            inside = [begin] + [t for t in ticks if begin < t < end] + [end]
            return max(b - a for a, b in zip(inside, inside[1:])) / (end - begin)

        name = zelj._library.lib._name
        self.assertLess(min(pauses(ctypes.CDLL(name)) for _ in range(3)), 0.5)
        self.assertGreater(pauses(ctypes.PyDLL(name)), 0.8)

    def test_many_at_once(self):
        arrays = [picture(100 + 7 * i, 90, 3, seed=i) for i in range(8)]
        wrong = []

        def work(i):
            try:
                for ending in ("png", "tif", "jp2", "ppm"):
                    path = self.folder / f"{i}.{ending}"
                    zelj.write(path, arrays[i])
                    if not np.array_equal(zelj.read(path)[0], arrays[i]):
                        wrong.append(path)
                try:
                    zelj.read(self.folder / f"none{i}.png")
                except FileNotFoundError as error:
                    if f"none{i}.png" not in str(error):
                        wrong.append(error)
            except Exception as error:  # told below
                wrong.append(error)

        threads = [threading.Thread(target=work, args=(i,)) for i in range(8)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        self.assertEqual(wrong, [])

    def test_one_reader_for_all(self):
        a = picture(400, 60)
        found = []
        with zelj.open(zelj.write(None, a, format="png")) as reader:
            def work():
                while len(band := reader.read(3)):
                    found.append(band)
            threads = [threading.Thread(target=work) for _ in range(4)]
            for t in threads:
                t.start()
            for t in threads:
                t.join()
        rows = np.concatenate(found)
        self.assertEqual(sorted(map(bytes, rows)), sorted(map(bytes, a)))


class Package(Case):
    def test_examples_of_the_manual(self):
        text = (pathlib.Path(__file__).parents[2] / "docs" / "python.md").read_text()
        zelj.write(self.folder / "photo.jpg", picture(300, 500, 3))
        zelj.write(self.folder / "huge.tif", picture(300, 500, 3))
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        names = {}
        with contextlib.redirect_stdout(io.StringIO()) as out:
            for block in re.findall(r"```python\n(.*?)```", text, re.S):
                exec(block, names)
        self.assertEqual(names["small"].shape, (200, 320))
        self.assertEqual(zelj.info("huge.jpg").shape, (300, 500, 3))
        self.assertIn("quality 1 to 100", out.getvalue())

    def test_settings(self):
        known = {s.name: s for s in zelj.settings()}
        self.assertEqual(known["quality"].formats, ("JPEG",))
        self.assertTrue(known["keep_going"].reading and not known["keep_going"].writing)
        for name in set(re.findall(r"``([a-z_]+)=", zelj.read.__doc__ + zelj.write.__doc__)):
            self.assertIn(name, known)

    def test_version_of_the_wheel(self):
        project = pathlib.Path(zelj.__file__).parents[1] / "pyproject.toml"
        if not project.exists():
            self.skipTest("an installed package")
        self.assertIn(f'version = "{zelj.version()}"', project.read_text())


if __name__ == "__main__":
    warnings.simplefilter("error")
    unittest.main()
