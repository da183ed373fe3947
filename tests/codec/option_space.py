#!/usr/bin/env python3
"""option_space.py ZELCODEC IMAGES: files by the option space of other projects' tools, read by ours and by theirs, and
files of ours read by theirs; the pixels are compared. A few hundred combinations of libjpeg-turbo's, OpenJPEG's,
libtiff's and ImageMagick's programs."""
import itertools
import os
import shutil
import subprocess
import sys
import tempfile

zelcodec, images = (os.path.abspath(p) for p in sys.argv[1:])
failures, tried = [], 0


def imagemagick_convert():
    """ImageMagick's program; others are called "convert" too, and may stand before it in the path."""
    for folder in os.get_exec_path():
        if program := shutil.which("convert", path=folder):
            if "ImageMagick" in subprocess.run([program, "-version"], capture_output=True, text=True).stdout:
                return program
    return None


convert = imagemagick_convert()
absent = [p for p in "cjpeg djpeg opj_compress opj_decompress tiffcp".split() if not shutil.which(p)]
absent += [] if convert else ["ImageMagick's convert"]
if absent:
    print("not here:", *absent)
    sys.exit(77)


def run(*command):
    done = subprocess.run(" ".join(command).split(), capture_output=True, text=True)
    if done.returncode:
        raise RuntimeError(f"{' '.join(command)}: {(done.stderr or done.stdout).strip()[:300]}")


# Inverse transforms may differ by 1 in luma and in chroma, and blue is luma + 1.772 chroma.
close = 3, 0.2


def netpbm(path):
    """Size, largest value and samples of a binary PGM or PPM file."""
    data = open(path, "rb").read()
    fields, at = [], 0
    while len(fields) < 4:
        end = next(i for i in range(at, len(data)) if data[i : i + 1].isspace())
        if data[at : at + 1] == b"#":
            end = data.index(b"\n", at)
        elif end > at:
            fields.append(data[at:end])
        at = end + 1
    samples = data[at:]
    if int(fields[3]) > 255:
        samples = [samples[i] << 8 | samples[i + 1] for i in range(0, len(samples) - 1, 2)]
    return fields, samples


def compare(what, ours, theirs, most, mean):
    """most: the largest difference of a sample that is allowed; mean: that of all."""
    (a, p), (b, q) = netpbm(ours), netpbm(theirs)
    if a != b or len(p) != len(q):
        return failures.append(f"{what}: {a} and {b}")
    differences = [abs(x - y) for x, y in zip(p, q)]
    if max(differences) > most or sum(differences) > mean * len(differences):
        failures.append(f"{what}: up to {max(differences)}, mean {sum(differences) / len(differences):.3f}")


def attempt(what, most, mean, *steps):
    """Runs the steps, which leave what we read in ours.pnm and the same by others in theirs.pnm."""
    global tried
    tried += 1
    for stale in ("ours.pnm", "theirs.pnm"):
        if os.path.exists(stale):
            os.remove(stale)
    try:
        for step in steps:
            run(step)
        compare(what, "ours.pnm", "theirs.pnm", most, mean)
    except (RuntimeError, OSError) as e:
        failures.append(f"{what}: {e}")


def jpeg():
    with open("scans", "w") as scans:
        scans.write("0; 1; 2;")
    samplings = "1x1 2x1 1x2 2x2 4x1 4x2 1x4 2x2,1x2,2x1 1x1,2x2,2x2 3x1,1x1,1x1".split()
    kinds = ["-baseline", "-optimize", "-progressive", "-restart 1", "-restart 3B -progressive", "-dct float", "-rgb", "-scans scans"]
    for kind, sampling, quality in itertools.product(kinds, samplings, (12, 75, 98)):
        if kind == "-scans scans":  # more blocks than an interleaved MCU may have
            sampling = "2x2,2x2,2x2" if sampling == "1x1" else sampling
        make = f"cjpeg {kind} -quality {quality} -sample {sampling} -outfile a.jpg in.ppm"
        attempt(make, *close, make, "djpeg -pnm -nosmooth -outfile theirs.pnm a.jpg",
                f"{zelcodec} decode --fast a.jpg ours.pnm")
    for kind, scale in itertools.product(("", "-grayscale", "-progressive"), (2, 4, 8)):
        make = f"cjpeg {kind} -quality 90 -sample 1x1 -outfile a.jpg in.ppm"
        attempt(f"{make} 1/{scale}", *(close if scale == 8 else (6, 0.7)), make, f"djpeg -pnm -scale 1/{scale} -outfile theirs.pnm a.jpg",
                f"{zelcodec} decode --scale 1/{scale} a.jpg ours.pnm")
    for options in itertools.product(("-s 444", "-s 422", "-s 420"), ("", "--progressive", "--optimise", "--restart 2"),
                                     ("", "--grey"), ("-q 20", "-q 95")):
        make = f"{zelcodec} encode {' '.join(options)} in.ppm a.jpg"
        attempt(make, *close, make, "djpeg -pnm -nosmooth -outfile theirs.pnm a.jpg",
                f"{zelcodec} decode --fast a.jpg ours.pnm")


