#!/usr/bin/env bash
# package.sh MANUAL…: does the installed package do what it is for? Run as a user, in a root file system that has
# nothing else of the project.
set -euo pipefail
cd "$(mktemp -d)"

# expect WHAT EXPECTED FOUND
expect() {
  [ "$2" = "$3" ] || { printf '%s: expected:\n%s\nfound:\n%s\n' "$@" >&2; exit 1; }
}

automation_mode() {
  local report=/data/APT_Automation/x.txt client status=0 deadline=$((SECONDS + 60))
  echo 'steps { at: 0 cells { cells { registered: true cell_type: 1 gsm { cell_identity { arfcn: 62 } } } } }' >gsm.textproto
  # Without PATH: the library knows where its hub is.
  PATH=/nowhere KELVANE_HUB_SCENARIO=gsm.textproto /usr/bin/cellscope operation=1 request_id=1 filename=x.txt >progress 2>diagnostics &
  client=$!
  until grep -qs Listening "$report"; do
    [ $SECONDS -lt $deadline ] || { cat progress diagnostics >&2; expect "after 60 s" "a report" "$(cat "$report")"; }
    read -rt 0.1 <> <(:) || true
  done
  expect "pid file" "Request_1 : $client" "$(cat /data/APT_Automation/wwan_test_output_pid_1.txt)"
  kill -INT "$client"
  wait "$client" || status=$?
  expect "exit status" 0 "$status"
  expect "report" "\
Input given 1
connecting to on-change sensor
Payload size: 16
10 14 8 0 16 1 24 1 32 1 42 4 10 2 40 62 
Received serving neighboring cell info on Sub :0
serving neighboring cell info. Number of cells: 1

=== Cell 1 === {Log Time: T,Cell Type: 1,Timestamp: 0,Timestamp Type: 1,Registered: 1}

== GSM Cell Identity == {MCC: 0,MNC: 0,LAC: 0,CID: 0,ARFCN: 62,BSIC: 0}

== GSM Signal Strength == {Signal Strength: 0,Bit Error Rate: 0,Timing Advance: 0}
Listening For On Change Sensor indications
Got the  signal for 2" "$(sed -E 's/Log Time: [0-9]+/Log Time: T/' "$report" | uniq)"
}

# Another session library takes the stand-in's place; one that has no hub says where it looked for it.
another_session_library() {
  mkdir -p a/b/c/d
  cp /usr/lib/*/cellscope/libkelvanesession.so a/b/c/d
  expect "hub of a library elsewhere" "libkelvanesession: no session with the private hub: cannot start kelvane-hub:\
 No such file or directory; looked in $PWD/a/b/c/d, $PWD/a/bin, PATH; KELVANE_HUB_PROGRAM can name it" \
    "$(PATH=/nowhere LD_LIBRARY_PATH=$PWD/a/b/c/d /usr/bin/cellscope <<<$'1\n-1' 2>&1 >/dev/null | head -n 1)"
}

# The library that captures stands beside the stand-in.
capture() {
  LD_PRELOAD=$(echo /usr/lib/*/cellscope/libkelvanecapture.so) KELVANE_CAPTURE=run.pcap /usr/bin/cellscope <<<$'1\n-1' >/dev/null 2>&1
  expect "first bytes of a capture" 4d3cb2a1 "$(od -An -tx1 -N4 run.pcap | tr -d ' ')"
}

scenarios() {
  local scenario
  for scenario in /usr/share/cellscope/scenarios/*.textproto; do
    kelvane-hub check "$scenario" >description || expect "$scenario" "a scenario" "$(cat description)"
  done
}

# complete PROGRAM WORD…: what TAB offers after the last word.
complete_line() {
  . "/usr/share/bash-completion/completions/$1"
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE=$* COMP_POINT=${#COMP_LINE}
  compopt() { :; }
  "_${1//-/_}" "$1"
  echo "${COMPREPLY[*]}"
}

completion() {
  expect "completion of a key" operation= "$(complete_line cellscope op)"
  expect "completion of a subcommand" serve "$(complete_line kelvane-hub se)"
  expect "completion of a scenario" /usr/share/cellscope/scenarios/built_in_scenario.textproto \
    "$(complete_line kelvane-hub check built_)"
}

manuals() {
  local manual
  for manual in "$@"; do
    grep -q "^\.TH \"${manual%.*}\" \"${manual##*.}\"" <(zcat "/usr/share/man/man${manual##*.}/$manual.gz") ||
      expect "$manual" "a manual page" "none"
  done
}

dissector() {
  local found=(/usr/lib/*/wireshark/plugins/kelvane.lua)
  grep -q serving_neighboring_cell_info "${found[0]}" || expect "${found[0]}" "a dissector" none
}

automation_mode
dissector
another_session_library
capture
scenarios
completion
manuals "$@"
