# Sourced by the scripts beside it: installs what is missing, configures, builds.
# What it says goes to standard error; standard output belongs to the program.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build_packages=(g++ cmake ninja-build protobuf-compiler libprotobuf-dev libcli11-dev
  nlohmann-json3-dev libgtest-dev python3)
test_packages=(gnuplot-nox valgrind zsh)
clang_packages=(clang libclang-rt-dev clang-format clang-tidy)
package_packages=(dpkg-dev file scdoc)

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# install_missing PACKAGE…
install_missing() {
  local package missing=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing what is missing: ${missing[*]}" >&2
  as_root apt-get update -qq >&2
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# build PRESET [TARGET]: builds what has changed; says nothing unless something goes wrong.
build() {
  local log=".build-$1.log"
  if ! { cmake --preset "$1" -DCELLSCOPE_WERROR="${CI:+ON}" && cmake --build --preset "$1" ${2:+--target "$2"}; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    exit 1
  fi
  rm -f "$log"
}
