#!/bin/sh
# Runs a Windows program under Wine:  wine.sh PROGRAM [ARGUMENT...]
#
# Wine's services outlive the program that started them and hold on to its standard
# streams, so whoever waits for the end of a test's output would wait for them, too.
# Hence the server and the services are started ahead, with no streams of a test's.
#
# Where the system places a program's heap at random, that is now and then where Wine has to
# place what Windows shares with every program (some 1 of 10,000 runs); Wine then ends with status
# 1.  Hence without randomness, where that may be had.
#
# Now and then Wine itself dies when a process ends while one of its threads is still
# ending: of SIGSEGV, which no Windows program can die of (an access violation there is exit
# code 5).  Such a run, and no other, is repeated once; each is noted in the file
# wine-crashes of the cache folder, and `./dev windows` tells how many there were.
set -eu

cache=${TREE_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tree-windows}
PATH=$PATH:/usr/lib/wine
export WINEPREFIX="$cache/wine"
export WINEDEBUG=-all,err+module,err+virtual
# Neither .NET nor a browser, no debugger that waits for a user, no menu entries.
export WINEDLLOVERRIDES='mscoree,mshtml=;winedbg.exe=d;winemenubuilder.exe=d'
unset DISPLAY

mkdir -p "$WINEPREFIX"
(
  flock 9
  # The server ends by itself a minute after the last program did.  Starting it fails when
  # it runs already, and then it is warm.
  if wineserver -p60 </dev/null >/dev/null 2>&1 9>&-; then
    wine64 cmd /c exit </dev/null >/dev/null 2>&1 9>&- || true
  fi
) 9>"$WINEPREFIX.lock"

# Windows gives a process no more memory than it can back.  Wine has no such limit, and
# takes a minute and gigabytes to think about a request for terabytes.  It lifts a limit that
# may be lifted.
ulimit -v 67108864 2>/dev/null || true  # a lower one is as good

without_randomness=
if setarch -R true 2>/dev/null; then without_randomness='setarch -R'; fi

for attempt in first second; do
  status=0
  $without_randomness wine64 "$@" || status=$?
  [ "$status" = 139 ] && [ "$attempt" = first ] || break
  echo "$*" >>"$cache/wine-crashes"
  echo "wine.sh: Wine has crashed; once again" >&2
done
exit "$status"
