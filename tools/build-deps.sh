#!/usr/bin/env bash
# Cross-compiles static libtiff and libjpeg-turbo for Windows with mingw-w64,
# from the source packages Debian ships (Debian's patches applied).
#
#   tools/build-deps.sh x86_64-w64-mingw32|i686-w64-mingw32
#
# The install prefix is the only thing printed on stdout, so callers can write
# prefix=$(tools/build-deps.sh x86_64-w64-mingw32). Everything else goes to
# stderr. A prefix is keyed on the Debian source versions, so the libraries are
# rebuilt only when one of those versions changes.
set -euo pipefail

triplet=${1:-}
case "$triplet" in
  x86_64-w64-mingw32) cpu=x86_64 ;;
  i686-w64-mingw32) cpu=i686 ;;
  *) echo "usage: $0 x86_64-w64-mingw32|i686-w64-mingw32" >&2; exit 2 ;;
esac

say() { echo "build-deps: $*" >&2; }
die() { say "$*"; exit 1; }

# Newest version of a source package that apt knows about.
srcver() {
  local v best=
  for v in $(apt-cache showsrc --only-source "$1" 2>/dev/null | sed -n 's/^Version: //p'); do
    if [[ -z $best ]] || dpkg --compare-versions "$v" gt "$best"; then best=$v; fi
  done
  [[ -n $best ]] || die "apt knows no source package '$1': add a deb-src entry for Debian and run 'apt-get update'"
  echo "$best"
}

tiffver=$(srcver tiff)
jpegver=$(srcver libjpeg-turbo)
cache=${KORVANTA_CACHE:-$HOME/.cache/korvanta}
name=$triplet-tiff${tiffver//[:+]/_}-jpeg${jpegver//[:+]/_}
prefix=$cache/deps/$name

if [[ -f $prefix/.done ]]; then echo "$prefix"; exit 0; fi

# One build at a time per cache; whoever waited may find the work already done.
mkdir -p "$cache/deps" "$cache/src" "$cache/build"
exec 9>"$cache/deps/.lock"
flock 9
if [[ -f $prefix/.done ]]; then echo "$prefix"; exit 0; fi

for tool in "$triplet-gcc" "$triplet-g++" cmake make; do
  command -v "$tool" >/dev/null || die "$tool not found (apt-get install mingw-w64 cmake make)"
done

logf=$cache/build/$name.log
: >"$logf"
run() { "$@" >>"$logf" 2>&1 || { tail -n 40 "$logf" >&2; die "build failed, full log: $logf"; }; }

# Downloads and unpacks a source package once; prints the unpacked tree.
fetch() {
  local pkg=$1 ver=$2 dir=$cache/src/$1-${2//[:+]/_}
  local upstream=${ver#*:}
  upstream=${upstream%-*}
  if [[ ! -f $dir/.unpacked ]]; then
    say "fetching $pkg $ver sources"
    rm -rf "$dir" && mkdir -p "$dir"
    (cd "$dir" && apt-get source -q --only-source "$pkg=$ver") >>"$logf" 2>&1 ||
      { tail -n 20 "$logf" >&2; die "'apt-get source $pkg=$ver' failed (needs dpkg-dev and a deb-src entry for Debian)"; }
    touch "$dir/.unpacked"
  fi
  [[ -d $dir/$pkg-$upstream ]] || die "unexpected layout in $dir"
  echo "$dir/$pkg-$upstream"
}

tiffsrc=$(fetch tiff "$tiffver")
jpegsrc=$(fetch libjpeg-turbo "$jpegver")

# Scratch build trees; left behind after a failure so they can be inspected,
# wiped by the next attempt.
work=$cache/build/$name
rm -rf "$work" "$prefix"
mkdir -p "$prefix/include" "$prefix/lib"
start=$SECONDS

# Settings shared by both projects: a Windows cross build that only looks for
# headers and libraries in the mingw sysroot and our own prefix.
common=(
  -DCMAKE_SYSTEM_NAME=Windows "-DCMAKE_SYSTEM_PROCESSOR=$cpu"
  "-DCMAKE_C_COMPILER=$triplet-gcc" "-DCMAKE_CXX_COMPILER=$triplet-g++"
  "-DCMAKE_RC_COMPILER=$triplet-windres"
  "-DCMAKE_FIND_ROOT_PATH=/usr/$triplet;$prefix"
  -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY
  -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY
  -DCMAKE_BUILD_TYPE=Release "-DCMAKE_C_FLAGS_RELEASE=-O2 -DNDEBUG"
  "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG"
  -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib
)
if command -v ccache >/dev/null; then
  common+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

# libjpeg-turbo: only the static library is built, so its command-line and
# test programs are skipped; that means installing the library and the four
# public headers by hand rather than through its install target.
simd=OFF
command -v nasm >/dev/null && simd=ON
say "building libjpeg-turbo $jpegver for $triplet (SIMD $simd)"
run cmake -S "$jpegsrc" -B "$work/jpeg" "${common[@]}" \
  -DENABLE_SHARED=OFF -DENABLE_STATIC=ON -DWITH_TURBOJPEG=OFF -DWITH_SIMD=$simd
run cmake --build "$work/jpeg" -j2 --target jpeg-static
run install -m644 "$work/jpeg/libjpeg.a" "$prefix/lib/"
run install -m644 "$work/jpeg/jconfig.h" "$jpegsrc/jerror.h" "$jpegsrc/jmorecfg.h" \
  "$jpegsrc/jpeglib.h" "$prefix/include/"

# libtiff: the codecs built in (none, PackBits, CCITT RLE/Group 3/Group 4, LZW
# and the other internal ones) need no external library; every codec that
# would pull one in is off, as are the C++ API, tools, tests and docs.
say "building tiff $tiffver for $triplet"
run cmake -S "$tiffsrc" -B "$work/tiff" "${common[@]}" \
  -DBUILD_SHARED_LIBS=OFF -Dtiff-tools=OFF -Dtiff-tests=OFF -Dtiff-contrib=OFF \
  -Dtiff-docs=OFF -Dcxx=OFF -Djpeg=OFF -Dold-jpeg=OFF -Djpeg12=OFF -Dzlib=OFF \
  -Dpixarlog=OFF -Dlibdeflate=OFF -Dlzma=OFF -Dzstd=OFF -Dwebp=OFF -Djbig=OFF \
  -Dlerc=OFF
run cmake --build "$work/tiff" -j2
run cmake --install "$work/tiff"

rm -rf "$work"
touch "$prefix/.done"
say "built tiff $tiffver + libjpeg-turbo $jpegver for $triplet in $((SECONDS - start))s"
echo "$prefix"
