#!/bin/sh
# Runs the measurements and prints one table per subject.
#
#   bench/run.sh <tree_bench> [--quick] [options of Google Benchmark]
#
# --quick           smaller rounds, three repetitions: under two minutes.
# TREE_BENCH_JSON   where the figures go; build/bench/results.json when not set.
#
# All measurements are repeated in an order that mixes them, so that a busy spell of the
# machine does not fall on one contestant alone.  The tables show medians and how far the
# repetitions were apart.

set -eu

if [ $# -eq 0 ]; then
  echo "usage: $0 <tree_bench> [--quick] [options of Google Benchmark]" >&2
  exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
program=$1
shift

repetitions=5
for argument in "$@"; do
  if [ "$argument" = --quick ]; then repetitions=3; fi
done

json=${TREE_BENCH_JSON:-$here/../build/bench/results.json}
mkdir -p "$(dirname "$json")"
# What an interrupted run leaves behind must not pass for results.
rm -f "$json"

echo "Measuring; the tables come at the end." >&2
"$program" --benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving=true \
  --benchmark_out="$json.part" --benchmark_out_format=json "$@" > "$json.log" 2>&1 || {
  cat "$json.log" >&2
  exit 1
}
rm -f "$json.log"
mv "$json.part" "$json"
python3 "$here/table.py" "$json"
