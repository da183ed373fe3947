"""Sections on kinds of files: progressive, lossless, 16 bits, CMYK, textures, TIFF."""
import pictures
from page import bar, decibels, kilobytes, milliseconds
from photographs import CROP, GAIN, triple

PACKINGS = [("none", "uncompressed"), ("packbits", "PackBits"), ("lzw", "LZW"), ("deflate", "Deflate")]


def _scan_name(scan, components):
    """What a scan of a progressive file brings (T.81 Annex G): which coefficients, and which of their bits."""
    band = "DC" if scan["se"] == 0 else f"AC {scan['ss']}&ndash;{scan['se']}"
    whose = "all components" if scan["components"] == components > 1 else "one component"
    if scan["ah"]:
        return f"{band} of {whose}: one bit more"
    low = scan["al"]
    return f"{band} of {whose}" + (f" but for {low} low bit{'s' * (low > 1)}" if low else "")


def section_progressive(page, photo, work):
    page.section(
        "Progressive files",
        (
            f"The {photo.name} as a progressive JPEG of quality 90, 4:2:0, cut off after each of its scans and "
            "decoded as far as it goes: what one sees while the file arrives. Below, JPEG 2000 at 2 bits a pixel in "
            "four quality layers, after each of them. Pictures here are shown as JPEG of quality 92; PSNR is of what "
            "was decoded."
        ),
    )
    tool = page.tool
    jpeg = page.file(f"files/{photo.name}-progressive.jpg", f"{photo.title}, progressive JPEG of quality 90")
    count = tool.encode(photo.path, jpeg, "-q", 90, "--progressive")
    data, info, figures = jpeg.read_bytes(), tool.info(jpeg), []
    back, cut = work / "scan.ppm", work / "scan.jpg"
    for number, scan in enumerate(info["scans"], 1):
        end = scan["offset"] + scan["bytes"]
        cut.write_bytes(data[:end])
        tool.decode(cut, back, "--keep-going")
        figures.append(
            _state(
                page,
                photo,
                back,
                f"{photo.name}-scan-{number}.jpg",
                f"after scan {number}",
                end,
                count,
                f"Scan {number}: {_scan_name(scan, len(info['components']))}",
            )
        )
    page.heading("After each scan of a JPEG file")
    page.row(figures, "many")
    layered = page.file(f"files/{photo.name}-layers.jp2", f"{photo.title}, JPEG 2000 in four quality layers")
    count = tool.encode(photo.path, layered, "--rate", 2, "--layers", 4)
    figures = []
    for layers in range(1, 5):
        tool.decode(layered, back, "--max-layers", layers)
        figures.append(
            _state(
                page,
                photo,
                back,
                f"{photo.name}-layer-{layers}.jpg",
                f"with {layers} of 4 layers",
                0,
                count,
                f"{layers} of 4 layers",
            )
        )
    page.heading("With each layer of a JPEG 2000 file")
    page.row(figures, "many")


def _state(page, photo, back, name, when, arrived, count, title):
    shown = page.picture(name)
    page.tool.encode(back, shown, "-q", 92, "-s", "444")
    share = f"{kilobytes(arrived)} of {kilobytes(count)} KB, {100 * arrived / count:.0f}&#8239;%; " if arrived else ""
    return page.figure(
        shown,
        f"{photo.title} {when}",
        f"<strong>{title}</strong><br>{share}{decibels(page.tool.compare(photo.path, back).psnr)} dB",
    )


def _lossless_kinds():
    yield "PNG", "png", []
    yield from ((f"TIFF, {title}", "tif", ["--compression", option]) for option, title in PACKINGS)
    yield from ((f"JPEG, predictor {n}", "jpg", ["--lossless", "--predictor", n, "--optimise"]) for n in range(1, 8))
    yield "JPEG 2000, 5/3 wavelet", "jp2", []


