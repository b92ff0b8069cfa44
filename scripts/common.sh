# Sourced by the scripts beside it: installs what is missing, configures, builds.
# What it says goes to standard error; standard output belongs to the program.

set -euo pipefail
caller=$PWD # relative paths are meant from here
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build_packages=(g++ cmake ninja-build protobuf-compiler libprotobuf-dev libcli11-dev
  nlohmann-json3-dev libgtest-dev libpcap-dev libedit-dev python3)
test_packages=(gnuplot-nox tshark valgrind zsh)
clang_packages=(clang libclang-rt-dev clang-format clang-tidy)
package_packages=(dpkg-dev file scdoc)

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# install_missing PACKAGE… One at a time, as build below.
install_missing() (
  exec {lock}>.build-packages.lock
  flock "$lock"
  missing=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || exit 0
  is_installed ccache || missing+=(ccache) # not needed, but a second build is much faster with it
  echo "Installing what is missing: ${missing[*]}" >&2
  as_root apt-get update -qq >&2
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
)

# Shows how far ninja is: on a terminal in one line, else a line now and then.
show_progress() {
  local line last=-1 shown=
  while IFS= read -r line; do
    [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
    local done=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]}
    [ "$done" != 0 ] || continue # it only looks what there is to do
    if [ -t 2 ]; then
      printf '\rBuilding: %d of %d' "$done" "$all" >&2
      shown=yes
    elif [ $((10 * done / all)) != "$last" ]; then
      last=$((10 * done / all))
      printf 'Building: %d of %d\n' "$done" "$all" >&2
    fi
  done
  [ -z "$shown" ] || echo >&2
}

# build PRESET [TARGET]: builds what has changed, and shows how far it is; says no more unless something goes wrong. One at
# a time: another that comes meanwhile waits.
build() (
  log=".build-$1.log"
  exec {lock}>".build-$1.lock"
  flock "$lock"
  if ! { cmake --preset "$1" -DCELLSCOPE_WERROR="${CI:+ON}" && cmake --build --preset "$1" ${2:+--target "$2"}; } 2>&1 |
    tee "$log" | show_progress; then
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
)
