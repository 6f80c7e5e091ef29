#!/bin/sh
# Many files at once: FILES generated 24-bit BMP pictures of 1 to 12 Mpixel
# (default 100) to 256-colour GIF, whole process, wall-clock seconds:
# kvconvert -j 1 and -j 2 (their outputs must be identical byte for byte),
# ImageMagick's mogrify, GraphicsMagick's gm mogrify and vips, each where it
# is installed (Debian packages imagemagick, graphicsmagick, libvips-tools).
# Peak memory: the largest maximum resident set of one process
# (/usr/bin/time -v; with -j 2 the largest of its processes), against three times the
# largest picture's pixels (3 bytes each).
#
# Usage: bench/peers_batch.sh [build-dir]   (FILES=N for fewer pictures)
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/native}
kvconvert=$build/kvconvert
files=${FILES:-100}
[ -x "$kvconvert" ] || { echo "kvconvert not found in $build" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/in"

# Pictures of 1 to 12 Mpixel at 4:3 in steps, gradients and noise so that the
# quantisers have work; the same set on every run.
python3 - "$work/in" "$files" <<'EOF'
import os, random, struct, sys
folder, count = sys.argv[1], int(sys.argv[2])
random.seed(7)
widest = int((12e6 * 4 / 3) ** 0.5) * 3
# One strip of gradients and noise; each row is a slice of it at its own offset.
strip = bytes(((i * 3) // 7 + (i // 3000) * 40 + random.randrange(24)) & 255 for i in range(widest + (1 << 20)))
for n in range(count):
    mpix = 1 + (n * 11) // max(count - 1, 1)
    w = int((mpix * 1e6 * 4 / 3) ** 0.5) & ~3
    h = int(mpix * 1e6 / w)
    stride = w * 3
    with open(os.path.join(folder, "p%03d.bmp" % n), "wb") as f:
        f.write(b"BM" + struct.pack("<IHHI", 54 + stride * h, 0, 0, 54))
        f.write(struct.pack("<IiiHHIIiiII", 40, w, h, 1, 24, 0, stride * h, 0, 0, 0, 0))
        for y in range(h):
            at = (y * 7919 + n * 104729) % (1 << 20)
            f.write(strip[at:at + stride])
EOF
largest=$(ls -S "$work/in" | head -n 1)
largest_bytes=$(($(stat -c %s "$work/in/$largest") - 54))

# run NAME COMMAND...: wall seconds and the peak resident set (KiB) of its processes.
run() {
    name=$1
    shift
    rm -rf "$work/out" && mkdir -p "$work/out"
    start=$(date +%s.%N)
    /usr/bin/time -v -o "$work/$name.time" "$@" >/dev/null 2>"$work/$name.err" ||
        echo "$name failed: $(head -c 300 "$work/$name.err")" >&2
    end=$(date +%s.%N)
    seconds=$(awk "BEGIN { printf \"%.1f\", $end - $start }")
    peak=$(awk -F: '/Maximum resident set size/ { print $2 + 0 }' "$work/$name.time")
    printf '%-22s %9s %12s\n' "$name" "$seconds" "$peak"
    echo "$seconds" >"$work/$name.seconds"
}

echo "$files pictures, largest $largest_bytes bytes of pixels (3x = $((3 * largest_bytes / 1024)) KiB)"
printf '%-22s %9s %12s\n' tool seconds "peak KiB"
run kvconvert-j1 "$kvconvert" -q -j 1 -t gif -d 8 -o "$work/out" "$work"/in/*.bmp
mv "$work/out" "$work/j1"
run kvconvert-j2 "$kvconvert" -q -j 2 -t gif -d 8 -o "$work/out" "$work"/in/*.bmp
if diff -r "$work/j1" "$work/out" >/dev/null; then same=identical; else same=DIFFERENT; fi
echo "kvconvert -j 2 against -j 1: outputs $same; speed-up $(awk "BEGIN { printf \"%.2f\", $(cat "$work/kvconvert-j1.seconds") / $(cat "$work/kvconvert-j2.seconds") }")x"
if command -v mogrify >/dev/null; then
    run imagemagick mogrify -path "$work/out" -format gif -colors 256 "$work"/in/*.bmp
fi
if command -v gm >/dev/null; then
    # gm puts the input's whole path under -output-directory: it runs beside the inputs.
    run graphicsmagick sh -c 'cd "$1/in" && gm mogrify -output-directory ../out -format gif -colors 256 *.bmp' sh "$work"
fi
if command -v vips >/dev/null; then
    # vips converts one file a process; the loop is the whole command.
    run vips sh -c 'for f in "$1"/in/*.bmp; do b=${f##*/}; vips gifsave "$f" "$1/out/${b%.bmp}.gif" || exit 1; done' \
        sh "$work"
fi
