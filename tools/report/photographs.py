"""Sections on the photographs: what JPEG loses, JPEG 2000 at equal size, quality by size, reduced sizes."""
from dataclasses import dataclass, field
from html import escape

import charts
import pictures
from page import decibels, kilobytes, layout_name, milliseconds
from tool import in_parallel

CROP = (528, 396)  # what is shown of each picture; smaller than the smallest of them
DETAIL = (176, 132)  # what is magnified first: a third of it each way, so that both look alike in size
GAIN = 8  # of the differences

# Qualities and chroma samplings in the tables, and which of them are shown.
SETTINGS = [(95, "444"), (90, "444"), (90, "422"), (90, "420"), (75, "420"), (50, "420"), (30, "420"), (10, "420")]
SHOWN = [(75, "420"), (30, "420")]
EQUAL = (10, 30, 75)  # qualities whose sizes JPEG 2000 is given
EQUAL_SHOWN = 30


@dataclass
class Photograph:
    name: str
    path: object  # as PPM, so that reading it takes no time
    stored: int  # bytes of the PNG file
    width: int
    height: int
    window: tuple = (0, 0)
    detail: tuple = (0, 0)
    coded: dict = field(default_factory=dict)  # (quality, sampling) -> (path, bytes, likeness)

    @property
    def pixels(self):
        return self.width * self.height

    @property
    def title(self):
        return self.name.capitalize()

    def crop(self):
        return "{},{},{},{}".format(*self.window, *CROP)

    def bits(self, count):
        """Bits a pixel of so many bytes."""
        return 8 * count / self.pixels


def load(tool, image, work):
    """A photograph, and where in it JPEG loses most."""
    ppm, jpeg, difference = work / f"{image.stem}.ppm", work / "worst.jpg", work / "worst.ppm"
    tool.decode(image, ppm)
    photo = Photograph(image.stem, ppm, image.stat().st_size, *tool.size(image))
    tool.encode(ppm, jpeg, "-q", SHOWN[-1][0])
    tool.compare(ppm, jpeg, "--diff", difference)
    photo.window, photo.detail = pictures.worst_window(difference, *CROP, DETAIL)
    return photo


def original_crop(page, photo):
    path = page.picture(f"{photo.name}-original.png")
    if not path.exists():
        page.tool.run("compare", photo.path, photo.path, "--crop", photo.crop(), "--save-first", path)
    return path


def crops(page, photo, coded, stem):
    """The piece as it came back, and its difference from the original, which is shown as JPEG: it is no measurement."""
    back, difference = page.picture(f"{stem}.png"), page.picture(f"{stem}-difference.jpg")
    large = page.picture(f"{stem}-difference.ppm")
    page.tool.compare(photo.path, coded, "--crop", photo.crop(), "--save-second", back, "--diff", large, "--gain", GAIN)
    page.tool.encode(large, difference, "-q", 70)
    large.unlink()
    return back, difference


def described(photo, count, likeness):
    return [
        f"{kilobytes(count)} KB",
        f"{photo.bits(count):.2f} bits a pixel",
        f"PSNR {decibels(likeness.psnr)} dB",
        f"SSIM {likeness.ssim:.4f}",
    ]


def triple(page, photo, coded, stem, name):
    """Original, what came back, difference; the viewer takes the first two from here."""
    back, difference = crops(page, photo, coded, stem)
    figures = [
        page.figure(original_crop(page, photo), f"{photo.title}, original, the piece that loses most", "Original"),
        page.figure(back, f"{photo.title}, the same piece after {name}", f"Decoded: {name}"),
        page.figure(
            difference,
            f"{photo.title}, what {name} changed in it, magnified {GAIN} times",
            f"Difference, &times;&#8239;{GAIN}; grey: none",
        ),
    ]
    page.row(figures, "three", f'data-pair="{escape(name)}"')


def _overview(page, photo, rows):
    """The whole picture, with a frame around what is shown of it, beside the table of settings."""
    whole = page.picture(f"{photo.name}-whole.jpg")
    jpeg = photo.coded[90, "420"][0]
    page.tool.decode(jpeg, whole, "--scale", "1/2" if photo.width > 1200 else "1", "-q", 85, "--strip")
    shares = [
        100 * photo.window[0] / photo.width,
        100 * photo.window[1] / photo.height,
        100 * CROP[0] / photo.width,
        100 * CROP[1] / photo.height,
    ]
    place = "left:{:.2f}%;top:{:.2f}%;width:{:.2f}%;height:{:.2f}%".format(*shares)
    figure = page.figure(
        whole,
        f"{photo.title}, the whole picture",
        "The whole picture, made smaller where it is large; framed: the piece shown below, where JPEG loses most",
        "whole",
    )
    figure = figure.replace("</div><figcaption>", f'<span class="mark" style="{place}"></span></div><figcaption>')
    columns = ["Quality", "Sampling", "Size, KB", "Bits a pixel", "PSNR, dB", "SSIM", "Encode, ms", "Decode, ms"]
    page.add('<div class="beside">', figure, page.table_markup(f"{photo.title} as JPEG", columns, rows), "</div>")


