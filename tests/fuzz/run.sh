#!/bin/sh
# Runs fuzzers that are built: run.sh BUILD SECONDS [TARGET...]
#
# Each target runs for SECONDS, as many at a time as there are processors.  It starts from
# the committed corpus and from what earlier runs have found; what is new goes to
# BUILD/corpus.  One line per target tells how many inputs were run, how much of the code
# they reached, how many inputs were added, and whether one of them is a bug.  The last
# line is "N passed, N failed", a number of targets each.
#
# A bug stops its target.  The input stays in BUILD/crashes, and the command that repeats
# it is printed with the last lines of the log.
set -u
here=$(cd "$(dirname "$0")" && pwd)

# The processes of a target start afresh after this many seconds: interned strings stay
# until a process ends.
slice_seconds=60

# number NAME LOG  sums up a figure of libFuzzer's final statistics.
number() { awk -v name="stat::$1:" '$1 == name { sum += $2 } END { print sum + 0 }' "$2"; }

# fuzz BUILD SECONDS TARGET  one target, for the whole of its time.
fuzz() {
  build=$1
  left=$2
  target=$3
  program=$build/bin/fuzz_$target
  log=$build/logs/$target.log
  grown=$build/corpus/$target
  mkdir -p "$grown" "$build/crashes" "$build/logs"
  dictionary=
  [ ! -f "$here/dictionaries/$target.dict" ] || dictionary=-dict=$here/dictionaries/$target.dict
  # The rare branches of an input that runs through all of the tree are so many that
  # keeping their statistics takes most of the time.
  schedule=
  case $target in operations* | tree_path) schedule=-entropic=0 ;; esac
  : >"$log"
  status=0
  while [ "$left" -gt 0 ] && [ "$status" = 0 ]; do
    slice=$((left < slice_seconds ? left : slice_seconds))
    left=$((left - slice))
    # shellcheck disable=SC2086
    "$program" "$grown" "$here/corpus/$target" $dictionary $schedule -max_total_time=$slice \
      -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$build/crashes/$target-" >>"$log" 2>&1 || status=$?
  done

  runs=$(number number_of_executed_units "$log")
  added=$(number new_units_added "$log")
  # The figure behind "cov:", at the start and now.
  reached=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | sort -n | sed -n '1p;$p' | tr '\n' ' ')
  first=${reached%% *}
  last=${reached#* }
  last=${last% }
  crashes=0
  [ "$status" = 0 ] || crashes=1
  # A target that reached nothing has fuzzed nothing.
  if [ "$status" = 0 ] && { [ "$runs" = 0 ] || [ -z "$last" ]; }; then
    status=1
    echo "$target: ran no input; see $log"
  fi
  printf '%-22s %9s runs, %6s edges (%s new), %4s inputs added, %s\n' "$target" "$runs" \
    "${last:-0}" "$((${last:-0} - ${first:-0}))" "$added" \
    "$([ $crashes = 0 ] && echo "no crash" || echo CRASHED)"
  [ $crashes = 1 ] || return "$status"
  # What was thrown and where; not the fuzzer's own progress, nor the input as bytes.
  sed -n '/^terminate called\|runtime error:\|==ERROR\|== ERROR/,/^SUMMARY/p' "$log" |
    head -n 60 | cut -c 1-300
  input=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
  if [ -n "$input" ]; then
    echo "  input:  $input"
    echo "  repeat: $program $input"
  fi
  return 1
}

if [ "${1:-}" = --one ]; then
  shift
  results=$1
  shift
  fuzz "$@" >"$results/$3.txt"
  echo $? >"$results/$3.status"
  # In one piece, although others write at the same time.
  cat "$results/$3.txt"
  exit 0
fi

build=$(cd "$1" && pwd)
seconds=$2
shift 2
[ $# -gt 0 ] || set -- $(cd "$here/corpus" && ls)
# What a sanitizer prints says where.
export UBSAN_OPTIONS=print_stacktrace=1
results=$(mktemp -d)
printf '%s\n' "$@" |
  xargs -P "$(nproc)" -I '{}' sh "$0" --one "$results" "$build" "$seconds" '{}'
passed=0
failed=0
for target in "$@"; do
  if [ "$(cat "$results/$target.status" 2>/dev/null)" = 0 ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
  fi
done
rm -rf "$results"
echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
