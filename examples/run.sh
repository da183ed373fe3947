#!/usr/bin/env bash
# run.sh EXAMPLES ZELCODEC IMAGES: a photograph, and a part of it with odd sides, through the examples. Their files are
# read by the tool, which was written apart from them; damaged input must be refused.
set -euo pipefail
examples=$(realpath "$1") tool=$(realpath "$2") images=$(realpath "$3")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

same() { "$tool" compare "$1" "$2" --min-psnr 200; }
near() { "$tool" compare "$1" "$2" --min-psnr "$3"; }
refuses() { ! "$examples/$1" "${@:3}" <"$2" >refused 2>/dev/null || { echo "$1 takes $2"; exit 1; }; }
told() { # told LEAST FILE: the PSNR that a program tells
  awk -v least="$1" '/PSNR/ {for (i = 1; i < NF; ++i) if ($i == "PSNR") found = $(i + 1)} END {exit !(found > least)}' "$2" ||
    { cat "$2"; echo "below $1 dB"; exit 1; }
}

"$tool" encode "$images/coffee.png" whole.ppm 2>/dev/null
"$tool" encode --crop 101,57,229,183 whole.ppm odd.ppm
"$tool" encode --grey odd.ppm grey.pgm

for picture in whole.ppm odd.ppm; do
  "$examples/jpeg_encoder" 90 <$picture >baseline.jpg
  near $picture baseline.jpg 36
  "$examples/jpeg_progressive" 90 <$picture >progressive.jpg
  same baseline.jpg progressive.jpg
  "$examples/jpeg_decoder" <baseline.jpg >decoded.ppm
  near baseline.jpg decoded.ppm 55
  # The tool's file has halved chroma and restart intervals.
  "$tool" encode $picture halved.jpg -s 420 -r 7
  "$examples/jpeg_decoder" <halved.jpg >decoded.ppm
  "$tool" decode --fast halved.jpg expected.ppm
  near expected.ppm decoded.ppm 55
  "$examples/jpeg2000_block" <$picture >table
  grep -q ' 0 *0  *84.25' table
  "$examples/jpeg2000_tile" <$picture >table
  head -2 table >finest
  told 44 finest
  told 22 table
done
for predictor in 1 4 7; do
  for picture in odd.ppm grey.pgm; do
    "$examples/jpeg_lossless" $predictor <$picture >lossless.jpg
    same $picture lossless.jpg
  done
done
for picture in whole.ppm odd.ppm grey.pgm; do
  "$examples/texture_dds" rgba <$picture >rgba.dds 2>said
  told 33 said
  [ $picture = grey.pgm ] || near $picture rgba.dds 33
  "$examples/texture_dds" ycocg <$picture >ycocg.dds 2>said
  told 35 said
  [ $picture = grey.pgm ] || near $picture ycocg.dds 35
  "$examples/tiff_strips" <$picture >strips.tif
  same $picture strips.tif
  "$examples/photo_macroblock" <$picture >decoded.pgm 2>said
  told 30 said
done
near grey.pgm decoded.pgm 30

head -c 2000 halved.jpg >cut.jpg
refuses jpeg_decoder cut.jpg
refuses jpeg_decoder progressive.jpg
head -c 2000 whole.ppm >cut.ppm
for program in jpeg_encoder jpeg_progressive jpeg_lossless tiff_strips; do refuses $program cut.ppm; done
