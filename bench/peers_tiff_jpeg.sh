#!/bin/sh
# TIFF PackBits and JPEG (quality 75, 2x2 chroma) save and load side by side
# with ImageMagick, on the same 4000x3000 24-bit picture (the one
# bench_tiff_jpeg.cpp makes; 12 Mpixels).
#
# Ours is timed through kv_bench: the whole save or load handler, file
# included, the picture already in memory for a save. ImageMagick is timed as
# whole commands; for its writers also as their share: the command less
# "convert photo.ppm null:", the cost of reading the picture. Its readers are
# timed on our own photo.tif and photo.jpg, written to null:. (ImageMagick
# names TIFF's PackBits "RLE".) Figures are CPU
# seconds, user + sys, the best of RUNS runs; the ratios are ours / theirs,
# from one run of this script (goal: at most 1.1).
#
# Usage: bench/peers_tiff_jpeg.sh [build-dir]   (default build/native, built
# with KV_BENCH on: cmake --build build/native --target kv_bench)
set -eu

. "$(dirname "$0")/peers_common.sh"

# The picture as photo.ppm, photo.tif and photo.jpg, and our times.
KV_BENCH_TIFF_JPEG_DUMP=$work "$bench" --benchmark_filter='^BM_(TiffPackBits|Jpeg)' \
    --benchmark_repetitions="$runs" --benchmark_format=json >"$work/ours.json" 2>/dev/null

python3 - "$work/ours.json" >"$work/ours.txt" <<'EOF'
import json, sys
best = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("run_type") != "iteration":
        continue
    name = b["run_name"].split("/")[0]
    t = b["cpu_time"] / 1000.0  # ms -> s
    best[name] = min(best.get(name, t), t)
for name, t in best.items():
    print(name, "%.4f" % t)
EOF
ours() { awk -v n="$1" '$1 == n { print $2 }' "$work/ours.txt"; }

cd "$work"
read_ppm=$(cpu sh -c "$convert photo.ppm null:")
im_tif_save=$(cpu sh -c "$convert photo.ppm -compress RLE im.tif")
im_tif_load=$(cpu sh -c "$convert photo.tif null:")
im_jpg_save=$(cpu sh -c "$convert photo.ppm -quality 75 -sampling-factor 2x2 im.jpg")
im_jpg_load=$(cpu sh -c "$convert photo.jpg null:")
im_tif_writer=$(awk "BEGIN { printf \"%.3f\", $im_tif_save - $read_ppm }")
im_jpg_writer=$(awk "BEGIN { printf \"%.3f\", $im_jpg_save - $read_ppm }")

line() { printf '%-40s %10s %10s %8s\n' "$1" "$2" "$3" "$(awk "BEGIN { printf \"%.2f\", $2 / $3 }")"; }
printf '%-40s %10s %10s %8s\n' "4000x3000 24-bit, CPU s" "ours" "ImageMagick" "ratio"
line "TIFF PackBits save (IM writer share)" "$(ours BM_TiffPackBitsSave)" "$im_tif_writer"
line "TIFF PackBits save (IM whole command)" "$(ours BM_TiffPackBitsSave)" "$im_tif_save"
line "TIFF PackBits load" "$(ours BM_TiffPackBitsLoad)" "$im_tif_load"
line "JPEG q75 2x2 save (IM writer share)" "$(ours BM_JpegSave)" "$im_jpg_writer"
line "JPEG q75 2x2 save (IM whole command)" "$(ours BM_JpegSave)" "$im_jpg_save"
line "JPEG load" "$(ours BM_JpegLoad)" "$im_jpg_load"
printf 'sizes: ours photo.tif %s, IM im.tif %s, ours photo.jpg %s, IM im.jpg %s bytes\n' \
    "$(stat -c %s photo.tif)" "$(stat -c %s im.tif)" "$(stat -c %s photo.jpg)" "$(stat -c %s im.jpg)"
# Our TIFF holds the picture's own pixels.
want=$(tail -c 36000000 photo.ppm | sha256sum | cut -d' ' -f1)
[ "$("$convert" photo.tif -depth 8 rgb:- | sha256sum | cut -d' ' -f1)" = "$want" ] &&
    echo "our TIFF decodes (ImageMagick) to the picture: yes" || echo "our TIFF decodes to the picture: NO"
