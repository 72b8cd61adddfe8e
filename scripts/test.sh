#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and tests; goes on to the next configuration after a failure. The last line counts the
# tests of all configurations; each check and each fuzzer beside them counts as one.
#
#   scripts/test.sh [linux|asan|tsan|windows]     default: everything
set -uo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.."
source scripts/env.sh

what=${1:-all}
case $what in
  all|linux|asan|tsan|windows) ;;
  *) echo "usage: scripts/test.sh [linux|asan|tsan|windows]" >&2; exit 2 ;;
esac
case $what in
  all)     needs=("linux" "windows") ;;
  windows) needs=("windows") ;;
  *)       needs=("linux") ;;
esac
for need in "${needs[@]}"; do
  scripts/setup.sh "$need" || exit 1
done

logs=build/logs
mkdir -p "$logs"
passed=0
failed=0
summary=()

# report NAME PASSED FAILED SECONDS
report() {
  passed=$((passed + $2))
  failed=$((failed + $3))
  local line
  line=$(printf '%-16s %5d passed, %d failed  (%d s)' "$1" "$2" "$3" "$4")
  summary+=("$line")
  printf '%s\n' "$line"
}

# run LOG COMMAND...: quiet when it works, the end of its output when it does not.
run() {
  local log=$logs/$1.log
  shift
  if ! "$@" >"$log" 2>&1 </dev/null; then
    printf -- '---- failed: %s; the end of %s:\n' "$*" "$log"
    grep -vE '^\[[0-9]+/[0-9]+\] (Building|Linking) ' "$log" | tail -n 60
    printf -- '----\n'
    return 1
  fi
}

check() {  # check NAME COMMAND...
  local name=$1 started=$SECONDS
  shift
  if run "$name" "$@"; then
    report "$name" 1 0 $((SECONDS - started))
  else
    report "$name" 0 1 $((SECONDS - started))
  fi
}

# The number that ctest's report gives for an attribute of the whole run: one a line, at its top.
count() {
  sed -n "s/^[[:space:]]*$1=\"\([0-9]*\)\".*/\1/p" "$2" 2>/dev/null | head -n 1
}

# So many inputs each, always the same ones as long as the code takes the same turns.
fuzzing() {
  local started=$SECONDS passes failures
  run fuzz scripts/fuzz.sh --runs 20000
  passes=$(grep -c '^fuzz: .* passed' "$logs/fuzz.log")
  failures=$(grep -c '^fuzz: .* failed' "$logs/fuzz.log")
  if [ $((passes + failures)) = 0 ]; then failures=1; fi  # not even built
  report fuzz "$passes" "$failures" $((SECONDS - started))
}

# Without one live process wine boots its services for every test program that is asked what it has.
hold_wine() {
  tools/zig/bin/wine-session start build/wine-session.pid "build/$1/bin/wine_hold.exe"
  trap 'tools/zig/bin/wine-session stop build/wine-session.pid' EXIT
}

# How many of the failed tests did not print a character: a test's first line comes before its work.
silent() {
  grep -A 2 'status="fail"' "$1" | grep -c '<system-out></system-out>' || true
}

configuration() {  # configuration PRESET
  local name=$1 started=$SECONDS result=$PWD/$logs/$1-tests.xml
  rm -f "$result"
  printf '%s: building\n' "$name"
  if ! run "$name-configure" cmake --preset "$name" ||
     ! run "$name-build" cmake --build --preset "$name" -j "$(nproc)" -- -k 0; then
    report "$name" 0 1 $((SECONDS - started))
    return
  fi
  printf '%s: testing (built in %d s)\n' "$name" $((SECONDS - started))
  case $name in windows*) hold_wine "$name" ;; esac
  local status=0
  run "$name-tests" ctest --preset "$name" --no-tests=error --output-junit "$result" || status=$?
  local total failures skipped disabled
  total=$(count tests "$result")
  failures=$(count failures "$result")
  # Once in thousands of times wine ends at once without a word, before the program begins.
  if [[ $name = windows* && -n $failures && $failures != 0 &&
        $(silent "$result") = "$failures" ]]; then
    printf '%s: %s of wine'"'"'s starts failed; again\n' "$name" "$failures"
    status=0
    run "$name-again" ctest --preset "$name" --rerun-failed \
      --output-junit "${result%.xml}-again.xml" || status=$?
    failures=$(count failures "${result%.xml}-again.xml")
  fi
  skipped=$(count skipped "$result")
  disabled=$(count disabled "$result")
  if [ -z "$total" ]; then
    report "$name" 0 1 $((SECONDS - started))
    return
  fi
  # A test that could not be started counts as not run there, and nothing as failed.
  if [ "$status" != 0 ] && [ "$failures" = 0 ]; then failures=1; skipped=$((skipped - 1)); fi
  report "$name" $((total - failures - skipped - disabled)) "$failures" $((SECONDS - started))
}

case $what in
  all)
    check format scripts/format.sh --check
    check layers python3 tools/check_layers.py .
    check cppcheck scripts/cppcheck.sh
    check dialect scripts/msvc_dialect.sh
    check reference scripts/docs.sh
    configurations=(linux asan tsan windows windows-shared) ;;
  windows) configurations=(windows windows-shared) ;;
  *)       configurations=("$what") ;;
esac
for name in "${configurations[@]}"; do
  configuration "$name"
done
if [ "$what" = all ]; then fuzzing; fi

printf '\n'
printf '%s\n' "${summary[@]}"
printf '%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" = 0 ]
