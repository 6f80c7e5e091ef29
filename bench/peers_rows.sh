#!/bin/sh
# SGI RGB, PPM, Sun raster, GEN, HEX, IFF and WPG side by side: ImageMagick's
# convert and netpbm against ours on the same 4000x3000 24-bit picture (the
# one bench_rows.cpp makes; WPG on its 8-bit gray copy). Neither peer writes
# WPG, ImageMagick reads it; netpbm alone writes and reads IFF, and since our
# IFF sizes count one plane only, ilbmtoppm reads the file it wrote itself. No peer writes or reads GEN or HEX: GEN is timed
# against raw RGB in both tools, HEX against xxd's plain hex dump of the raw
# bytes. Our SGI files have dimension 0, which the peers refuse, so each tool
# reads the file it wrote itself.
#
# Ours is timed through kv_bench (the writer or reader alone). A peer's write
# is the whole command less reading the source (ImageMagick into null:); a
# read is the whole command, less a 1x1 read for ImageMagick. Figures are CPU
# seconds, user + sys, the best of RUNS runs (default 1 here: HEX is slow).
#
# Usage: bench/peers_rows.sh [build-dir]   (default build/native)
set -eu
default_runs=1
. "$(dirname "$0")/peers_common.sh"

KV_BENCH_ROWS_DUMP=$work "$bench" --benchmark_filter='^Rows' --benchmark_repetitions="$runs" \
    --benchmark_format=json >"$work/ours.json" 2>/dev/null
ours() {
    python3 - "$work/ours.json" "$1" <<'PY'
import json, sys
runs = [b for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b.get("run_type") == "iteration" and b["run_name"] == sys.argv[2]]
print("%.3f" % (min(b["cpu_time"] for b in runs) / 1000.0))  # ms -> s
PY
}
less() { awk "BEGIN { t = $1 - $2; printf \"%.3f\", (t > 0 ? t : 0) }"; }
ratio() { case "$1" in -) echo - ;; *) awk "BEGIN { printf \"%.2f\", $1 / $2 }" ;; esac; }

pic=$work/picture24.ppm
printf 'P3\n1 1\n255\n0 0 0\n' >"$work/tiny.ppm"
startup=$(cpu "$convert" "$work/tiny.ppm" null:)
read24=$(cpu "$convert" "$pic" null:)
"$convert" "$pic" -depth 8 rgb:"$work/raw"
"$convert" "$pic" -compress none sgi:"$work/im.rgb"
pnmtosgi -verbatim "$pic" >"$work/np.rgb"

printf '%-16s %8s %8s %8s  %-9s %8s %8s\n' "4000x3000 24-bit" "ours s" "IM s" "IM/ours" "other" "other s" "/ours"
# name, our benchmark, ImageMagick's time, the other tool, its time
row() {
    o=$(ours "$2")
    printf '%-16s %8s %8s %8s  %-9s %8s %8s\n' "$1" "$o" "$3" "$(ratio "$3" "$o")" "$4" "$5" "$(ratio "$5" "$o")"
}
row "RGB write" RowsEncode/rgb "$(less "$(cpu "$convert" "$pic" -compress none sgi:"$work/w.rgb")" "$read24")" \
    pnmtosgi "$(cpu sh -c "pnmtosgi -verbatim '$pic' >'$work/w2.rgb'")"
row "RGB read" RowsDecode/rgb "$(less "$(cpu "$convert" "$work/im.rgb" null:)" "$startup")" \
    sgitopnm "$(cpu sh -c "sgitopnm '$work/np.rgb' >/dev/null")"
row "PPM write" RowsEncode/ppm "$(less "$(cpu "$convert" "$pic" ppm:"$work/w.ppm")" "$read24")" \
    ppmtoppm "$(cpu sh -c "ppmtoppm <'$pic' >'$work/w2.ppm'")"
row "PPM read" RowsDecode/ppm "$(less "$(cpu "$convert" "$work/ours.ppm" null:)" "$startup")" \
    ppmtoppm "$(cpu sh -c "ppmtoppm <'$work/ours.ppm' >/dev/null")"
row "RAS write" RowsEncode/ras "$(less "$(cpu "$convert" "$pic" sun:"$work/w.ras")" "$read24")" \
    pnmtorast "$(cpu sh -c "pnmtorast -standard '$pic' >'$work/w2.ras'")"
row "RAS read" RowsDecode/ras "$(less "$(cpu "$convert" "$work/ours.ras" null:)" "$startup")" \
    rasttopnm "$(cpu sh -c "rasttopnm '$work/ours.ras' >/dev/null")"
row "GEN write (raw)" RowsEncode/gen "$(less "$(cpu "$convert" "$pic" -depth 8 rgb:"$work/w.raw")" "$read24")" \
    - -
row "GEN read (raw)" RowsDecode/gen \
    "$(less "$(cpu "$convert" -size 4000x3000 -depth 8 rgb:"$work/raw" null:)" "$startup")" \
    rawtoppm "$(cpu sh -c "rawtoppm 4000 3000 '$work/raw' >/dev/null")"
row "HEX write" RowsEncode/hex - xxd "$(cpu sh -c "xxd -p '$work/raw' >'$work/raw.hex'")"
row "HEX read" RowsDecode/hex - "xxd -r" "$(cpu sh -c "xxd -r -p '$work/raw.hex' >/dev/null")"
row "IFF write" RowsEncode/iff - ppmtoilbm "$(cpu sh -c "ppmtoilbm -24force -nocompress '$pic' >'$work/np.iff' 2>/dev/null")"
row "IFF read" RowsDecode/iff - ilbmtoppm "$(cpu sh -c "ilbmtoppm '$work/np.iff' >/dev/null")"
row "WPG write (8)" RowsEncode/wpg - - -
row "WPG read (8)" RowsDecode/wpg "$(less "$(cpu "$convert" "$work/ours.wpg" null:)" "$startup")" - -

want=$("$convert" "$pic" -depth 8 rgb:- | sha256sum)
for f in ours.ppm ours.ras; do
    [ "$("$convert" "$work/$f" -depth 8 rgb:- | sha256sum)" = "$want" ] &&
        echo "$f decodes (ImageMagick) to the picture: yes" || echo "$f decodes to the picture: NO"
done
