# bash completion for cellscope: the keys of automation mode, each once.

_cellscope() {
  local line=${COMP_LINE:0:COMP_POINT}
  local word=${line##*[[:space:]]} key
  COMPREPLY=()
  case $word in
    operation=*)
      # Where = ends a word, only what stands behind it is replaced.
      [[ $COMP_WORDBREAKS == *=* ]] && key= || key=operation=
      mapfile -t COMPREPLY < <(compgen -P "$key" -W '1 2 3' -- "${word#*=}")
      ;;
    *=*) ;;
    *)
      for key in operation request_id filename rate; do
        [[ $key == "$word"* && $line != *[[:space:]]$key=* ]] && COMPREPLY+=("$key=")
      done
      compopt -o nospace
      ;;
  esac
}

complete -F _cellscope cellscope
