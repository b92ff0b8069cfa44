#!/usr/bin/env bash
# valgrind.sh CELLSCOPE KELVANE_HUB TEST…: whole runs of both programs, each an end-to-end test, under valgrind.
# Fails if a test does, or if there was an error or a leak in any process.
set -euo pipefail

client=$1 hub=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# wrap NAME PROGRAM: a program that runs PROGRAM under valgrind.
wrap() {
  cat >"$work/$1" <<END
#!/bin/sh
exec valgrind --quiet --leak-check=full --show-leak-kinds=definite,indirect,possible --errors-for-leak-kinds=all \\
  --log-file=$work/log.$1.%p "$2" "\$@"
END
  chmod +x "$work/$1"
}
wrap cellscope "$client"
wrap kelvane-hub "$hub"

CELLSCOPE_CLIENT=$work/cellscope KELVANE_HUB=$work/kelvane-hub KELVANE_HUB_PROGRAM=$work/kelvane-hub \
  python3 -B -m unittest -v "$@"
logs=("$work"/log.*)
ls "${logs[@]}" >/dev/null
# Of what valgrind does not know of the system, it tells between dashes.
! grep -h '^==' "${logs[@]}"
