#!/bin/sh
# Builds what the Windows build needs of other projects into a cache folder, once:
#
#   dependencies.sh CACHE-FOLDER
#
# Sources come from Debian's source packages, through lists of their own, so that nothing
# under /etc changes.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
cache=$1

# What is there is good as long as nothing it was made from has changed.
stamp=$(cat "$here/toolchain.cmake" "$0" $(find "$here/dependencies" -type f | LC_ALL=C sort) |
  cksum)
[ "$(cat "$cache/prefix/stamp" 2>/dev/null)" != "$stamp" ] || exit 0

mkdir -p "$cache"
cd "$cache"
rm -rf apt source build prefix
mkdir -p apt/parts apt/lists/partial apt/cache/archives/partial source

for list in /etc/apt/sources.list.d/*.sources; do
  [ -e "$list" ] || continue
  sed 's/^Types:.*/Types: deb-src/' "$list" >"apt/parts/$(basename "$list")"
done
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
  [ -e "$list" ] || continue
  sed -n 's/^deb /deb-src /p' "$list" >"apt/parts/$(basename "$list" .list).list"
done

# apt NAME ARGUMENT...  a program of apt's with our lists.
apt() {
  program=apt-$1
  shift
  "$program" -qq -o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$cache/apt/parts" \
    -o "Dir::State::Lists=$cache/apt/lists" -o "Dir::Cache=$cache/apt/cache" \
    -o APT::Sandbox::User= "$@"
}

# source PACKAGE  unpacks it as source/PACKAGE; the newest version that the archive hands out.
source_of() {
  for version in $(apt cache showsrc "$1" | sed -n 's/^Version: //p' | sort -Vru); do
    if (cd source && apt get source "$1=$version"); then
      mv "source/$1"-*/ "source/$1"
      return 0
    fi
  done
  echo "dependencies.sh: no source package of $1" >&2
  return 1
}

apt get update
source_of ace
source_of expat

cmake -S "$here/dependencies" -B build -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$here/toolchain.cmake" -DCMAKE_INSTALL_PREFIX="$cache/prefix" \
  -DACE_SOURCE="$cache/source/ace" -DEXPAT_SOURCE="$cache/source/expat/expat" \
  -DGOOGLETEST_SOURCE=/usr/src/googletest
cmake --build build
cmake --install build
rm -rf apt build source
echo "$stamp" >prefix/stamp
