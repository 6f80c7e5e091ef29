#!/bin/sh
# Colour reduction side by side: ImageMagick and netpbm against Optimized Cut
# on the same 4000x3000 24-bit photo-like picture (the one bench_median_cut.cpp
# makes: value noise at several scales with grain on every pixel).
#
# Ours is timed through kv_bench (the reduction alone, the picture already in
# memory). The peers are timed as whole commands and, for ImageMagick, also
# as their reduction's share: the command less "convert photo.ppm null:", the
# cost of reading the picture. ImageMagick writes to null: so no encoder is
# timed. Figures are CPU seconds, user + sys, the best of RUNS runs (netpbm,
# which takes minutes, the best of SLOW_RUNS, by default one), children
# included, so pnmquant counts its pnmcolormap and pnmremap; the ratios are
# from one run of this script.
#
# Usage: bench/peers_colour.sh [build-dir]   (default build/native, built with
# KV_BENCH on: cmake --build build/native --target kv_bench)
set -eu

slow_runs=${SLOW_RUNS:-1}
. "$(dirname "$0")/peers_common.sh"
command -v pnmcolormap >/dev/null || { echo "netpbm not found" >&2; exit 1; }

# The picture as photo.ppm, and our times.
KV_BENCH_PHOTO_DUMP=$work "$bench" --benchmark_filter='^(OptimizedCut|FlatCut256)/' \
    --benchmark_repetitions="$runs" --benchmark_format=json >"$work/ours.json" 2>/dev/null

# Best CPU seconds of each of our benchmarks, as "name seconds" lines.
python3 - "$work/ours.json" >"$work/ours.txt" <<'EOF'
import json, sys
best = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("run_type") != "iteration":
        continue
    name = b["run_name"].split("/min_time")[0]
    t = b["cpu_time"] / 1000.0  # ms -> s
    best[name] = min(best.get(name, t), t)
for name, t in best.items():
    print(name, "%.4f" % t)
EOF
ours() { awk -v n="$1" '$1 == n { print $2 }' "$work/ours.txt"; }


photo=$work/photo.ppm
# The fixed 3-3-2 palette of Flat Cut to 256, as a 256x1 picture for -remap.
python3 - "$work/pal332.ppm" <<'EOF'
import sys
level = lambda v: v * 36 + v // 2
with open(sys.argv[1], "wb") as f:
    f.write(b"P6\n256 1\n255\n")
    for i in range(256):
        f.write(bytes((level(i % 8), level(i // 8 % 8), (i // 64) * 85)))
EOF
pnmcolormap 256 "$photo" >"$work/map256.ppm" 2>/dev/null
pnmcolormap 16 "$photo" >"$work/map16.ppm" 2>/dev/null

im_read=$(cpu sh -c "$convert '$photo' null:")
im_16=$(cpu sh -c "$convert '$photo' +dither -colors 16 null:")
im_256=$(cpu sh -c "$convert '$photo' +dither -colors 256 null:")
im_16fs=$(cpu sh -c "$convert '$photo' -dither FloydSteinberg -colors 16 null:")
im_256fs=$(cpu sh -c "$convert '$photo' -dither FloydSteinberg -colors 256 null:")
im_332=$(cpu sh -c "$convert '$photo' +dither -remap '$work/pal332.ppm' null:")
nq_256=$(runs=$slow_runs; cpu sh -c "pnmquant 256 '$photo'")
nq_256fs=$(runs=$slow_runs; cpu sh -c "pnmquant -floyd 256 '$photo'")
nq_16=$(runs=$slow_runs; cpu sh -c "pnmquant 16 '$photo'")
nr_256=$(runs=$slow_runs; cpu sh -c "pnmremap -nofloyd -mapfile='$work/map256.ppm' '$photo'")
nr_256fs=$(runs=$slow_runs; cpu sh -c "pnmremap -floyd -mapfile='$work/map256.ppm' '$photo'")
nr_16fs=$(runs=$slow_runs; cpu sh -c "pnmremap -floyd -mapfile='$work/map16.ppm' '$photo'")

o16=$(ours OptimizedCut/colours:16/dither:0)
o256=$(ours OptimizedCut/colours:256/dither:0)
o16fs=$(ours OptimizedCut/colours:16/dither:1)
o256fs=$(ours OptimizedCut/colours:256/dither:1)
flat=$(ours FlatCut256)

net() { awk "BEGIN { printf \"%.3f\", $1 - $im_read }"; }
row() {  # label, ours, peer label, peer seconds
    awk -v a="$1" -v o="$2" -v b="$3" -v p="$4" \
        'BEGIN { printf "%-30s %8.3f  %-52s %8.3f %7.1fx\n", a, o, b, p, p / o }'
}

echo "4000x3000 24-bit photo-like picture, CPU seconds (best of $runs, netpbm $slow_runs); ratio = peer / ours"
printf '%-30s %8s  %-52s %8s %8s\n' "ours" "s" "peer" "s" "ratio"
row "Optimized Cut 256" "$o256" "convert +dither -colors 256 (whole)" "$im_256"
row "Optimized Cut 256" "$o256" "convert +dither -colors 256 (less reading)" "$(net "$im_256")"
row "Optimized Cut 256 + dither" "$o256fs" "convert -dither FloydSteinberg -colors 256 (whole)" "$im_256fs"
row "Optimized Cut 256 + dither" "$o256fs" "convert -dither FloydSteinberg -colors 256 (less rd)" "$(net "$im_256fs")"
row "Optimized Cut 16" "$o16" "convert +dither -colors 16 (less reading)" "$(net "$im_16")"
row "Optimized Cut 16 + dither" "$o16fs" "convert -dither FloydSteinberg -colors 16 (less rd)" "$(net "$im_16fs")"
row "Optimized Cut 256" "$o256" "pnmquant 256 (whole)" "$nq_256"
row "Optimized Cut 256" "$o256" "pnmremap -nofloyd, map given" "$nr_256"
row "Optimized Cut 256 + dither" "$o256fs" "pnmquant -floyd 256 (whole)" "$nq_256fs"
row "Optimized Cut 256 + dither" "$o256fs" "pnmremap -floyd, map given" "$nr_256fs"
row "Optimized Cut 16" "$o16" "pnmquant 16 (whole)" "$nq_16"
row "Optimized Cut 16 + dither" "$o16fs" "pnmremap -floyd 16, map given" "$nr_16fs"
row "Flat Cut 256 (3-3-2)" "$flat" "convert +dither -remap 3-3-2 (less reading)" "$(net "$im_332")"
echo "ImageMagick reading the picture alone (convert photo.ppm null:): $im_read s"
awk "BEGIN { r = ($im_256 - $im_read) / $o256; printf \"target: Optimized Cut 256 >= 5x convert +dither -colors 256: %.1fx %s\n\", r, (r >= 5 ? \"met\" : \"NOT met\") }"
awk "BEGIN { r = ($im_256fs - $im_read) / $o256fs; printf \"target: with dither >= 3x convert -dither FloydSteinberg: %.1fx %s\n\", r, (r >= 3 ? \"met\" : \"NOT met\") }"
