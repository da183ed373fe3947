#!/usr/bin/env bash
# tool.sh ZELCODEC IMAGES: a picture through the tool and back, and the exit codes that scripts rely on.
set -uo pipefail
tool=$(realpath "$1") images=$(realpath "$2")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
failures=0

expect() {  # CODE COMMAND...: the exit code, and words on standard error where it is not 0
  local code=$1
  shift
  "$tool" "$@" >out 2>err
  local got=$?
  if [ $got -ne "$code" ]; then
    echo "zelcodec $*: exit code $got, expected $code: $(cat err)"
    failures=$((failures + 1))
  fi
}
contains() {  # FILE PATTERN
  grep -qE -- "$2" "$1" || { echo "no $2 in: $(cat "$1")"; failures=$((failures + 1)); }
}

picture=$images/coffee.png
expect 0 encode "$picture" a.jpg -q 90 -s 422 -r 8 --progress
contains err "100 %"
expect 0 info a.jpg --json
contains out '"width":599.*"h":2,"v":1.*"restartInterval":8.*"complete":true'
expect 0 decode a.jpg a.png
expect 0 compare a.jpg a.png --exact # the same decoding, by way of a file
expect 0 compare "$picture" a.jpg --min-psnr 34 --min-ssim 0.95 --diff d.png --crop 10,20,30,40
expect 0 info d.png
contains out "width 30, height 40"
expect 4 compare "$picture" a.jpg --min-psnr 60
contains out "PSNR"
expect 4 compare "$picture" d.png
expect 0 decode a.jpg small.ppm --scale 1/4
expect 0 info small.ppm
contains out "width 150, height 100"
"$tool" encode - - <a.png 2>err | "$tool" decode - - >piped.ppm 2>>err
expect 0 compare "$picture" piped.ppm --min-psnr 30

printf '0: 0-0,0,0; 1 2: 0-0,0,0; 0: 1-63,0,1; # the rest is left out' >scans
expect 0 encode "$picture" p.jpg --scans scans --restart-rows 2
expect 0 info p.jpg
contains out "progressive"
expect 0 decode p.jpg fast.png --fast --threads 1
expect 0 compare "$picture" fast.png --min-psnr 25
expect 0 encode "$picture" l.jpg --lossless --predictor 4 --optimise
expect 0 compare "$picture" l.jpg --exact
expect 1 encode "$picture" l.jpg --lossless --progressive
expect 1 encode "$picture" l.jpg --predictor 4
echo '0: 1-63,0,0' >scans
expect 1 encode "$picture" b.jpg --scans scans
contains err "position 0"

expect 0 encode "$picture" a.jp2 --rate 1.5 --layers 3 --progression rpcl --style bypass causal
expect 0 compare "$picture" a.jp2 --min-psnr 35
expect 0 info a.jp2 --json
contains out '"levels":5,"layers":3.*"progression":"rpcl","styles":\["bypass","causal"\]'
expect 0 decode a.jp2 half.png --reduce 1
expect 0 info half.png
contains out "width 300, height 199"
expect 0 encode "$picture" b.j2k --tile 208,160
expect 0 compare "$picture" b.j2k --exact
expect 1 encode "$picture" b.j2k --rate 1 --psnr 40
expect 1 decode a.jp2 half.png --reduce 6

expect 0 encode "$picture" a.dds --texture dxt5 --mips 0
expect 0 info a.dds --json
contains out '"texture":"DXT5","width":599.*"width":1,"height":1,'
expect 0 decode a.dds small.png --mip 2
expect 0 info small.png
contains out "width 149, height 99"
expect 0 encode "$picture" t.dds --texture dxt3
expect 0 compare "$picture" t.dds --min-psnr 32
expect 0 encode "$picture" y.dds --texture ycocg
expect 0 compare "$picture" y.dds --min-psnr 38
expect 1 decode y.dds small.png --mip 1
expect 0 encode "$picture" a.tif --big-endian --rows-per-strip 100
expect 0 info a.tif --json
contains out '"byteOrder":"big".*"width":599.*"strips":4'
expect 0 compare "$picture" a.tif --exact
expect 1 decode a.tif page.png --page 1

