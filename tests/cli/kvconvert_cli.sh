#!/usr/bin/env bash
# kvconvert from the outside: exit codes, output names, the files it refuses
# to touch, and interruption. Usage: kvconvert_cli.sh KVCONVERT
# Prints one line per check and "N passed, M failed" last.
set -u
kv=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
passed=0
failed=0
check() {  # check NAME CONDITION...
  local name=$1; shift
  if "$@"; then passed=$((passed + 1)); echo "ok   $name"; else failed=$((failed + 1)); echo "FAIL $name"; fi
}

# A 24-bit BMP written here byte by byte: W x H, pixel (x, y) = (x*7, y*11, x*y) bottom-up.
make_bmp() {  # make_bmp FILE W H
  python3 - "$@" <<'PY'
import struct, sys
path, w, h = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
stride = (w * 3 + 3) & ~3
rows = b''
for y in range(h - 1, -1, -1):
    row = bytearray()
    for x in range(w):
        row += bytes(((x * y) & 255, (y * 11) & 255, (x * 7) & 255))
    rows += bytes(row) + b'\0' * (stride - len(row))
head = struct.pack('<IiiHHIIiiII', 40, w, h, 1, 24, 0, len(rows), 0, 0, 0, 0)
open(path, 'wb').write(b'BM' + struct.pack('<IHHI', 14 + len(head) + len(rows), 0, 0, 54) + head + rows)
PY
}

make_bmp photo.one.bmp 40 30
cp photo.one.bmp A.B.BMP
sum_before=$(sha256sum photo.one.bmp | cut -c1-64)

# Output name: cut at the first dot, the output row's extension; load by the last.
"$kv" -q -t gif photo.one.bmp 2>err.txt
check "converts to the name cut at the first dot" test $? -eq 0 -a -s photo.gif
check "the output is a GIF87a" test "$(head -c 6 photo.gif)" = GIF87a
"$kv" -q -t pcx A.B.BMP 2>/dev/null
check "an upper-case name gives an upper-case extension" test -s A.PCX

# Never the input: same folder, same extension.
"$kv" -q -t bmp -o photo.one.bmp photo.one.bmp 2>err.txt
rc=$?
check "writing over the input is refused with status 1" test $rc -eq 1
check "the refusal says why" grep -q "is an input file; it is never overwritten" err.txt
check "the input is unchanged" test "$(sha256sum photo.one.bmp | cut -c1-64)" = "$sum_before"

# An existing output is kept unless --force.
echo keep >photo.tga
"$kv" -q -t tga photo.one.bmp 2>err.txt
rc=$?
check "an existing output is kept without --force" test $rc -eq 1 -a "$(cat photo.tga)" = keep
"$kv" -q --force -t tga photo.one.bmp 2>/dev/null
rc=$?
check "--force replaces it" test $rc -eq 0 -a "$(wc -c <photo.tga)" -gt 100

# One failure among several inputs: the others are converted, status 1.
mkdir -p out
printf 'not an image' >broken.bmp
"$kv" -q -t gif -o out broken.bmp photo.one.bmp nothere.bmp 2>err.txt
rc=$?
check "status 1 when any input failed" test $rc -eq 1
check "the good input is still converted" test -s out/photo.gif
check "the broken file gets the reader's message" grep -q "broken.bmp: Error, not a Legitimate DIB File!" err.txt
check "no output is left for a failed input" test ! -e out/broken.gif
"$kv" -q --force -t gif --limit-memory 1K -o out photo.one.bmp 2>err.txt
check "--limit-memory refuses a larger image with the reader's message" \
  grep -q "photo.one.bmp: Not enough memory to load file" err.txt
touch unknown.xyz
"$kv" -q -t gif unknown.xyz 2>err.txt
check "an unknown extension is a failed load with a report" grep -q "Unsupported file type for image:unknown.xyzcannot load." err.txt
printf 'RIFF' >film.avi
"$kv" -q -t gif film.avi 2>err.txt
check "a film needs the Windows film services" grep -q "film.avi: AVI files are read through the Windows AVIFile services" err.txt

# A save that fails leaves nothing: the output's folder is a file.
"$kv" -q -t bmp -o photo.one.bmp/x.bmp photo.one.bmp 2>err.txt
check "a failed save gives status 1" test $? -eq 1
check "a failed save leaves no file" test -z "$(ls | grep kvpart)"

