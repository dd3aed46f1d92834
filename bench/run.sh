#!/bin/sh
# Runs the measurements, prints the tables and draws the plots.
#
#   bench/run.sh <folder with tree_bench and tree_memory> [--quick] [--filter EXPRESSION]
#                [options of Google Benchmark about repetitions]
#
# --quick           up to 100,000 leaves, three repetitions: under two minutes.
# --filter          a regular expression for names, which are
#                   subject/operation/variant/threads:n/contestant; no plots then.
# TREE_BENCH_JSON   where the figures go; build/bench/results.json when not set.  Those of
#                   memory stand beside it.
# TREE_BENCH_DOCS   where a full run puts the plots and its tables; docs/benchmarks when not
#                   set.  A quick run puts its own into plots/ beside the figures.
#
# The contestants of one operation take turns, in random order, so that a busy spell of the
# machine does not fall on one of them alone.  The tables show medians and how far the
# repetitions were apart.

set -eu

if [ $# -eq 0 ]; then
  echo "usage: $0 <folder> [--quick] [--filter EXPRESSION] [options of Google Benchmark]" >&2
  exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
programs=$1
shift

repetitions=5
quick=
filter=
# The options are put in order behind the others: --filter takes the next one.
count=$#
while [ "$count" -gt 0 ]; do
  option=$1
  shift
  count=$((count - 1))
  case $option in
    --quick)
      quick=--quick
      repetitions=3
      ;;
    --filter)
      [ "$count" -gt 0 ] || { echo "$0: --filter needs an expression" >&2; exit 2; }
      filter=$1
      shift
      count=$((count - 1))
      ;;
    --filter=*) filter=${option#--filter=} ;;
    *) set -- "$@" "$option" ;;
  esac
done

json=${TREE_BENCH_JSON:-$here/../build/bench/results.json}
memory=${json%.json}-memory.json
mkdir -p "$(dirname "$json")"
# What an interrupted run leaves behind must not pass for results.
rm -f "$json" "$memory"

echo "Measuring; the tables come at the end." >&2
"$programs/tree_bench" $quick --filter="$filter" --json="$json.part" \
  --benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving=true "$@" \
  2>"$json.log" || {
  cat "$json.log" >&2
  exit 1
}
mv "$json.part" "$json"
rm -f "$json.log"
if [ -n "$filter" ]; then
  python3 "$here/table.py" "$json"
  exit 0
fi

set -- "$json"
if [ -x "$programs/tree_memory" ]; then
  "$programs/tree_memory" $quick --json="$memory" 2>"$memory.log" || {
    cat "$memory.log" >&2
    exit 1
  }
  rm -f "$memory.log"
  set -- "$json" "$memory"
fi
python3 "$here/table.py" "$@"
if [ -n "$quick" ]; then
  python3 "$here/plot.py" "$(dirname "$json")/plots" "$@"
else
  docs=${TREE_BENCH_DOCS:-$here/../docs/benchmarks}
  python3 "$here/plot.py" "$docs" "$@"
  python3 "$here/report.py" "$docs" "$@"
fi
