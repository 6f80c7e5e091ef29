#!/bin/sh
# PCX and TGA side by side: ImageMagick's convert against ours on the same
# 4000x3000 pictures (the ones bench_pcx_tga.cpp makes: a 24-bit landscape and
# its 8-bit reduction to a fixed palette, so no tool has to quantise).
#
# Ours is timed through kv_bench (the writer or reader alone). ImageMagick is
# timed as a whole command and as its coder's share: for writing, that less
# the same command into null:, for reading, that less reading a 1x1 picture.
# Figures are CPU seconds, user + sys, the best of RUNS runs; the ratios are
# from one run of this script. Every file of ours must decode (ImageMagick) to
# the picture it was written from.
#
# Usage: bench/peers_pcx_tga.sh [build-dir]   (default build/native, built with
# KV_BENCH on: cmake --build build/native --target kv_bench)
set -eu

. "$(dirname "$0")/peers_common.sh"

# The pictures and our files of them, and our times (best CPU time of RUNS repetitions).
KV_BENCH_PCX_TGA_DUMP=$work "$bench" --benchmark_filter='^(Pcx|Tga)(En|De)code' \
    --benchmark_repetitions="$runs" --benchmark_format=json >"$work/ours.json" 2>/dev/null
ours() {
    python3 - "$work/ours.json" "$1" <<'EOF'
import json, sys
runs = [b for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("run_type") == "iteration" and b["run_name"] == sys.argv[2]]
print("%.4f" % (min(b["cpu_time"] for b in runs) / 1000.0))  # ms -> s
EOF
}

size() { stat -c %s "$1"; }
pixels() { "$convert" "$1" -auto-orient -depth 8 rgb:- | sha256sum | cut -d' ' -f1; }

printf 'P3\n1 1\n255\n0 0 0\n' >"$work/tiny.ppm"
startup=$(cpu "$convert" "$work/tiny.ppm" null:)
read8=$(cpu "$convert" "$work/picture8.bmp" null:)
read24=$(cpu "$convert" "$work/picture24.ppm" null:)
want8=$(pixels "$work/picture8.bmp")
want24=$(pixels "$work/picture24.ppm")

printf '%-22s %9s %9s %9s %8s %8s %11s %11s\n' "4000x3000" "ours s" "IM s" "IM coder" "IM/ours" "coder/" "our bytes" "IM bytes"

# name, our benchmark, source, its read time, IM options, extension, our file
encode() {
    im_whole=$(cpu "$convert" "$3" $5 "$work/im.$6")
    im_coder=$(awk "BEGIN { printf \"%.3f\", $im_whole - $4 }")
    o=$(ours "$2")
    printf '%-22s %9s %9s %9s %8.2f %8.2f %11s %11s\n' "$1" "$o" "$im_whole" "$im_coder" \
        "$(awk "BEGIN { print $im_whole / $o }")" "$(awk "BEGIN { print $im_coder / $o }")" \
        "$(size "$work/$7")" "$(size "$work/im.$6")"
}
# name, our benchmark, our file
decode() {
    im_whole=$(cpu "$convert" "$work/$3" null:)
    im_coder=$(awk "BEGIN { printf \"%.3f\", $im_whole - $startup }")
    o=$(ours "$2")
    printf '%-22s %9s %9s %9s %8.2f %8.2f\n' "$1" "$o" "$im_whole" "$im_coder" \
        "$(awk "BEGIN { print $im_whole / $o }")" "$(awk "BEGIN { print $im_coder / $o }")"
}

encode "PCX write 8-bit" PcxEncode8Bit "$work/picture8.bmp" "$read8" "" pcx ours8.pcx
encode "PCX write 24-bit" PcxEncode24Bit "$work/picture24.ppm" "$read24" "" pcx ours24.pcx
encode "TGA write 8-bit" TgaEncode8BitRaw "$work/picture8.bmp" "$read8" "-compress none" tga ours8_raw.tga
encode "TGA write 8-bit RLE" TgaEncode8BitRle "$work/picture8.bmp" "$read8" "-compress RLE" tga ours8_rle.tga
encode "TGA write 24-bit" TgaEncode24BitRaw "$work/picture24.ppm" "$read24" "-compress none" tga ours24_raw.tga
encode "TGA write 24-bit RLE" TgaEncode24BitRle "$work/picture24.ppm" "$read24" "-compress RLE" tga ours24_rle.tga
decode "PCX read 8-bit" PcxDecode8Bit ours8.pcx
decode "PCX read 24-bit" PcxDecode24Bit ours24.pcx
decode "TGA read 8-bit" TgaDecode8BitRaw ours8_raw.tga
decode "TGA read 8-bit RLE" TgaDecode8BitRle ours8_rle.tga
decode "TGA read 24-bit" TgaDecode24BitRaw ours24_raw.tga
decode "TGA read 24-bit RLE" TgaDecode24BitRle ours24_rle.tga
echo "(IM coder: writing = whole less reading the source into null:; reading = whole less a 1x1 read, $startup s)"

for f in ours8.pcx ours8_raw.tga ours8_rle.tga; do
    [ "$(pixels "$work/$f")" = "$want8" ] && echo "$f decodes (ImageMagick) to the 8-bit picture: yes" ||
        echo "$f decodes to the 8-bit picture: NO"
done
for f in ours24.pcx ours24_raw.tga ours24_rle.tga; do
    [ "$(pixels "$work/$f")" = "$want24" ] && echo "$f decodes (ImageMagick) to the 24-bit picture: yes" ||
        echo "$f decodes to the 24-bit picture: NO"
done