def section_lossless(page, photos, work):
    tool = page.tool
    page.section(
        "Without loss",
        (
            "Sizes of the same pictures in formats that keep every sample; each file has been decoded and found equal"
            " to its original, sample by sample. Bars are the size of all together as a share of the uncompressed"
            " samples. Times are those of the largest picture, on one thread, the best of three. JPEG has fitted"
            " Huffman tables, TIFF's LZW and Deflate work on differences of neighbours."
        ),
    )
    largest, raw = max(photos, key=lambda p: p.pixels), sum(3 * p.pixels for p in photos)
    rows = []
    for title, ending, options in _lossless_kinds():
        sizes, times = [], []
        for photo in photos:
            path, back = work / f"lossless.{ending}", work / "lossless.ppm"
            if photo is largest and ending != "png":  # PNG is packed by zlib, whose time tells nothing here
                size, encode = tool.encode_timed(photo.path, path, *options)
                times = [milliseconds(encode), milliseconds(tool.decode_time(path))]
            else:
                size = tool.encode(photo.path, path, *options)
            tool.decode(path, back)
            if back.read_bytes() != photo.path.read_bytes():
                raise SystemExit(f"{title}, {photo.name}: not what was coded")
            sizes.append(size)
        share = sum(sizes) / raw
        rows.append(
            [title, *map(kilobytes, sizes), f"{100 * share:.1f}&#8239;%", bar(min(share, 1)), *(times or ["", ""])]
        )
    page.table(
        "Sizes without loss",
        ["Format", *(f"{p.title}, KB" for p in photos), "All", "Share of the samples", "Encode, ms", "Decode, ms"],
        rows,
    )
    small = min(photos, key=lambda p: p.pixels)
    for ending, what, options in (
        ("jpg", "lossless JPEG, predictor 4", ["--lossless", "--predictor", 4, "--optimise"]),
        ("jp2", "lossless JPEG 2000", []),
    ):
        tool.encode(small.path, page.file(f"files/{small.name}-lossless.{ending}", f"{small.title}, {what}"), *options)


def section_16_bits(page, photo, work):
    tool = page.tool
    deep, darkness = work / "deep.ppm", 32
    size = "{}&#8239;&times;&#8239;{}".format(*pictures.averaged_by_four(photo.path, deep, darkness))
    page.section(
        "16 bits a sample",
        (
            f"The {photo.name} made smaller to {size} pixels by averages of 4&#8239;&times;&#8239;4 and"
            f" {darkness} times darker, as if taken with five stops too little light. Made bright again, 8 bits have"
            " eight steps left and 16 bits have the picture; JPEG 2000 of 60 dB, which counts from the brightest value"
            " of 16 bits, is softer."
        ),
    )
    flat, back = work / "flat.ppm", work / "deep-back.ppm"
    lossy = page.file(f"files/{photo.name}-16-bits.jp2", f"{photo.title} made smaller, 16 bits, JPEG 2000 of 60 dB")
    tool.decode(deep, flat, "--depth", 8)
    tool.encode(deep, lossy, "--psnr", 60)
    tool.decode(lossy, back)
    figures = []
    for path, name, title in (
        (flat, "8", "8 bits"),
        (deep, "16", "16 bits"),
        (back, "16-jp2", "JPEG 2000, 16 bits, 60 dB"),
    ):
        bright, shown = work / "bright.ppm", page.picture(f"{photo.name}-{name}-bits.png")
        pictures.brightened(path, bright, darkness)
        tool.encode(bright, shown)
        figures.append(
            page.figure(shown, f"{photo.title} at {title}, made bright again", f"{title}, &times;&#8239;{darkness}")
        )
    page.row(figures, "three")
    _deep_table(page, deep, lossy, back, work)


def _deep_table(page, deep, lossy, back, work):
    """Sizes and times of the picture without loss, and as it was shown with loss."""
    tool = page.tool
    rows, raw = [], deep.stat().st_size
    for title, ending, options in _lossless_kinds():
        if "predictor" in title and not title.endswith(" 4"):
            continue
        path = work / f"deep.{ending}"
        count, encode = tool.encode_timed(deep, path, *options)
        tool.run("compare", deep, path, "--exact")
        rows.append(
            [
                title,
                kilobytes(count),
                f"{100 * count / raw:.1f}&#8239;%",
                "exact",
                milliseconds(encode),
                milliseconds(tool.decode_time(path)),
            ]
        )
    rows.append(
        [
            "JPEG 2000, 9/7 wavelet, 60 dB",
            kilobytes(lossy.stat().st_size),
            f"{100 * lossy.stat().st_size / raw:.1f}&#8239;%",
            decibels(tool.compare(deep, back).psnr),
            "",
            "",
        ]
    )
    page.table(
        "16 bits a sample", ["Format", "Size, KB", "Of the samples", "PSNR, dB", "Encode, ms", "Decode, ms"], rows
    )