# Bad usage is status 2.
for args in "--depth 7 photo.one.bmp" "-t xyz photo.one.bmp" "-t bmp" "-t gif -d 24 photo.one.bmp"; do
  "$kv" -q $args 2>err.txt
  check "bad usage ($args) is status 2" test $? -eq 2
done
check "a depth the format can't hold says so" grep -q "GIF files can't hold 24-bit images" err.txt

# The format list reproduces the table.
"$kv" --list-formats >formats.txt
check "the format list has 36 rows" test "$(($(wc -l <formats.txt) - 1))" -eq 36
check "the GIF row" grep -Eq '^10 +GIF +GIF- Compuserve +yes +yes +9 9 9 0 0 0 +47$' formats.txt
check "a stub row is neither read nor written" grep -Eq '^5 +CUT +CUT- Dr. Halo Format +no +no +0 0 0 0 0 0 +26$' formats.txt

# A 2-bit gray TIFF (8 x 2, min-is-black) is held as a 4-bit image of four grays.
python3 - <<'PY'
import struct
data = bytes([0x1B, 0xE4, 0xF0, 0x5A])  # rows 0 1 2 3 3 2 1 0 and 3 3 0 0 1 1 2 2
tags = [(256, 8), (257, 2), (258, 2), (259, 1), (262, 1), (273, 122), (277, 1), (278, 2), (279, 4)]
out = b'II*\0' + struct.pack('<IH', 8, len(tags))
for tag, v in tags:
    out += struct.pack('<HHII', tag, 4, 1, v)
open('gray2.tif', 'wb').write(out + struct.pack('<I', 0) + data)
PY
# The BMP's rows bottom-up, as hex: the grays 0, 85, 170, 255 of the file.
bmp_rows() { python3 -c "import sys; b = open(sys.argv[1], 'rb').read(); print(b[28], b[54:102].hex())" "$1"; }
gray2_rows="24 ffffffffffff000000000000555555555555aaaaaaaaaaaa000000555555aaaaaaffffffffffffaaaaaa555555000000"
"$kv" -q -t bmp -d 24 -o gray2.bmp gray2.tif 2>err.txt
check "a 2-bit gray TIFF gives a 24-bit BMP of its four grays" test "$(bmp_rows gray2.bmp)" = "$gray2_rows"
"$kv" -q -t gif gray2.tif 2>err.txt && "$kv" -q -t pcx gray2.tif 2>>err.txt && "$kv" -q -t tif -o gray2-4.tif gray2.tif 2>>err.txt
check "a 2-bit gray TIFF converts to GIF, PCX and TIFF" test $? -eq 0 -a -s gray2.gif -a -s gray2.pcx -a ! -s err.txt
"$kv" -q -t bmp -d 24 -o gray2-4.bmp gray2-4.tif 2>/dev/null
check "the TIFF written from it keeps the four grays" test "$(bmp_rows gray2-4.bmp)" = "$gray2_rows"
"$kv" --info gray2.tif >info.txt 2>&1
check "--info on a 2-bit TIFF reports no error" test $? -eq 0 -a "$(tail -n 1 info.txt)" = "creator: Unknown"

# HEX keeps width and height from one load to the next; a fresh run starts
# without them.
printf 'HEIGHT 2 BITSPERPIXEL 8 IMAGE H 00 00\r\n' >nowidth.hex
"$kv" -q -t gif nowidth.hex 2>err.txt
check "a HEX file without WIDTH is refused in a fresh run" test $? -eq 1 -a ! -e nowidth.gif -a \
  "$(cat err.txt)" = "nowidth.hex: File is missing the required WIDTH tag, cannot load"

# PPM and RAS outputs are read by netpbm to the pixels of the input.
"$kv" -q -t ppm photo.one.bmp 2>err.txt && "$kv" -q -t ras photo.one.bmp 2>>err.txt
check "netpbm reads the PPM and RAS written as the BMP's pixels" test "$(bmptopnm photo.one.bmp 2>/dev/null | sha256sum)" = \
  "$(sha256sum <photo.ppm)" -a "$(rasttopnm photo.ras 2>/dev/null | sha256sum)" = "$(sha256sum <photo.ppm)"