# From any format to any other, with conversions and what is lost on the way.
expect 0 encode a.jpg a.tif --compression lzw --tile 64,48
expect 0 compare a.jpg a.tif --exact
expect 0 decode a.tif part.png --crop 100,50,70,60
expect 0 info part.png --json
contains out '"width":70,"height":60'
expect 1 decode a.tif part.png --crop 100,50,700,60
expect 0 encode "$picture" grey.jp2 --grey --depth 16
expect 0 info grey.jp2 --json
contains out '"picture":.*"colours":"grey","bits":16'
expect 1 encode grey.jp2 b.jpg
contains err "depth of 8"
expect 0 encode grey.jp2 b.jpg --depth 8
printf 'P7\nWIDTH 2\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n\377\0\0\200\0\377\0\377' >clear.pam
expect 1 encode clear.pam b.jpg
contains err "background"
expect 0 encode clear.pam b.jpg --background white --quality 100 --sampling 444
expect 0 encode clear.pam clear.png
expect 0 compare clear.pam clear.png --exact

# Several inputs; each failure is told, and the others are done.
mkdir many
cp a.jpg many/one.jpg
cp scans many/two.jpg
expect 5 encode many/one.jpg many/two.jpg a.dds --output-dir many --format png
contains err "two.jpg: not supported"
[ -e many/one.png ] && [ -e many/a.png ] || { echo "outputs are missing"; failures=$((failures + 1)); }
expect 1 encode many/one.jpg a/one.tif --output-dir many --format png
contains err "two inputs"

# What stood there stays where writing fails.
cp a.jpg keep.jpg
(ulimit -f 8; trap '' XFSZ; "$tool" encode "$picture" keep.jpg -q 100 2>err)
[ $? -eq 2 ] && cmp -s a.jpg keep.jpg || { echo "a failed write changed the file"; failures=$((failures + 1)); }
[ "$(ls keep.jpg*)" = keep.jpg ] || { echo "something is left beside the file"; failures=$((failures + 1)); }

expect 1 encode "$picture"
expect 1 encode "$picture" b.jpg -q 101
expect 1 encode "$picture" b.bmp
contains err "no format has this ending"
expect 1 encode "$picture" b.jp2 --quality 50
contains err "--quality means nothing here: the output is JPEG 2000"
expect 1 encode "$picture" b.jpg --rate 1
expect 1 decode a.jpg b.png --reduce 1
expect 1 decode a.jpg b.png --page 1
expect 1 encode "$picture" b.jp2 --psnr 35,5
expect 2 decode missing.jpg b.png
contains err "missing.jpg"
expect 2 decode a.jpg /no/such/folder/b.png
head -c 30000 a.jpg >cut.jpg
expect 3 decode cut.jpg b.png
contains err "damaged.*at byte (29...|30000).*--keep-going"
[ -e b.png ] && { echo "an output in spite of the error"; failures=$((failures + 1)); }
expect 0 --threads 1 decode cut.jpg b.png --keep-going
contains err "warning"
expect 5 decode scans b.png
printf 'GIF89a' >picture.gif
expect 5 decode picture.gif b.png
contains err "a GIF file"
expect 6 decode a.jpg b.png --max-pixels 1000
expect 0 --version
contains out "libzeljy8"
expect 0 --help
contains out "Exit codes"
expect 0 --manual
sed 's/\\f[BIR]//g; s/\\-/-/g' out >page # without the formatter's escapes
for command in encode decode info compare; do
  expect 0 $command --help
  contains out "zelcodec $command"
  contains page "^zelcodec $command "
  for option in $(grep -oE '^  (-.,)?--[a-z0-9-]+' out | grep -oE -- '--.*'); do contains page "^(-., )?$option( |\$)"; done
done
if command -v groff >/dev/null; then
  expect 0 --manual
  groff -man -ww -Tascii out 2>&1 >/dev/null | grep . && failures=$((failures + 1))
fi
exit $((failures > 0))
