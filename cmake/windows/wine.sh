#!/bin/sh
# Runs a Windows program under Wine:  wine.sh PROGRAM [ARGUMENT...]
#
# Wine's services outlive the program that started them and hold on to its standard
# streams, so whoever waits for the end of a test's output would wait for them, too.
# Hence the server and the services are started ahead, with no streams of a test's.
set -eu

PATH=$PATH:/usr/lib/wine
export WINEPREFIX="${TREE_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/tree-windows}/wine"
export WINEDEBUG=-all,err+module
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

exec wine64 "$@"
