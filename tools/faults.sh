#!/usr/bin/env bash
# faults.sh [--suites LIST] [PATTERN]: puts each deliberate fault of tests/faults (whose name
# holds PATTERN) into a scratch copy of HEAD, builds what its "suites:" line
# names, runs those suites and records the tests that failed: the tests that
# catch the fault. A fault that doesn't apply or doesn't build is reported as
# such and never counts as caught.
#   suites: native  kv_unit_tests (native build)
#           cli     tests/cli/kvconvert_cli.sh with the native kvconvert
#           gui     kv_gui_tests.exe (win64) under Wine on a private Xvfb
# --suites native,cli runs only those suites (a fault left with none is
# skipped, not counted). --named runs, of the GUI suite, only the scenarios
# the fault's row in tests/faults/README.md names (a quick check of a list
# that is known; a whole GUI run per fault takes minutes). Report: one line per fault on stdout and in build/faults/report.txt,
# then caught/total. Logs of each fault stay in build/faults/logs.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
only=
named=
while [ "${1:-}" = --suites ] || [ "${1:-}" = --named ]; do
  if [ "$1" = --named ]; then named=1; shift; continue; fi
  [ $# -ge 2 ] || { echo "faults: --suites needs a list" >&2; exit 2; }
  only=" ${2//,/ } "
  shift 2
done
pattern=${1:-}
work=$root/build/faults
tree=$work/tree
logs=$work/logs
report=$work/report.txt
export KV_JOBS=${KV_JOBS:-1}
mkdir -p "$work"
# The GUI suite plays films and sounds: ALSA's default device is a null sink
# in the home the Wine programs run with.
mkdir -p "$work/null-sound"
printf '%s\n' 'pcm.!default { type plug slave.pcm "nullpcm" }' 'pcm.nullpcm { type null }' \
  'ctl.!default { type hw card 0 }' >"$work/null-sound/.asoundrc"
rm -rf "$logs"
mkdir -p "$logs"

say() { printf '== %s\n' "$*" >&2; }
die() { printf 'faults: %s\n' "$*" >&2; exit 1; }

# The suites a fault's header names, less those --suites leaves out.
suites_of() {
  local s
  for s in $(sed -n 's/^suites:[[:space:]]*//p' "$1" | head -n 1); do
    [ -z "$only" ] || [[ $only == *" $s "* ]] && printf '%s ' "$s"
  done
}

patches=()
for p in "$root"/tests/faults/*.patch; do
  [ -f "$p" ] || continue
  name=$(basename "$p" .patch)
  [ -z "$pattern" ] || [[ $name == *"$pattern"* ]] || continue
  [ -n "$(suites_of "$p")" ] || continue
  patches+=("$p")
done
[ ${#patches[@]} -gt 0 ] || die "no fault matches '${pattern}'"

# The scratch tree: a detached worktree at HEAD, kept between runs so that its
# build folders (and ccache) make each fault's rebuild small.
head=$(git -C "$root" rev-parse HEAD) || die "not a git checkout"
if [ ! -e "$tree/.git" ]; then
  rm -rf "$tree"
  git -C "$root" worktree add -f -q --detach "$tree" "$head" || die "cannot make the scratch tree $tree"
fi
reset_tree() {
  git -C "$tree" checkout -q -- . && git -C "$tree" clean -fdq && git -C "$tree" checkout -q --detach "$head"
}
reset_tree || die "cannot reset the scratch tree"
# The tests find the shared corpus next to the checkout.
[ -d "$root/../shared" ] && ln -sfn "$(cd "$root/../shared" && pwd)" "$work/shared"

xvfb_pid=
prefix=$tree/build/win64/wineprefix
# The private print system of the printing scenarios (tools/print-queue.sh).
print_dir=$work/print-system
finish() {
  if [ -n "$xvfb_pid" ]; then
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
    kill "$xvfb_pid" 2>/dev/null
    "$root/tools/print-queue.sh" stop "$print_dir"
  fi
  reset_tree 2>/dev/null
}
trap finish EXIT

start_xvfb() {
  [ -n "$xvfb_pid" ] && return 0
  local n
  for n in $(seq 130 160); do
    [ -e /tmp/.X11-unix/X$n ] || [ -e /tmp/.X$n-lock ] && continue
    Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >"$logs/xvfb.log" 2>&1 &
    xvfb_pid=$!
    export DISPLAY=":$n"
    "$root/tools/print-queue.sh" start "$print_dir" >"$logs/print-system.log" 2>&1 \
      || say "the private print system did not start (build/faults/logs/print-system.log)"
    for _ in $(seq 1 50); do
      [ -e /tmp/.X11-unix/X$n ] && return 0
      sleep 0.1
    done
    kill "$xvfb_pid" 2>/dev/null
    xvfb_pid=
  done
  die "could not start Xvfb"
}

# build SUITES LOG: the targets the suites need, in the scratch tree.
build() {
  local suites=$1 log=$2 ok=0
  if [[ " $suites " == *" native "* || " $suites " == *" cli "* ]]; then
    local targets=()
    [[ " $suites " == *" native "* ]] && targets+=(kv_unit_tests)
    [[ " $suites " == *" cli "* ]] && targets+=(kvconvert)
    "$tree/korvanta" build native "${targets[@]}" >>"$log" 2>&1 || ok=1
  fi
  if [[ " $suites " == *" gui "* ]]; then
    # The GUI suite compares with kvconvert.exe beside the program.
    "$tree/korvanta" build win64 kv_gui_tests kvconvert >>"$log" 2>&1 || ok=1
  fi
  return $ok
}

# The failed tests of a GoogleTest log, one a line; a test that started and
# never ended (a crash) counts, and so does a run that ended badly with none.
gtest_failures() {  # LOG RC
  local log=$1 rc=$2
  {  # Wine's console ends its lines in CR LF
    tr -d '\r' <"$log" | sed -n 's/^\[  FAILED  \] \([^ ]*\) (.*ms)$/\1/p'
    tr -d '\r' <"$log" | awk '/^\[ RUN      \]/ { t = $4 } /^\[       OK \]|^\[  FAILED  \]|^\[  SKIPPED \]/ { t = "" }
         END { if (t != "") print t " (crashed)" }'
  } | sort -u | grep . || { [ "$rc" -ne 0 ] && echo "exit status $rc"; }
}

# run SUITES NAME: prints the failed tests of each suite, "Suite.Test" or
# kvconvert_cli "check", one a line.
run() {
  local suites=$1 name=$2 rc
  if [[ " $suites " == *" native "* ]]; then
    (cd "$tree/build/native" && timeout 600 tests/kv_unit_tests --gtest_color=no) >"$logs/$name.native.log" 2>&1
    rc=$?
    gtest_failures "$logs/$name.native.log" $rc
  fi
  if [[ " $suites " == *" cli "* ]]; then
    timeout 600 "$tree/tests/cli/kvconvert_cli.sh" "$tree/build/native/kvconvert" >"$logs/$name.cli.log" 2>&1
    rc=$?
    sed -n 's/^FAIL \(.*\)$/kvconvert_cli "\1"/p' "$logs/$name.cli.log"
    if [ $rc -ne 0 ] && ! grep -q '^FAIL ' "$logs/$name.cli.log"; then echo "kvconvert_cli (exit status $rc)"; fi
  fi
  if [[ " $suites " == *" gui "* && -n $named && $name != baseline ]]; then
    # Only the scenarios the row names, in a session of the printers they need.
    local filter sock=$print_dir/sock
    filter=$(grep -F "| $name |" "$root/tests/faults/README.md" | cut -d'|' -f4 |
      grep -oE '\b[A-Z][A-Za-z0-9]+\.([A-Z][A-Za-z0-9]+|\*)' | sort -u | paste -sd: -)
    [[ $filter == *PrintWithoutPrinters* ]] && sock=$print_dir/empty/sock
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
    HOME=$work/null-sound KV_PRINT_DIR=$print_dir CUPS_SERVER=$sock \
      timeout 1500 "$tree/tools/wine-run" "$prefix" "$tree/build/win64/tests/kv_gui_tests.exe" --gtest_color=no \
      --gtest_filter="${filter:--*}" >"$logs/$name.gui.log" 2>&1
    rc=$?
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
    gtest_failures "$logs/$name.gui.log" $rc
  elif [[ " $suites " == *" gui "* ]]; then
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
    HOME=$work/null-sound KV_PRINT_DIR=$print_dir CUPS_SERVER=$print_dir/sock \
      timeout 1500 "$tree/tools/wine-run" "$prefix" "$tree/build/win64/tests/kv_gui_tests.exe" --gtest_color=no \
      --gtest_filter=-PrintWithoutPrinters.* >"$logs/$name.gui.log" 2>&1
    rc=$?
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
    gtest_failures "$logs/$name.gui.log" $rc
    # Wine reads the printers once per session: a new one without any.
    KV_PRINT_DIR=$print_dir CUPS_SERVER=$print_dir/empty/sock \
      timeout 300 "$tree/tools/wine-run" "$prefix" "$tree/build/win64/tests/kv_gui_tests.exe" --gtest_color=no \
      --gtest_filter=PrintWithoutPrinters.* >"$logs/$name.gui-no-printer.log" 2>&1
    rc=$?
    WINEPREFIX=$prefix wineserver -k 2>/dev/null
    gtest_failures "$logs/$name.gui-no-printer.log" $rc
  fi
}

t0=$SECONDS
: >"$report.part"
line() { printf '%s\n' "$*" | tee -a "$report.part"; }

# The tests that already fail without a fault are no one's catch.
all_suites=
for p in "${patches[@]}"; do all_suites+=" $(suites_of "$p")"; done
all_suites=$(tr ' ' '\n' <<<"$all_suites" | sort -u | tr '\n' ' ')
say "baseline: $all_suites"
# Started here, not in the subshell that runs a suite, so that it is stopped at the end.
[[ " $all_suites " == *" gui "* ]] && start_xvfb
build "$all_suites" "$logs/baseline.build.log" || die "HEAD does not build (build/faults/logs/baseline.build.log)"
baseline=$(run "$all_suites" baseline)
[ -z "$baseline" ] || { say "already failing at HEAD (not counted):"; printf '   %s\n' "$baseline" >&2; }

caught=0
total=0
for p in "${patches[@]}"; do
  name=$(basename "$p" .patch)
  suites=$(suites_of "$p")
  total=$((total + 1))
  reset_tree
  if ! git -C "$tree" apply "$p" 2>"$logs/$name.apply.log"; then
    line "NOAPPLY $name"
    continue
  fi
  say "$name ($suites)"
  if ! build "$suites" "$logs/$name.build.log"; then
    line "NOBUILD $name"
    continue
  fi
  catchers=$(run "$suites" "$name" | grep -vxF -f <(printf '%s\n' "$baseline") | awk 'NR > 1 { printf ", " } { printf "%s", $0 }')
  if [ -n "$catchers" ]; then
    caught=$((caught + 1))
    line "caught  $name  by $catchers"
  else
    line "MISSED  $name"
  fi
done
reset_tree
line "$caught/$total"
mv "$report.part" "$report"
say "took $((SECONDS - t0)) s; report in build/faults/report.txt"
