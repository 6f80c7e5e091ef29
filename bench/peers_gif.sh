#!/bin/sh
# GIF writing side by side: ImageMagick's convert against ours on the same
# 4000x3000 8-bit picture (the one bench_gif.cpp makes: gradients and noise on
# a fixed 256-colour palette, so no tool has to quantise).
#
# Ours is timed through kv_bench (the encoder alone) and, once kvconvert reads
# 8-bit BMP files, through kvconvert as a whole command. ImageMagick is timed
# as a whole command (convert picture.bmp out.gif) and as its writer's share
# (that less convert picture.bmp null:). Figures are CPU seconds, user + sys,
# the best of RUNS runs; the ratios are from one run of this script.
#
# Usage: bench/peers_gif.sh [build-dir]   (default build/native, built with
# KV_BENCH on: cmake --build build/native --target kv_bench kvconvert)
set -eu

default_runs=5
. "$(dirname "$0")/peers_common.sh"
kvconvert=$build/kvconvert

# The picture, as picture.bmp / picture.ppm / picture.gif, and our encoder's time.
KV_BENCH_GIF_DUMP=$work "$bench" --benchmark_filter='GifEncode' --benchmark_repetitions="$runs" \
    --benchmark_format=json >"$work/ours.json" 2>/dev/null

ours=$(python3 - "$work/ours.json" <<'EOF'
import json, sys
runs = [b for b in json.load(open(sys.argv[1]))["benchmarks"] if b.get("run_type") == "iteration"]
print("%.4f" % (min(b["cpu_time"] for b in runs) / 1000.0))  # ms -> s
EOF
)

im_whole=$(cpu "$convert" "$work/picture.bmp" "$work/im.gif")
im_read=$(cpu "$convert" "$work/picture.bmp" null:)
im_writer=$(awk "BEGIN { printf \"%.3f\", $im_whole - $im_read }")

kv_whole="-"
if "$kvconvert" -q -t gif -o "$work/kv.gif" "$work/picture.bmp" >/dev/null 2>&1; then
    kv_whole=$(cpu "$kvconvert" -q --force -t gif -o "$work/kv.gif" "$work/picture.bmp")
fi

# Both files must hold the picture's own pixels.
want=$(tail -c 36000000 "$work/picture.ppm" | sha256sum | cut -d' ' -f1)
ours_px=$("$convert" "$work/picture.gif" -depth 8 rgb:- | sha256sum | cut -d' ' -f1)
im_px=$("$convert" "$work/im.gif" -depth 8 rgb:- | sha256sum | cut -d' ' -f1)

printf '%-44s %10s %10s\n' "4000x3000 8-bit -> GIF" "CPU s" "bytes"
printf '%-44s %10s %10s\n' "ours, encoder (kv_bench)" "$ours" "$(stat -c %s "$work/picture.gif")"
printf '%-44s %10s\n' "ours, kvconvert picture.bmp" "$kv_whole"
printf '%-44s %10s %10s\n' "ImageMagick convert picture.bmp out.gif" "$im_whole" "$(stat -c %s "$work/im.gif")"
printf '%-44s %10s\n' "ImageMagick convert picture.bmp null:" "$im_read"
printf '%-44s %10s\n' "ImageMagick GIF writer (difference)" "$im_writer"
awk "BEGIN { printf \"ratio ImageMagick whole command / our encoder: %.2f\n\", $im_whole / $ours }"
awk "BEGIN { printf \"ratio ImageMagick writer share / our encoder:  %.2f\n\", $im_writer / $ours }"
if [ "$kv_whole" != "-" ]; then
    awk "BEGIN { printf \"ratio ImageMagick / kvconvert, whole commands:  %.2f\n\", $im_whole / $kv_whole }"
fi
[ "$ours_px" = "$want" ] && echo "our GIF decodes (ImageMagick) to the picture: yes" || echo "our GIF decodes to the picture: NO"
[ "$im_px" = "$want" ] && echo "ImageMagick's GIF holds the picture unquantised: yes" || echo "ImageMagick's GIF holds the picture: NO"