# EPS outputs are titled by their name and drawn by ghostscript as the BMP of
# the same conversion: colour at 24, 8 and 4 bits, and 8-bit gray.
for o in "-d 24" "-d 8" "-d 4" "--gray -d 8"; do
  "$kv" -q --force $o -t eps photo.one.bmp && "$kv" -q --force $o -t bmp -o same.bmp photo.one.bmp
  check "ghostscript draws the EPS of $o as its BMP" test "$(sed -n 4p photo.eps)" = "%%Title: photo" -a \
    "$(gs -q -dSAFER -dNOPAUSE -dBATCH -sDEVICE=ppmraw -r72 -dEPSCrop -sOutputFile=- photo.eps | tail -c 3600 | sha256sum)" = \
    "$(bmptopnm same.bmp 2>/dev/null | ppmtoppm | tail -c 3600 | sha256sum)"
done

# An icon is read by ImageMagick to the pixels of the same flat cut written as a BMP.
make_bmp icon.bmp 64 64
"$kv" -q -d 8 --flat --no-dither -t ico icon.bmp 2>err.txt && "$kv" -q -d 8 --flat --no-dither -t bmp -o flat.bmp icon.bmp
check "ImageMagick reads the ICO written as the BMP of its flat cut" test -s icon.ico -a \
  "$(convert icon.ico rgb:- | sha256sum)" = "$(convert flat.bmp rgb:- | sha256sum)"

# A name is never cut: an output whose private name is one over 4095 characters
# is refused, and the file at the cut name stays.
out=$(python3 -c 'import os; d = "/".join(["deep"] + ["d" * 150] * 27); os.makedirs(d); print((d + "/" + "n" * 9)[:4089])')
echo user >"$out.kvpar"
"$kv" -q -t gif -o "$out" photo.one.bmp 2>err.txt
check "a path too long is refused, the cut name untouched" test $? -eq 1 -a "$(cat "$out.kvpar")" = user -a \
  ! -e "$out" -a "$(grep -c 'is too long (at most 4088 characters)' err.txt)" -eq 1

# Many files: -j 2 writes what -j 1 writes, byte for byte; --files-from -
# takes the names from standard input (a last line without its newline too).
for i in 1 2 3 4 5 6; do make_bmp "many$i.bmp" $((i * 37)) $((i * 13 + 5)); done
"$kv" -q -t gif -d 4 -o many7.gif many1.bmp 2>/dev/null
mkdir -p one two
"$kv" -q -j 1 -t pcx -d 8 -o one many*.bmp many7.gif 2>/dev/null
printf 'many1.bmp\nmany2.bmp\r\n\nmany3.bmp\nmany4.bmp\nmany5.bmp\nmany6.bmp\nmany7.gif' |
  "$kv" -j 2 -t pcx -d 8 -o two --files-from - 2>err.txt
check "-j 2 with --files-from - converts each listed file and sums up" test $? -eq 0 -a \
  "$(tail -n 1 err.txt | sed 's/, [0-9.]* s$//')" = "kvconvert: 7 converted, 0 failed, 0 skipped"
check "-j 2 writes the bytes of -j 1" test "$(cd one && sha256sum *)" = "$(cd two && sha256sum *)" -a "$(ls two | wc -l)" -eq 7
"$kv" -j 2 -t pcx -d 8 -o two many1.bmp nothere.bmp broken.bmp 2>err.txt
check "the summary counts kept outputs and failures" test $? -eq 1 -a \
  "$(tail -n 1 err.txt | sed 's/, [0-9.]* s$//')" = "kvconvert: 0 converted, 2 failed, 1 skipped"

# Interruption: a run over many large files stopped by SIGINT leaves no
# partial file and says how far it came.
make_bmp big.bmp 1500 1000
mkdir -p many
# One worker and enough files that the run still goes on when the signal comes,
# on a quiet machine too (links: the same picture under 80 names).
for i in $(seq -w 1 80); do ln big.bmp "many/b$i.bmp"; done
mkdir -p stopped
"$kv" -q -j 1 -t pcx -d 8 --optimized --dither -o stopped many/*.bmp 2>err.txt &
pid=$!
sleep 0.5
kill -INT $pid 2>/dev/null
wait $pid
rc=$?
check "SIGINT stops with status 130" test $rc -eq 130
check "SIGINT leaves no partial output" test -z "$(ls stopped | grep kvpart)"
check "SIGINT stops before the end" test "$(ls stopped | wc -l)" -lt 80
check "SIGINT reports what was done" grep -Eq "interrupted after [0-9]+ of 80 files" err.txt

echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
