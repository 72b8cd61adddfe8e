#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds and tests; goes on to the next step after a failure. The last line counts the tests of all
# configurations; each check and each fuzzer beside them counts as one. What does not show that it
# passed has failed.
#
#   scripts/test.sh [linux|asan|tsan|windows|arm64]     default: everything but arm64
#
# Needs and installs setup's "linux", "windows" and "arm64"; leaves the builds and build/logs.
set -uo pipefail
cd "$(dirname -- "${BASH_SOURCE[0]}")/.." || exit 1
source scripts/env.sh
unset "${!GTEST_@}"  # a filter or a shard would leave tests out

what=${1:-all}
case $what in
  all|linux|asan|tsan|windows|arm64) ;;
  *) echo "usage: scripts/test.sh [linux|asan|tsan|windows|arm64]" >&2; exit 2 ;;
esac

logs=build/logs
mkdir -p "$logs"
passed=0
failed=0
summary=()

# report NAME PASSED FAILED SECONDS
report() {
  local passes=$2 failures=$3 line
  # No count, or nothing counted: nothing was tested.
  if ! [[ $passes =~ ^[0-9]+$ && $failures =~ ^[0-9]+$ && $passes$failures =~ [1-9] ]]; then
    passes=0 failures=1
  fi
  passed=$((passed + passes))
  failed=$((failed + failures))
  line=$(printf '%-16s %5d passed, %d failed  (%d s)' "$1" "$passes" "$failures" "$4")
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

# So many inputs each, always the same ones as long as the code takes the same turns.
fuzzing() {
  local started=$SECONDS status=0 passes failures
  run fuzz scripts/fuzz.sh --runs 20000 || status=$?
  passes=$(grep -c '^fuzz: .* passed' "$logs/fuzz.log")
  failures=$(grep -c '^fuzz: .* failed' "$logs/fuzz.log")
  # Not even built, or broken off.
  if [ "$status" != 0 ] && [ "$failures" = 0 ]; then failures=1; fi
  report fuzz "$passes" "$failures" $((SECONDS - started))
}

# Programs for Windows on ARM64 are only looked at.
runs_wine() { [[ $1 = windows* && $1 != *-arm64 ]]; }

# Without one live process wine boots its services for every test program that is asked what it has.
hold_wine() {
  trap 'tools/zig/bin/wine-session stop build/wine-session.pid' EXIT
  tools/zig/bin/wine-session start build/wine-session.pid "build/$1/bin/wine_hold.exe"
}

# Asks every test program what it has, whatever an earlier run left; none may have nothing.
list_tests() {  # list_tests PRESET LISTING
  local empty
  find "build/$1" -name '*_tests.cmake' -delete || return
  ctest --preset "$1" --show-only=json-v1 >"$2" || return
  empty=$(find "build/$1" -name '*_tests.cmake' -exec grep -L 'add_test(' {} +)
  [ -z "$empty" ] || { printf 'no tests in %s\n' "$empty"; return 1; }
}

configuration() {  # configuration PRESET
  local name=$1 started=$SECONDS status=0 counts passes failures silent
  local listing=$logs/$1-tests.json
  local result=$PWD/$logs/$1-tests.xml again=$PWD/$logs/$1-again.xml
  printf '%s: building\n' "$name"
  # Afresh: a folder's cache may have kept that a part is left out.
  if ! rm -f "$listing" "$result" "$again" ||
     ! run "$name-configure" cmake --preset "$name" --fresh ||
     ! run "$name-build" cmake --build --preset "$name" -j "$(nproc)" -- -k 0; then
    report "$name" 0 1 $((SECONDS - started))
    return
  fi
  printf '%s: testing (built in %d s)\n' "$name" $((SECONDS - started))
  if runs_wine "$name" && ! run "$name-wine" hold_wine "$name" ||
     ! run "$name-list" list_tests "$name" "$listing"; then
    report "$name" 0 1 $((SECONDS - started))
    return
  fi
  run "$name-tests" ctest --preset "$name" --no-tests=error --output-junit "$result" || status=$?
  counts=$(python3 tools/count_tests.py "$listing" "$status" "$result")
  read -r passes failures silent <<<"$counts"
  # Once in thousands of times wine ends at once without a word, before the program begins.
  if runs_wine "$name" && [[ ${silent:-0} != 0 && $silent = "$failures" ]]; then
    printf '%s: %s of wine'"'"'s starts failed; again\n' "$name" "$failures"
    status=0
    run "$name-again" ctest --preset "$name" --rerun-failed --output-junit "$again" || status=$?
    counts=$(python3 tools/count_tests.py "$listing" "$status" "$result" "$again")
    read -r passes failures silent <<<"$counts"
  fi
  report "$name" "$passes" "$failures" $((SECONDS - started))
}

case $what in
  all)     steps=(setup-linux setup-windows format layers words locks style cppcheck dialect
                  workflows reference linux asan tsan windows windows-shared windows-msvc-abi fuzz) ;;
  arm64)   steps=(setup-linux setup-windows setup-arm64 linux-arm64 windows-arm64) ;;
  windows) steps=(setup-windows windows windows-shared windows-msvc-abi) ;;
  *)       steps=(setup-linux "$what") ;;
esac
unfinished=${#steps[@]}
for step in "${steps[@]}"; do
  case $step in
    setup-*)   scripts/setup.sh "${step#setup-}" || report "$step" 0 1 0 ;;
    format)    check format scripts/format.sh --check ;;
    layers)    check layers python3 tools/check_layers.py . ;;
    words)     check words python3 tools/check_words.py bench cmake docs examples fuzz packaging \
                 scripts tests tools velta CHANGELOG.md CONTRIBUTING.md README.md ;;
    locks)     check locks scripts/thread_safety.sh ;;
    style)     check style scripts/tidy.sh --style ;;
    cppcheck)  check cppcheck scripts/cppcheck.sh ;;
    dialect)   check dialect scripts/msvc_dialect.sh ;;
    workflows) check workflows scripts/workflows.sh ;;
    reference) check reference scripts/docs.sh ;;
    fuzz)      fuzzing ;;
    *)         configuration "$step" ;;
  esac
  unfinished=$((unfinished - 1))
done

printf '\n'
printf '%s\n' "${summary[@]}"
failed=$((failed + unfinished))  # the shell leaves the loop at some errors, and goes on after it
printf '%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" = 0 ]