def section_loss(page, photos, work):
    page.section(
        "What JPEG loses",
        (
            "Baseline JPEG at several qualities and chroma samplings. PSNR is over all three channels; SSIM is that of"
            " the luminance, with a Gaussian window of 11&#8239;&times;&#8239;11. Times are those of the codec alone,"
            " from memory to memory, on one thread, the best of three. The pieces below are shown pixel for pixel;"
            " where the window is narrow, their middle."
        ),
    )
    for photo in photos:
        page.heading(photo.title, photo.name)
        page.facts(f"{photo.width}&#8239;&times;&#8239;{photo.height} pixels", f"{kilobytes(photo.stored)} KB as PNG")
        rows, coded = [], []
        for quality, sampling in SETTINGS:
            name = f"{photo.name}-q{quality}-{sampling}.jpg"
            path = (
                page.file("files/" + name, f"{photo.title}, JPEG of quality {quality}, {layout_name(sampling)}")
                if (quality, sampling) in SHOWN
                else work / name
            )
            count, encode = page.tool.encode_timed(photo.path, path, "-q", quality, "-s", sampling)
            decode = page.tool.decode_time(path)
            coded.append((quality, sampling, path, count, encode, decode))
        likenesses = in_parallel(lambda c: page.tool.compare(photo.path, c[2]), coded)
        for (quality, sampling, path, count, encode, decode), likeness in zip(coded, likenesses):
            photo.coded[quality, sampling] = path, count, likeness
            rows.append(
                [
                    quality,
                    layout_name(sampling),
                    kilobytes(count),
                    f"{photo.bits(count):.2f}",
                    decibels(likeness.psnr),
                    f"{likeness.ssim:.4f}",
                    milliseconds(encode),
                    milliseconds(decode),
                ]
            )
        _overview(page, photo, rows)
        page.add(
            f'<div class="viewer" hidden data-title="{photo.title}" data-detail="{photo.detail[0]} {photo.detail[1]} '
            f'{DETAIL[0]} {DETAIL[1]}"></div>'
        )
        for quality, sampling in SHOWN:
            path, count, likeness = photo.coded[quality, sampling]
            name = f"JPEG, quality {quality}"
            page.add(f"<h4>{name}, {layout_name(sampling)}</h4>")
            page.facts(*described(photo, count, likeness), f'<a href="files/{path.name}">the file</a>')
            triple(page, photo, path, f"{photo.name}-q{quality}", name)


def _of_equal_size(tool, photo, limit, path):
    """A JP2 file of at most `limit` bytes, its boxes included."""
    rate = photo.bits(limit)
    count = tool.encode(photo.path, path, "--rate", f"{rate:.5f}")
    while count > limit:
        rate -= photo.bits(count - limit + 1)
        count = tool.encode(photo.path, path, "--rate", f"{rate:.5f}")
    return count


def section_equal_size(page, photos, work):
    page.section(
        "JPEG beside JPEG 2000 at equal size",
        (
            "JPEG 2000 is given as many bytes as JPEG took at 4:2:0, and never "
            f"more. Shown is JPEG of quality {EQUAL_SHOWN}: its blocks and colour borders beside the softness of "
            "wavelets. Both are in the viewers above, too."
        ),
    )
    for photo in photos:
        page.heading(photo.title)
        _equal_sizes(page, photo, work)


def _equal_sizes(page, photo, work):
    def made(quality):
        name = f"{photo.name}-as-q{quality}.jp2"
        path = (
            page.file("files/" + name, f"{photo.title}, JPEG 2000 of the size of JPEG of quality {quality}")
            if quality == EQUAL_SHOWN
            else work / name
        )
        count = _of_equal_size(page.tool, photo, photo.coded[quality, "420"][1], path)
        return path, count, page.tool.compare(photo.path, path)

    rows = []
    for quality, (path, count, wavelets) in zip(EQUAL, in_parallel(made, EQUAL)):
        _, limit, likeness = photo.coded[quality, "420"]
        rows.append(
            [
                quality,
                kilobytes(limit),
                kilobytes(count),
                decibels(likeness.psnr),
                decibels(wavelets.psnr),
                f"{likeness.ssim:.4f}",
                f"{wavelets.ssim:.4f}",
            ]
        )
        if quality == EQUAL_SHOWN:
            shown = path, count, wavelets
    _equal_figures(page, photo, *shown)
    page.table(
        f"{photo.title}: JPEG 2000 in the size of JPEG",
        [
            "JPEG quality",
            "JPEG, KB",
            "JPEG 2000, KB",
            "PSNR of JPEG, dB",
            "PSNR of JPEG 2000, dB",
            "SSIM of JPEG",
            "SSIM of JPEG 2000",
        ],
        rows,
    )


