#!/bin/sh
# hardening.sh BINARY…: are the binaries built as release builds are to be?
failed=0
# expect BINARY WHAT PATTERN TOOL…: PATTERN is in what TOOL says of BINARY.
expect() {
  binary=$1 what=$2 pattern=$3
  shift 3
  if ! "$@" "$binary" | grep -qE "$pattern"; then
    echo "$binary: expected $what, found none" >&2
    failed=1
  fi
}
for binary in "$@"; do
  expect "$binary" "a position-independent file" 'Type: +DYN' readelf -hW
  expect "$binary" "a read-only relocation segment" GNU_RELRO readelf -lW
  expect "$binary" "immediate binding" 'BIND_NOW|Flags:.* NOW' readelf -dW
  expect "$binary" "a stack that is not executable" 'GNU_STACK.* RW ' readelf -lW
  if readelf -dW "$binary" | grep -E 'R(UN)?PATH.*(\[:|::|:\]|\[\])' >&2; then
    echo "$binary: expected no empty element in the path, which stands for the current folder" >&2
    failed=1
  fi
  expect "$binary" "stack protection" __stack_chk_fail readelf -sW --dyn-syms
done
# Not every binary calls a function that has a checked twin.
expect "$1" "fortified functions" '_chk@' readelf -sW --dyn-syms
exit $failed
