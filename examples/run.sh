#!/usr/bin/env bash
# run.sh EXAMPLES ZELCODEC IMAGES: a photograph through the examples, compared by the tool.
set -euo pipefail
examples=$(realpath "$1") tool=$(realpath "$2") images=$(realpath "$3")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

"$tool" encode "$images/coffee.png" in.ppm 2>/dev/null
"$examples/jpeg_encoder" 90 <in.ppm >ours.jpg
"$tool" compare in.ppm ours.jpg --min-psnr 37
# The tool's file has halved chroma and restart intervals.
"$tool" encode in.ppm theirs.jpg -s 420 -r 7
"$examples/jpeg_decoder" <theirs.jpg >theirs.ppm
"$tool" decode --fast theirs.jpg expected.ppm
"$tool" compare expected.ppm theirs.ppm --min-psnr 55
! head -c 2000 theirs.jpg | "$examples/jpeg_decoder" >cut.ppm 2>/dev/null || { echo "a file that is cut short is read"; exit 1; }