def _equal_figures(page, photo, path, count, wavelets):
    """Original, JPEG, and JPEG 2000 of `count` bytes; the viewer takes the last two from here."""
    back, difference = crops(page, photo, path, f"{photo.name}-jp2")
    difference.unlink()
    likeness = photo.coded[EQUAL_SHOWN, "420"][2]
    figures = [
        page.figure(original_crop(page, photo), f"{photo.title}, original", "Original"),
        page.figure(
            page.picture(f"{photo.name}-q{EQUAL_SHOWN}.png"),
            f"{photo.title}, from JPEG",
            f"JPEG: {kilobytes(photo.coded[EQUAL_SHOWN, '420'][1])} KB, {decibels(likeness.psnr)} dB",
        ),
        page.figure(
            back,
            f"{photo.title}, from JPEG 2000 of equal size",
            f"JPEG 2000: {kilobytes(count)} KB, {decibels(wavelets.psnr)} dB",
        ),
    ]
    page.row(figures, "three", f'data-equal="{photo.title}"')


def section_curves(page, photos, work):
    page.section(
        "Quality by size",
        (
            "PSNR over bits a pixel: JPEG at 4:2:0 and qualities from 5 to 95, JPEG 2000 at rates from "
            "0.1 to 3 bits a pixel. Higher is better."
        ),
    )
    figures, rows = [], []
    for photo in photos:

        def point(setting):
            kind, ending, name, options = setting
            path = work / f"point-{name}.{ending}"
            count = page.tool.encode(photo.path, path, *options)
            return photo.bits(count), page.tool.compare(photo.path, path).psnr

        settings = [("JPEG", "jpg", f"quality {q}", ["-q", q]) for q in (5, 10, 20, 40, 60, 80, 90, 95)]
        settings += [("JPEG 2000", "jp2", f"rate {r:g}", ["--rate", r]) for r in (0.1, 0.25, 0.5, 1, 1.5, 2, 3)]
        points = {"JPEG": [], "JPEG 2000": []}
        for (kind, _, name, _), at in zip(settings, in_parallel(point, settings)):
            points[kind].append(at)
            rows.append([photo.title, kind, name, f"{at[0]:.3f}", f"{at[1]:.2f}"])
        chart = charts.curves(
            f"{photo.title}: PSNR in dB over bits a pixel, of JPEG and JPEG 2000",
            [("JPEG", "first", points["JPEG"]), ("JPEG 2000", "second", points["JPEG 2000"])],
            3,
            "bits a pixel",
            "PSNR, dB",
        )
        figures.append(f"<figure>{chart}<figcaption>{photo.title}</figcaption></figure>")
    page.row(figures, "three charts")
    page.add(
        "<details><summary>The points as a table</summary>",
        page.table_markup(
            "Points of the curves", ["Picture", "Format", "Setting", "Bits a pixel", "PSNR, dB"], rows, 3
        ),
        "</details>",
    )


def section_reduced(page, photo):
    page.section(
        "Reduced sizes",
        (
            f"The {photo.name} from JPEG of quality 90, 4:2:0, decoded straight to a smaller size, without "
            "the full one in between. Pictures are shown pixel for pixel where the window is wide enough."
        ),
    )
    source, rows, figures = photo.coded[90, "420"][0], [], []
    for scale in ("1", "1/2", "1/4", "1/8"):
        took = page.tool.decode_time(source, "--scale", scale)
        divisor = int(scale.split("/")[-1])
        width, height = -(-photo.width // divisor), -(-photo.height // divisor)
        size = f"{width}&#8239;&times;&#8239;{height}"
        rows.append([scale, size, milliseconds(took)])
        if divisor >= 4:
            path = page.picture(f"{photo.name}-scale-{divisor}.jpg")
            page.tool.decode(source, path, "--scale", scale, "-q", 92, "--strip")
            figures.append(
                page.figure(path, f"{photo.title} decoded at {scale} of its size", f"{scale}: {size} pixels")
            )
    table = page.table_markup("Decoding, one thread", ["Size", "Pixels", "Decode, ms"], rows)
    page.row([*figures, f"<div>{table}</div>"], "natural")