def jpeg2000():
    shapes = ["", "-n 1", "-n 3 -b 16,32", "-t 40,30 -n 4", "-d 5,7 -t 32,32 -T 2,3", "-c [32,32],[16,16]", "-SOP -EPH",
              "-s 2,2", "-ROI c=0,U=5", "-TP R", "-mct 0"]
    kinds = ["", "-I", "-r 20,10,5", "-I -r 12,4", "-q 30,45"]
    for shape, kind, order in itertools.product(shapes, kinds, ("LRCP", "RPCL")):
        make = f"opj_compress -i in.ppm -o a.jp2 -p {order} {shape} {kind}"
        attempt(make, 1, 0.05, make, "opj_decompress -i a.jp2 -o theirs.ppm", "mv theirs.ppm theirs.pnm",
                f"{zelcodec} decode a.jp2 ours.pnm")
    for mode, order in itertools.product(range(0, 64, 3), ("RLCP", "PCRL", "CPRL")):
        make = f"opj_compress -i in.pgm -o a.j2k -M {mode} -p {order} -c [64,64] -b 32,8"
        attempt(make, 0, 0, make, "cp in.pgm theirs.pnm", f"{zelcodec} decode a.j2k ours.pnm")
    styles = ["", "--style bypass", "--style reset terminate", "--style causal predictable", "--style segmentation"]
    for options in itertools.product(styles, ("", "--rate 3 --layers 3", "--psnr 40"), ("", "--precinct 64 --sop --eph"),
                                     ("--progression lrcp", "--progression cprl")):
        make = f"{zelcodec} encode in.ppm a.jp2 --block 32 16 {' '.join(options)}"
        attempt(make, 1, 0.05, make, "opj_decompress -i a.jp2 -o theirs.ppm", "mv theirs.ppm theirs.pnm",
                f"{zelcodec} decode a.jp2 ours.pnm")


def tiff():
    compressions = "none packbits lzw lzw:2 zip zip:2".split()
    layouts = ["-r 7", "-r 1000", "-t -w 32 -l 16", "-p separate -r 5", "-p separate -t -w 16 -l 48"]
    for picture in ("in.ppm", "in.pgm"):
        run("ppm2tiff", picture, "in.tif")
        for compression, layout, order in itertools.product(compressions, layouts, ("-B", "-L -8", "-f lsb2msb")):
            make = f"tiffcp -c {compression} {layout} {order} in.tif a.tif"
            attempt(f"{picture} {make}", 0, 0, make, f"cp {picture} theirs.pnm", f"{zelcodec} decode a.tif ours.pnm")
    run(f"{convert} in.ppm -dither None -monochrome -depth 1 bits.tif")
    run(f"{convert} bits.tif -depth 8 bits.pgm")
    for compression, order in itertools.product(("none", "packbits", "lzw", "zip"), ("", "-f lsb2msb", "-B")):
        make = f"tiffcp -c {compression} {order} bits.tif a.tif"
        attempt(f"1 bit {make}", 0, 0, make, "cp bits.pgm theirs.pnm", f"{zelcodec} decode --depth 8 a.tif ours.pnm")
    for compression, layout in itertools.product(("none", "packbits", "lzw", "deflate"), ("", "--tile 16 32", "--bigtiff")):
        make = f"{zelcodec} encode in.ppm a.tif --compression {compression} {layout}"
        attempt(make, 0, 0, make, f"{convert} a.tif -depth 8 theirs.ppm", "mv theirs.ppm theirs.pnm",
                f"{zelcodec} decode a.tif ours.pnm")


def imagemagick():
    for depth, kind, interlace in itertools.product((8, 16), ("Grayscale", "TrueColor", "Palette"), ("None", "PNG")):
        make = f"{convert} in.ppm -type {kind} -depth {depth} -interlace {interlace} a.png"
        depth = 8 if kind == "Palette" else depth
        plain = f"{convert} a.png -depth {depth} theirs." + ("pgm" if kind == "Grayscale" else "ppm")
        attempt(make, 0, 0, make, plain, "mv " + plain.split()[-1] + " theirs.pnm",
                f"{zelcodec} decode --depth {depth} a.png ours.pnm")
    for kind, ending in itertools.product(("-sampling-factor 4:2:0", "-sampling-factor 4:4:4", "-interlace JPEG"),
                                          ("jpg", "tif")):
        if ending == "tif":
            make = f"{convert} in.ppm {kind} -compress jpeg a.tif"
            attempt(make, 6, 0.7, make, f"{convert} a.tif -depth 8 theirs.ppm", "mv theirs.ppm theirs.pnm",
                    f"{zelcodec} decode a.tif ours.pnm")
        else:
            make = f"{convert} in.ppm {kind} -quality 88 a.jpg"
            attempt(make, *close, make, "djpeg -pnm -nosmooth -outfile theirs.pnm a.jpg",
                    f"{zelcodec} decode --fast a.jpg ours.pnm")


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    run(zelcodec, "encode --crop 300,400,83,61", f"{images}/canyon.png in.ppm")
    run(zelcodec, "encode --grey in.ppm in.pgm")
    for part in (jpeg, jpeg2000, tiff, imagemagick):
        before = tried
        part()
        print(f"{part.__name__}: {tried - before} combinations")
print("\n".join(failures))
print(f"{tried} combinations, {len(failures)} differ")
sys.exit(bool(failures))