def section_cmyk(page, photo, work):
    tool = page.tool
    inks = work / "inks.pam"
    pictures.to_cmyk(photo.path, inks)
    page.section(
        "CMYK",
        (
            f"The {photo.name} separated into four inks in the plainest way: black is what the three share. JPEG codes"
            " it as YCCK, or the inks as they are, which needs more bytes; TIFF and JPEG 2000 keep it. Shown in RGB,"
            " as the tool converts it (these pictures as JPEG of quality 95), and its inks as they came back from"
            " YCCK."
        ),
    )
    kinds = [
        ("JPEG, YCCK, 4:2:0", "ycck.jpg", ["-q", 75]),
        ("JPEG, YCCK, 4:4:4", "ycck444.jpg", ["-q", 75, "-s", "444"]),
        ("JPEG, CMYK, 4:4:4", "cmyk.jpg", ["-q", 75, "-s", "444", "--cmyk"]),
        ("JPEG 2000, lossless", "cmyk.jp2", []),
        ("TIFF, LZW", "cmyk.tif", ["--compression", "lzw"]),
    ]
    rows, coded = [], page.file(f"files/{photo.name}-ycck.jpg", f"{photo.title} in CMYK, JPEG as YCCK, quality 75")
    for title, name, options in kinds:
        path = coded if title == kinds[0][0] else work / name
        count, encode = tool.encode_timed(inks, path, *options)
        likeness = tool.compare(inks, path)
        rows.append(
            [
                title,
                kilobytes(count),
                *map(decibels, likeness.channels),
                milliseconds(encode),
                milliseconds(tool.decode_time(path)),
            ]
        )
    page.row(_rgb_figures(page, photo, inks, coded, work), "three")
    page.table(
        "Four inks, quality 75 where something is lost",
        ["Kind", "Size, KB", "Cyan, dB", "Magenta, dB", "Yellow, dB", "Black, dB", "Encode, ms", "Decode, ms"],
        rows,
    )
    page.heading("The inks")
    page.row(_ink_figures(page, photo, coded, work), "many")


def _rgb_figures(page, photo, inks, coded, work):
    """Original, what came back and the difference, each as RGB."""
    tool = page.tool
    before, after = work / "inks-before.png", work / "inks-after.png"
    tool.decode(inks, before)
    tool.decode(coded, after)
    files = [work / f"inks-{name}.ppm" for name in ("original", "decoded", "difference")]
    tool.run(
        "compare",
        before,
        after,
        "--crop",
        photo.crop(),
        "--save-first",
        files[0],
        "--save-second",
        files[1],
        "--diff",
        files[2],
        "--gain",
        GAIN,
    )
    figures = []
    for path, title in zip(
        files, ("Original", "Decoded: YCCK, quality 75", f"Difference, &times;&#8239;{GAIN}; grey: none")
    ):
        shown = page.picture(f"{photo.name}-cmyk-{path.stem[5:]}.jpg")
        tool.encode(path, shown, "-q", 70 if path is files[2] else 95)
        figures.append(page.figure(shown, f"{photo.title}, CMYK shown in RGB: {path.stem[5:]}", title))
    return figures


def _ink_figures(page, photo, coded, work):
    """Each ink as a grey picture, dark where there is much of it."""
    pam, figures = work / "inks-back.pam", []
    page.tool.decode(coded, pam, "--format", "pnm")
    samples = pam.read_bytes()[-4 * photo.pixels :]
    inverse = bytes(255 - v for v in range(256))
    for i, ink in enumerate(("Cyan", "Magenta", "Yellow", "Black")):
        grey, shown = work / "ink.pgm", page.picture(f"{photo.name}-{ink.lower()}.jpg")
        grey.write_bytes(b"P5\n%d %d\n255\n" % (photo.width, photo.height) + samples[i::4].translate(inverse))
        page.tool.encode(grey, shown, "-q", 90)
        figures.append(
            page.figure(shown, f"The {ink.lower()} ink of the {photo.name}", f"{ink}: dark where there is much of it")
        )
    return figures


TEXTURES = [("dxt1", "DXT1"), ("dxt3", "DXT3"), ("dxt5", "DXT5"), ("ycocg", "YCoCg in DXT5")]


def section_textures(page, photos, work):
    tool = page.tool
    page.section(
        "Textures",
        (
            "Blocks of 4&#8239;&times;&#8239;4 pixels in fixed space, coded in a single pass: 4 bits a pixel for DXT1,"
            " 8 for the others. YCoCg keeps the luma in DXT5's opacity part and spends twice the space of DXT1 on"
            " colour."
        ),
    )
    rows, small = [], min(photos, key=lambda p: p.pixels)
    for photo in photos:
        for option, title in TEXTURES:
            if option == "dxt3":  # differs from DXT5 in its opacity alone
                continue
            name = f"{photo.name}-{option}.dds"
            path = (
                page.file("files/" + name, f"{photo.title} as a texture, {title}")
                if photo is small and option != "dxt5"
                else work / name
            )
            count, encode = tool.encode_timed(photo.path, path, "--texture", option, "--mips", 1)
            likeness = tool.compare(photo.path, path)
            rows.append(
                [
                    f"{photo.title}, {title}",
                    kilobytes(count),
                    f"{photo.bits(count):.2f}",
                    decibels(likeness.psnr),
                    f"{likeness.ssim:.4f}",
                    milliseconds(encode),
                    milliseconds(tool.decode_time(path)),
                ]
            )
    page.table(
        "Textures",
        ["Picture and format", "Size, KB", "Bits a pixel", "PSNR, dB", "SSIM", "Encode, ms", "Decode, ms"],
        rows,
    )
    for option, title in (TEXTURES[0], TEXTURES[3]):
        page.heading(f"{small.title} in {title}")
        triple(page, small, page.out / f"files/{small.name}-{option}.dds", f"{small.name}-{option}", title)
    _opacity(page, small, work)
    _mips(page, small)


