#!/usr/bin/env python3
"""metadata_peer.py ZELCODEC: metadata through the tool and its formats, as Pillow writes and reads them."""
import os
import subprocess
import sys
import tempfile

try:
    from PIL import Image, ImageChops, ImageCms, ImageOps
except ImportError:
    print("Pillow is not here")
    sys.exit(77)

tool = os.path.abspath(sys.argv[1])
ORIENTATION, MAKE, DATE = 0x112, 0x10F, 0x9003


def run(*arguments):
    return subprocess.run([tool, *arguments], check=True, capture_output=True, text=True).stderr


def original(path, orientation):
    image = Image.linear_gradient("L").resize((40, 24))
    image = Image.merge("RGB", (image, image.rotate(180), image))
    exif = Image.Exif()
    exif[ORIENTATION], exif[MAKE] = orientation, "a maker"
    exif[0x8769] = {DATE: "2001:02:03 04:05:06"}
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    image.save(path, quality=95, subsampling=0, exif=exif.tobytes(), icc_profile=profile, dpi=(200, 200), comment=b"hello")
    return profile


def check(path, profile, orientation):
    image = Image.open(path)
    image.load()
    assert image.info.get("icc_profile") == profile, (path, "profile")
    exif = image.getexif()
    assert exif.get(ORIENTATION, 1) == orientation, (path, "orientation", exif.get(ORIENTATION))
    assert exif.get_ifd(0x8769).get(DATE) == "2001:02:03 04:05:06", (path, "date", dict(exif.get_ifd(0x8769)))
    dpi = image.info.get("dpi", (0, 0))
    assert abs(float(dpi[0]) - 200) < 0.1, (path, "resolution", dpi)
    return image


with tempfile.TemporaryDirectory() as scratch:
    os.chdir(scratch)
    for orientation in (1, 3, 6, 7):
        profile = original("o.jpg", orientation)
        previous = "o.jpg"
        # From format to format, each in turn, and back to the first.
        for path in ("a.png", "b.tif", "c.jp2", "d.png", "e.tif", "f.jpg"):
            run("encode", previous, path)
            if not path.endswith(".jp2"):  # of which Pillow reads no EXIF
                check(path, profile, orientation)
            previous = path
        run("encode", "o.jpg", "u.png", "--auto-orient")
        turned = check("u.png", profile, 1)
        run("encode", "o.jpg", "s.png", "--auto-orient", "--strip")
        stripped = Image.open("s.png")
        assert not stripped.info.get("icc_profile") and not stripped.getexif(), "what --strip leaves"
        run("encode", "o.jpg", "p.png")
        upright = ImageOps.exif_transpose(Image.open("p.png"))
        assert ImageChops.difference(turned, upright).getbbox() is None, orientation
    lost = run("encode", "o.jpg", "n.ppm")
    assert all(word in lost for word in ("ICC profile", "EXIF", "comments", "resolution", "orientation")), lost
