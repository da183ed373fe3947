#!/usr/bin/env bash
# report.sh ZELCODEC IMAGES OUT: writes OUT/report.html, with everything that it shows beside it.
set -euo pipefail
tool=$1 images=$2 out=$3
rm -rf "$out"
mkdir -p "$out"

# Quality and sampling of each row of the tables; pictures are shown for those with a star.
settings=("95 444 *" "90 444" "90 422" "90 420 *" "75 420 *" "50 420" "30 420 *" "10 420")
gain=8

# The part of each picture that is shown pixel for pixel: x y width height.
declare -A crop=([dandelion]="860,180,400,300" [canyon]="900,640,400,300" [coffee]="120,60,400,300")

json() { sed -n "s/.*\"$2\":\([0-9.a-z]*\).*/\1/p" <<<"$1"; }
kb() { awk -v n="$1" 'BEGIN {printf "%.1f", n / 1024}'; }
figure() {  # FILE CAPTION
  printf '<figure><img src="%s" alt="%s"><figcaption>%s</figcaption></figure>\n' "$1" "$2" "$2"
}

page=$out/report.html
cat >"$page" <<'HTML'
<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Photographs through the codecs and back</title>
<style>
  :root { color-scheme: light; }
  body { font: 16px/1.5 system-ui, sans-serif; color: #222; background: #fafaf8; }
  body { max-width: 1280px; margin: 0 auto; padding: 2rem 1.5rem 4rem; }
  h1 { font-size: 1.9rem; margin: 0 0 .5rem; }
  h2 { font-size: 1.4rem; margin: 3rem 0 .5rem; border-top: 1px solid #ddd; padding-top: 2rem; }
  h2::first-letter { text-transform: uppercase; }
  h3 { font-size: 1.05rem; margin: 2rem 0 .5rem; }
  p { max-width: 46rem; }
  table { border-collapse: collapse; margin: 1rem 0; font-variant-numeric: tabular-nums; }
  th, td { text-align: right; padding: .3rem 1rem .3rem 0; border-bottom: 1px solid #e4e4e0; white-space: nowrap; }
  tr > :first-child { text-align: left; }
  th { font-weight: 600; color: #555; font-size: .85rem; vertical-align: bottom; }
  .row { display: flex; flex-wrap: wrap; gap: 1rem; align-items: flex-end; }
  figure { margin: 0; flex: 0 1 auto; min-width: 0; }
  figure img { display: block; max-width: 100%; height: auto; background: #eee; }
  .even figure { flex: 1 1 0; }
  .sizes figure { max-width: 46%; }
  figcaption { font-size: .85rem; color: #555; padding-top: .25rem; }
  .facts { color: #555; font-size: .95rem; }
</style>
<h1>Photographs through the codecs and back</h1>
<p>Each photograph is coded at several qualities and chroma samplings and decoded again by <code>zelcodec</code>. A piece of
it is shown pixel for pixel: the original, what came back, and the difference, magnified around mid-grey.</p>
<p class="facts">PSNR is over all three channels; SSIM is that of the luminance (11&#8239;&times;&#8239;11 Gaussian window).
Times are those of the codec alone, one thread, the best of five runs.</p>
HTML

for path in "$images"/dandelion.png "$images"/canyon.png "$images"/coffee.png; do
  name=$(basename "$path" .png)
  size=$("$tool" info "$path" --json)
  width=$(json "$size" width) height=$(json "$size" height)
  whole=$([ "$width" -gt 1000 ] && echo 1/4 || echo 1/2)
  echo "$name: $width x $height"
  shown=$out/$name-shown.html table=$out/$name-table.html
  : >"$shown"
  : >"$table"
  for setting in "${settings[@]}"; do
    read -r quality sampling star <<<"$setting"
    base=$name-q$quality-$sampling
    jpeg=$out/$base.jpg
    coded=$("$tool" encode "$path" "$jpeg" -q "$quality" -s "$sampling" --time --repeat 5 --threads 1 2>&1 | grep ' ms$')
    decoded=$("$tool" decode "$jpeg" - --time --repeat 5 --threads 1 2>&1 >/dev/null | grep ' ms$')
    save=()
    if [ -n "$star" ]; then
      save=(--crop "${crop[$name]}" --save-second "$out/$base.png" --diff "$out/$base-difference.png" --gain $gain)
      [ -e "$out/$name.png" ] || save+=(--save-first "$out/$name.png")
    fi
    result=$("$tool" compare "$path" "$jpeg" --json "${save[@]}")
    bytes=$(stat -c %s "$jpeg")
    psnr=$(printf %.2f "$(json "$result" psnr)") ssim=$(printf %.4f "$(json "$result" ssim)")
    bits=$(awk -v b="$bytes" -v w="$width" -v h="$height" 'BEGIN {printf "%.2f", 8 * b / w / h}')
    layout="4:${sampling:1:1}:${sampling:2:1}"
    echo "  quality $quality, $layout: $(kb "$bytes") KB, $psnr dB"
    { printf '<tr>' && printf '<td>%s' "$quality" "$layout" "$(kb "$bytes")" "$bits" "$psnr" "$ssim" "${coded% ms}" \
        "${decoded% ms}" && echo '</tr>'; } >>"$table"
    if [ -n "$star" ]; then
      {
        echo "<h3>Quality $quality, $layout</h3>"
        echo "<p class=\"facts\">$(kb "$bytes") KB &middot; $bits bits a pixel &middot; PSNR $psnr dB &middot; SSIM $ssim</p>"
        echo '<div class="row">'
        figure "$name.png" "Original"
        figure "$base.png" "Decoded"
        figure "$base-difference.png" "Difference &times; $gain"
        echo '</div>'
      } >>"$shown"
    fi
  done
  {
    echo "<h2>$name</h2>"
    echo "<p class=\"facts\">$width &times; $height pixels, $(kb "$(stat -c %s "$path")") KB as PNG</p>"
    figure "$name-whole.png" "The whole picture, decoded at $whole"
    echo '<table><tr><th>Quality<th>Sampling<th>Size, KB<th>Bits a pixel<th>PSNR, dB<th>SSIM'
    echo '<th>Encode, ms<th>Decode, ms</tr>'
    cat "$table"
    echo '</table>'
    cat "$shown"
  } >>"$page"
  "$tool" decode "$out/$name-q90-420.jpg" "$out/$name-whole.png" --scale "$whole" --png-level 3
  rm "$shown" "$table"
done

# Reduced sizes, from the largest picture.
{
  echo '<h2>Reduced sizes</h2>'
  echo '<p>From the dandelion at quality 90, 4:2:0: decoded straight to the smaller size, without the full one in between.</p>'
  echo '<table><tr><th>Size<th>Pixels<th>Decode, ms</tr>'
} >>"$page"
source=$out/dandelion-q90-420.jpg
pictures=
for scale in 1 1/2 1/4 1/8; do
  file=dandelion-at-${scale//\//-}.png
  took=$("$tool" decode "$source" "$out/$file" --scale "$scale" --png-level 3 --time --repeat 5 --threads 1 2>&1 | grep ' ms$')
  size=$("$tool" info "$out/$file" --json)
  pixels="$(json "$size" width) &times; $(json "$size" height)"
  printf '<tr><td>%s<td>%s<td>%s</tr>\n' "$scale" "$pixels" "${took% ms}" >>"$page"
  if [ "$scale" = 1 ]; then rm "$out/$file"; else pictures+=$(figure "$file" "$scale: $pixels"); fi
done
printf '</table>\n<div class="row sizes">\n%s\n</div>\n' "$pictures" >>"$page"

# Kinds of JPEG and JPEG 2000 that keep or order the same picture differently.
{
  echo '<h2>Kinds of files</h2>'
  echo '<p>The coffee at quality 90, 4:2:0, by ways of coding that give the same picture, and without loss.</p>'
  echo '<table><tr><th>Kind<th>Size, KB<th>Encode, ms<th>Decode, ms</tr>'
} >>"$page"
kind() {  # NAME FILE OPTIONS...
  local coded decoded
  coded=$("$tool" encode "$images/coffee.png" "$out/$2" "${@:3}" --time --repeat 5 --threads 1 2>&1 | grep ' ms$')
  decoded=$("$tool" decode "$out/$2" - --time --repeat 5 --threads 1 2>&1 >/dev/null | grep ' ms$')
  printf '<tr><td>%s<td>%s<td>%s<td>%s</tr>\n' "$1" "$(kb "$(stat -c %s "$out/$2")")" "${coded% ms}" "${decoded% ms}" >>"$page"
}
kind "JPEG, baseline" kind-baseline.jpg -q 90
kind "JPEG, fitted Huffman tables" kind-optimised.jpg -q 90 --optimise
kind "JPEG, progressive" kind-progressive.jpg -q 90 --progressive
kind "JPEG, lossless" kind-lossless.jpg --lossless --predictor 4 --optimise
kind "JPEG 2000, lossless" kind-lossless.jp2
echo '</table>' >>"$page"

# Rate and distortion: points of both formats as lines "format bits psnr", and their curves.
curves() {  # <POINTS
  awk '
    { x[NR] = $2; y[NR] = $3; f[NR] = $1 }
    function px(b) { return 60 + 520 * b / 3 }
    function py(d) { return 330 - 300 * (d - 20) / 30 }
    END {
      print "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 620 380\" width=\"620\" font-family=\"system-ui, sans-serif\" font-size=\"15\">"
      print "<rect width=\"620\" height=\"380\" fill=\"#fff\"/>"
      for (d = 20; d <= 50; d += 5)
        printf "<path d=\"M60 %.1fH580\" stroke=\"#e4e4e0\"/><text x=\"52\" y=\"%.1f\" text-anchor=\"end\">%d</text>\n", py(d), py(d) + 4, d
      for (b = 0; b <= 3; b += 0.5)
        printf "<path d=\"M%.1f 30V330\" stroke=\"#e4e4e0\"/><text x=\"%.1f\" y=\"348\" text-anchor=\"middle\">%.1f</text>\n", px(b), px(b), b
      print "<text x=\"320\" y=\"370\" text-anchor=\"middle\">bits a pixel</text><text x=\"60\" y=\"20\">PSNR, dB</text>"
      colour["JPEG"] = "#b3541e"; colour["JPEG2000"] = "#1e6fb3"
      title["JPEG"] = "JPEG"; title["JPEG2000"] = "JPEG 2000"
      for (k in colour) {
        line = ""; last = 0
        for (i = 1; i <= NR; ++i) if (f[i] == k && x[i] <= 3) {
          line = line (line == "" ? "M" : "L") sprintf("%.1f %.1f", px(x[i]), py(y[i]))
          printf "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"3\" fill=\"%s\"/>\n", px(x[i]), py(y[i]), colour[k]
          last = i
        }
        printf "<path d=\"%s\" fill=\"none\" stroke=\"%s\" stroke-width=\"2\"/>\n", line, colour[k]
        printf "<text x=\"%.1f\" y=\"%.1f\" fill=\"%s\" text-anchor=\"end\">%s</text>\n", px(x[last]), py(y[last]) + 20, colour[k], title[k]
      }
      print "</svg>"
    }'
}
{
  echo '<h2>JPEG 2000</h2>'
  echo '<p>Quality by size: JPEG at 4:2:0 and qualities from 5 to 95, JPEG 2000 at rates from 0.1 to 3 bits a pixel.</p>'
} >>"$page"
for path in "$images"/dandelion.png "$images"/canyon.png "$images"/coffee.png; do
  name=$(basename "$path" .png)
  size=$("$tool" info "$path" --json)
  pixels=$(($(json "$size" width) * $(json "$size" height)))
  echo "$name: rate and distortion"
  : >"$out/points"
  point() {  # FORMAT FILE OPTIONS...
    "$tool" encode "$path" "$out/$2" "${@:3}"
    local result
    result=$("$tool" compare "$path" "$out/$2" --json)
    awk -v f="$1" -v b="$(stat -c %s "$out/$2")" -v n="$pixels" -v d="$(json "$result" psnr)" \
      'BEGIN {printf "%s %.4f %.3f\n", f, 8 * b / n, d}' >>"$out/points"
  }
  for quality in 5 10 20 35 50 65 80 90 95; do point JPEG point.jpg -q $quality -s 420; done
  for rate in 0.1 0.25 0.5 0.75 1 1.5 2 3; do point JPEG2000 "$name-$rate.jp2" --rate $rate; done
  curves <"$out/points" >"$out/$name-curves.svg"
  { echo "<h3>${name^}</h3><div class=\"row even\">" && figure "$name-curves.svg" "PSNR by bits a pixel"; } >>"$page"
  for rate in 0.25 1; do
    "$tool" compare "$path" "$out/$name-$rate.jp2" --crop "${crop[$name]}" --save-second "$out/$name-$rate.png" >/dev/null
    figure "$name-$rate.png" "JPEG 2000 at $rate bits a pixel" >>"$page"
  done
  echo '</div>' >>"$page"
done
rm -f "$out/points" "$out/point.jpg"

# Textures: each format's size, quality and times, pieces pixel for pixel, and the mip levels of one file.
{
  echo '<h2>Textures</h2>'
  echo '<p>Blocks of 4&#8239;&times;&#8239;4 pixels in fixed space, coded in a single pass. YCoCg in DXT5 keeps the luma in the'
  echo 'opacity part and takes twice the space of DXT1.</p>'
} >>"$page"
for path in "$images"/dandelion.png "$images"/canyon.png "$images"/coffee.png; do
  name=$(basename "$path" .png)
  size=$("$tool" info "$path" --json)
  pixels=$(($(json "$size" width) * $(json "$size" height)))
  echo "$name: textures"
  shown=$(figure "$name.png" "Original")
  {
    echo "<h3>${name^}</h3>"
    echo '<table><tr><th>Format<th>Size, KB<th>Bits a pixel<th>PSNR, dB<th>SSIM<th>Encode, ms<th>Decode, ms</tr>'
  } >>"$page"
  for format in dxt1 dxt5 ycocg; do
    file=$name-$format
    coded=$("$tool" encode "$path" "$out/$file.dds" --texture $format --mips 1 --time --repeat 5 --threads 1 2>&1 | grep ' ms$')
    decoded=$("$tool" decode "$out/$file.dds" - --time --repeat 5 --threads 1 2>&1 >/dev/null | grep ' ms$')
    result=$("$tool" compare "$path" "$out/$file.dds" --json --crop "${crop[$name]}" --save-second "$out/$file.png" \
      --diff "$out/$file-difference.png" --gain $gain)
    bytes=$(stat -c %s "$out/$file.dds")
    awk -v f="${format^^}" -v b="$bytes" -v n="$pixels" -v p="$(json "$result" psnr)" -v s="$(json "$result" ssim)" \
      -v e="${coded% ms}" -v d="${decoded% ms}" 'BEGIN {
        sub("YCOCG", "YCoCg in DXT5", f)
        printf "<tr><td>%s<td>%.1f<td>%.2f<td>%.2f<td>%.4f<td>%s<td>%s</tr>\n", f, b / 1024, 8 * b / n, p, s, e, d }' >>"$page"
    case $format in
      dxt1) shown+=$(figure "$file.png" "DXT1")$(figure "$file-difference.png" "Difference &times; $gain") ;;
      dxt5) shown+=$(figure "$file.png" "DXT5") ;;
      ycocg) shown+=$(figure "$file.png" "YCoCg in DXT5")$(figure "$file-difference.png" "Difference &times; $gain") ;;
    esac
  done
  printf '</table>\n<div class="row">\n%s\n</div>\n' "$shown" >>"$page"
done
"$tool" encode "$images/coffee.png" "$out/coffee-mips.dds" --texture dxt1 --mips 0
pictures=
for level in 0 1 2 3; do
  "$tool" decode "$out/coffee-mips.dds" "$out/coffee-mip-$level.png" --mip $level --png-level 3
  size=$("$tool" info "$out/coffee-mip-$level.png" --json)
  pictures+=$(figure "coffee-mip-$level.png" "$(json "$size" width) &times; $(json "$size" height)")
done
{
  echo '<h3>Mip levels</h3>'
  printf '<p>From one file of %s KB in DXT1.</p>\n' "$(kb "$(stat -c %s "$out/coffee-mips.dds")")"
  printf '<div class="row">\n%s\n</div>\n' "$pictures"
} >>"$page"

# TIFF files, packed and as they are.
{
  echo '<h2>TIFF</h2>'
  echo '<p>PackBits gains where bytes repeat, which in photographs they hardly do; it never costs more than a percent.</p>'
  echo '<table><tr><th>Picture<th>Uncompressed, KB<th>PackBits, KB<th>Encode, ms<th>Decode, ms</tr>'
} >>"$page"
tiff() {  # TITLE PICTURE OPTIONS...
  local coded decoded
  "$tool" encode "$2" "$out/plain.tif" --compression none "${@:3}"
  coded=$("$tool" encode "$2" "$out/packed.tif" "${@:3}" --time --repeat 5 --threads 1 2>&1 | grep ' ms$')
  decoded=$("$tool" decode "$out/packed.tif" - --time --repeat 5 --threads 1 2>&1 >/dev/null | grep ' ms$')
  printf '<tr><td>%s<td>%s<td>%s<td>%s<td>%s</tr>\n' "$1" "$(kb "$(stat -c %s "$out/plain.tif")")" \
    "$(kb "$(stat -c %s "$out/packed.tif")")" "${coded% ms}" "${decoded% ms}" >>"$page"
}
tiff "The coffee" "$images/coffee.png"
tiff "The coffee, grey" "$images/coffee.png" --grey
tiff "The dandelion" "$images/dandelion.png"
tiff "A difference between two pictures of the coffee" "$out/coffee-q95-444-difference.png"
echo '</table>' >>"$page"
rm -f "$out/plain.tif" "$out/packed.tif"
echo '</html>' >>"$page"