def _opacity(page, photo, work):
    tool, side = page.tool, 208
    piece, disc = work / "piece.ppm", work / "disc.pam"
    x, y = photo.window[0] + photo.detail[0], photo.window[1] + photo.detail[1]
    corner = min(x, photo.width - side), min(y, photo.height - side)
    tool.decode(photo.path, piece, "--crop", "{},{},{},{}".format(*corner, side, side))
    pictures.with_opacity(piece, disc)
    original = page.picture("disc.png")
    tool.encode(disc, original)
    figures, rows = [page.figure(original, "A disc that fades towards its border, original", "Original", "checked")], []
    for option, title in TEXTURES[:3]:
        path, shown = work / f"disc-{option}.dds", page.picture(f"disc-{option}.png")
        count = tool.encode(disc, path, "--texture", option, "--mips", 1)
        channels = tool.compare(disc, path).channels
        tool.decode(path, shown)
        figures.append(
            page.figure(shown, f"The disc from {title}", f"{title}: opacity {decibels(channels[3])} dB", "checked")
        )
        rows.append([title, kilobytes(count), *map(decibels, channels)])
    page.heading("Opacity")
    page.text("DXT1 is written opaque, DXT3 has 16 steps, DXT5 interpolates eight in each block.")
    page.row(figures, "natural")
    page.table("Opacity in textures", ["Format", "Size, KB", "Red, dB", "Green, dB", "Blue, dB", "Opacity, dB"], rows)


def _mips(page, photo):
    tool, figures = page.tool, []
    path = page.file(f"files/{photo.name}-mips.dds", f"{photo.title}, DXT1 with all mip levels")
    count = tool.encode(photo.path, path, "--texture", "dxt1", "--mips", 0)
    for level in range(1, 5):
        shown = page.picture(f"{photo.name}-mip-{level}.png")
        tool.decode(path, shown, "--mip", level)
        size = "{}&#8239;&times;&#8239;{}".format(*tool.size(shown))
        figures.append(page.figure(shown, f"Mip level {level} of the {photo.name}", f"Level {level}: {size}"))
    page.heading("Mip levels")
    page.text(
        f"From one file of {kilobytes(count)} KB in DXT1, which has all levels down to one pixel; level 0 is the"
        " picture itself."
    )
    page.row(figures, "natural")


def section_tiff(page, photos, work):
    tool = page.tool
    page.section(
        "TIFF",
        (
            "Packings of the same pictures. PackBits gains where bytes repeat, which in photographs they hardly do; LZW"
            " and Deflate work on differences of neighbours. Times are the codec's own, one thread, the best of three."
        ),
    )
    small, large = min(photos, key=lambda p: p.pixels), max(photos, key=lambda p: p.pixels)
    two, grey = work / "two.pbm", work / "grey.pgm"
    pictures.black_and_white(small.path, two)
    tool.decode(small.path, grey, "--grey")
    sources = [
        (large.title, large.path),
        (small.title, small.path),
        (f"{small.title}, grey", grey),
        (f"{small.title}, black and white in 8 bits", two),
    ]
    rows = []
    for title, source in sources:
        results, times = [], []
        for option, _ in PACKINGS:
            path = work / "packed.tif"
            size, encode = tool.encode_timed(source, path, "--compression", option)
            results.append(size)
            times.append(f"{milliseconds(encode)} / {milliseconds(tool.decode_time(path))}")
        rows.append([title, *map(kilobytes, results), *times])
    page.table(
        "Packings of TIFF: sizes, and times to encode and to decode",
        ["Picture", *(f"{t}, KB" for _, t in PACKINGS), *(f"{t}, ms" for _, t in PACKINGS)],
        rows,
    )
    tool.encode(
        small.path, page.file(f"files/{small.name}-lzw.tif", f"{small.title}, TIFF with LZW"), "--compression", "lzw"
    )
