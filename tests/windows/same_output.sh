#!/bin/sh
# Compares what cfgtree prints on Linux and on Windows for the commands of the demo.
#
#   same_output.sh LINUX-PROGRAM WORK-FOLDER EMULATOR WINDOWS-PROGRAM
#
# Line ends aside; the figures that are times must be there, but may differ.
set -eu

native=$1
work=$2
emulator=$3
windows=$4
demo=$(cd "$(dirname "$0")/../.." && pwd)/tools/cfgtree/demo.sh

for needed in "$native" /usr/share/iso-codes/json/iso_3166-1.json \
  /usr/share/mime/packages/freedesktop.org.xml; do
  if [ ! -r "$needed" ]; then
    echo "Skipped: there is no $needed to compare with"
    exit 0
  fi
done

mkdir -p "$work"
printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$emulator" "$windows" >"$work/cfgtree"
chmod +x "$work/cfgtree"

# Seconds, with their fraction.
without_times() {
  tr -d '\r' | sed -E 's/^((reading|building|[a-z ]*time)	)[0-9]+\.[0-9]+$/\1TIME/'
}

sh "$demo" "$native" >"$work/linux.raw" 2>&1
sh "$demo" "$work/cfgtree" >"$work/windows.raw" 2>&1
without_times <"$work/linux.raw" >"$work/linux.txt"
without_times <"$work/windows.raw" >"$work/windows.txt"

commands=$(grep -c '^\$ cfgtree' "$work/linux.txt")
[ "$commands" -ge 10 ] || { echo "the demo has only $commands commands" >&2; exit 1; }
diff -u "$work/linux.txt" "$work/windows.txt"
echo "$commands commands, the same output"
