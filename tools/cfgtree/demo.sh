#!/bin/sh
# A short guided tour of cfgtree over files that other people wrote.
#
#   demo.sh PATH-OF-CFGTREE
#
# Needs the packages iso-codes and shared-mime-info, and this repository's examples.
set -eu

if [ $# -ne 1 ] || [ ! -x "$1" ]; then
  echo "usage: demo.sh PATH-OF-CFGTREE" >&2
  exit 2
fi
program=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
examples=$(cd "$(dirname "$0")/../../examples" && pwd)
countries=/usr/share/iso-codes/json/iso_3166-1.json
types=/usr/share/mime/packages/freedesktop.org.xml
for file in "$countries" "$types"; do
  if [ ! -r "$file" ]; then
    echo "demo.sh: $file is missing; install iso-codes and shared-mime-info" >&2
    exit 1
  fi
done

if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then
  bold=$(printf '\033[1m') dim=$(printf '\033[2m') plain=$(printf '\033[0m')
else
  bold='' dim='' plain=''
fi

heading() { printf '\n%s%s%s\n' "$bold" "$*" "$plain"; }

# show ARGUMENT...  prints the command as one would type it, and runs it.
show() {
  line=cfgtree
  for argument in "$@"; do
    case $argument in
      *[!a-zA-Z0-9_./:=-]*) line="$line '$argument'" ;;
      *) line="$line $argument" ;;
    esac
  done
  printf '%s$ %s%s\n' "$dim" "$line" "$plain"
  "$program" "$@"
}

# show_difference OLD NEW  shows what two files differ in; that they do is exit code 1.
show_difference() {
  show diff "$@" || [ $? -eq 1 ]
}

# Short names for the files keep the commands on one line.
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT INT TERM
ln -s "$countries" "$folder/countries.json"
ln -s "$types" "$folder/mime-types.xml"
cp "$examples/ferry.reg" "$examples/ferry-site.reg" "$folder"
cd "$folder"
ferry='HKEY_LOCAL_MACHINE\SOFTWARE\Example\Ferry'

heading "1. A file becomes a tree: Debian's list of countries, JSON"
show print countries.json --lines 18

heading "2. Look-ups by path, as the library does them; names are joined by backslashes"
show get countries.json '3166-1\1\name'
show ls countries.json '3166-1\1'

heading "3. Every place where a relative path exists"
show search countries.json common_name --limit 4

heading "4. XML: the desktop's file types. A repeated name takes a number"
show ls mime-types.xml 'mime-info\mime-type[2]\magic'
show search mime-types.xml 'magic\@priority' --limit 3

heading "5. A Windows registry export, UTF-16; types stay in sight"
show ls ferry.reg "$ferry\\Listeners\\Admin"

heading "6. What the tree costs: nodes, strings stored once, pools, time"
show stats mime-types.xml

heading "7. Two layers: a registry export, and what one site changes in it"
show print ferry-site.reg "$ferry"
show merge ferry.reg ferry-site.reg -o merged.reg
show_difference ferry.reg merged.reg

heading "8. Which layer supplies a value, and what became of what the others have"
show explain "$ferry\\LogLevel" ferry.reg ferry-site.reg
show explain "$ferry\\Routes" ferry.reg ferry-site.reg
show explain "$ferry\\Routes\\nord\\Host" ferry.reg ferry-site.reg

heading "9. Only what changed: laid over the old file it makes the new one"
show changes ferry.reg merged.reg -o changes.tree 2>&1
show merge ferry.reg changes.tree -o again.reg
show diff merged.reg again.reg

heading "10. Exported for the users of the library, and read back: names, values and checksum agree"
show export mime-types.xml -o mime-types.tree
show diff mime-types.xml mime-types.tree
show checksum mime-types.xml
show checksum mime-types.tree

heading "11. What is wrong is said in one line, with its place"
printf '{\n  "port": 80,\n  "host": db\n}\n' >broken.json
show print broken.json 2>&1 || true
show get countries.json '3166-1\1\capital' 2>&1 || true
