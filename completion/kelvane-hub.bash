# bash completion for kelvane-hub: what the program's own --help says that it takes.

# _kelvane_hub_files PREFIX [ENDING]: files of that ending, and the folders on the way to more.
_kelvane_hub_files() {
  compgen -f ${2:+-X "!*.$2"} -- "$1"
  [[ -z $2 ]] || compgen -d -- "$1"
}

# _kelvane_hub_scenarios PREFIX: also the installed ones, by their name alone.
_kelvane_hub_scenarios() {
  local folder folders
  _kelvane_hub_files "$1" textproto
  [[ $1 != */* ]] || return
  IFS=: read -ra folders <<<"${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
  for folder in "${folders[@]}"; do
    compgen -G "${folder%/}/cellscope/scenarios/$1*.textproto"
  done
}

# _kelvane_hub_profiles PREFIX: files, and the names of what is installed.
_kelvane_hub_profiles() {
  local folder folders profile
  _kelvane_hub_files "$1" textproto
  IFS=: read -ra folders <<<"${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
  for folder in "${folders[@]}"; do
    for profile in "${folder%/}/cellscope/profiles/$1"*.textproto; do
      [[ ! -e $profile ]] || basename "$profile" .textproto
    done
  done
}

# _kelvane_hub_values COMMAND KIND PREFIX: KIND is what the help calls the value.
_kelvane_hub_values() {
  case $1:$2 in
    serve:FILE | check:FILE | run:SCENARIO) _kelvane_hub_scenarios "$3" ;;
    *:PROFILE) _kelvane_hub_profiles "$3" ;;
    *:FILE.*) _kelvane_hub_files "$3" "${2#*.}" ;;
    *:FILE | *:PATH | *:SOCKET) _kelvane_hub_files "$3" ;;
    *:N'|'*) compgen -W "${2#*|}" -- "$3" ;;
    *:*'|'*) compgen -W "${2//|/ }" -- "$3" ;;
  esac
}

# _kelvane_hub_program INDEX PREFIX: a program, which is the word of that index, or what it takes.
_kelvane_hub_program() {
  if declare -F _command_offset >/dev/null; then
    _command_offset "$1"
  elif ((COMP_CWORD == $1)); then
    mapfile -t COMPREPLY < <(compgen -c -- "$2")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$2")
  fi
}

# _kelvane_hub_orders PROGRAM CUR [SOCKET [COMMAND]]: what the hub at SOCKET says that it takes next.
_kelvane_hub_orders() {
  local program=${1/#\~/$HOME} cur=$2 line words=()
  case $#:$4 in
    2:) _kelvane_hub_files "$cur" ;;
    3: | 4:help)
      while read -r line; do words+=("${line%% *}"); done < <("$program" control "$3" help 2>/dev/null)
      compgen -W "${words[*]%OK}" -- "$cur"
      ;;
    4:set)
      compopt -o nospace
      compgen -W "$("$program" control "$3" help set 2>/dev/null | grep '=$') cell= sub=" -- "$cur"
      ;;
    4:fault)
      compopt -o nospace
      compgen -W "$("$program" control "$3" help fault 2>/dev/null | grep -x '[a-z_]*=\?')" -- "$cur"
      ;;
    4:record) _kelvane_hub_files "$cur" textproto ;;
    4:capture) _kelvane_hub_files "$cur" pcap ;;
  esac
}

_kelvane_hub() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  # --option=value is three words.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  local word i command= orders=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
    [[ -z $command ]] || orders+=("$word")
    [[ -n $command || $word == -* ]] || command=$word
  done
  # Behind -- stands another program's command line.
  for ((i = 2; i < COMP_CWORD; ++i)); do
    [[ $command != run || ${COMP_WORDS[i]} != -- ]] || { _kelvane_hub_program $((i + 1)) "$cur" && return; }
  done

  local line section= names kind= positional= commands=() options=()
  local heading='^([A-Z][a-z]+):$' option='^  (-[^ ]+)( ([^ (]+))?' other='^  ([a-z]+) +([^ ]+)'
  while IFS= read -r line; do
    if [[ $line =~ $heading ]]; then
      section=${BASH_REMATCH[1]}
    elif [[ $section == Options && $line =~ $option ]]; then
      names=" ${BASH_REMATCH[1]//,/ } "
      [[ $names != *" $prev "* ]] || kind=${BASH_REMATCH[3]}
      options+=("${BASH_REMATCH[1]##*,}")
    elif [[ $section == Subcommands && $line =~ $other ]]; then
      commands+=("${BASH_REMATCH[1]}")
    elif [[ $section == Positionals && $line =~ $other ]]; then
      [[ -n $positional ]] || positional=${BASH_REMATCH[2]}
    fi
  done < <("${1/#\~/$HOME}" ${command:+"$command"} --help 2>/dev/null)

  COMPREPLY=()
  if [[ -z $kind && $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${options[*]}" -- "$cur")
  elif [[ -z $kind && -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${commands[*]}" -- "$cur")
  elif [[ $command == control ]]; then
    [[ ${COMP_WORDS[COMP_CWORD]} == = || ${COMP_WORDS[COMP_CWORD - 1]} == = ]] ||
      mapfile -t COMPREPLY < <(_kelvane_hub_orders "$1" "$cur" "${orders[@]:0:2}")
  else
    compopt -o filenames
    mapfile -t COMPREPLY < <(_kelvane_hub_values "$command" "${kind:-$positional}" "$cur")
  fi
}

complete -F _kelvane_hub kelvane-hub
