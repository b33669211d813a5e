# Sourced by ./run, ./test and .ci/run, from the project's root.
# shellcheck shell=bash disable=SC2034

product_packages=(g++ cmake ninja-build nlohmann-json3-dev libcli11-dev libfmt-dev libssl-dev)
test_packages=(doctest-dev libbenchmark-dev libgmp-dev python3 python3-pefile openssl binutils)
windows_packages=(g++-mingw-w64-x86-64-win32 g++-mingw-w64-i686-win32 wine wine64 mmdebstrap xvfb)
check_packages=(clang clang-format libclang-rt-14-dev)
# The one build for sanitizers and fuzzers.
sanitize_options=(-DCMAKE_CXX_COMPILER=clang++ -DKV_SANITIZE=ON -DKV_FUZZ=ON -DKV_TESTS=ON -DKV_BENCHMARKS=OFF)

# need_packages NAME...: installs the Debian packages that are missing; other systems are told which. Nothing of it on
# standard output.
need_packages() {
  local missing=() name
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    echo "Nothing is installed, this is no Debian. Going on; needed are what Debian calls $*" >&2
    return
  fi
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q 'install ok installed' || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing ${missing[*]} ..." >&2
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  if ! { "${as_root[@]}" apt-get update -qq &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >&2; then
    echo "Cannot install ${missing[*]}: install them by hand (Debian packages) and try again." >&2
    exit 1
  fi
}

# build FOLDER [CMAKE OPTION...] [-- TARGET...]: configures and builds incrementally. Compiler output only when it
# fails, and on standard error.
build() {
  local folder=$1 options=() log problem
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do
    options+=("$1")
    shift
  done
  [ $# -gt 0 ] && shift
  log=$folder/build.log
  if ! problem=$({ mkdir -p "$folder" && : >"$log"; } 2>&1); then
    echo "Cannot build in $PWD/$folder (${problem##*: }): make it your own with sudo chown -R, or remove it" >&2
    exit 1
  fi
  [ -t 2 ] && [ ! -e "$folder/build.ninja" ] && echo "Building (the first time takes a minute or two) ..." >&2
  if ! { cmake -S . -B "$folder" -G Ninja "${options[@]}" && cmake --build "$folder" ${1:+--target "$@"}; } >"$log" 2>&1; then
    { grep -nE 'error|warning|FAILED|CMake Error' "$log" || tail -n 20 "$log"; } | head -n 20 >&2
    echo "The build failed; all of its output is in $log" >&2
    exit 1
  fi
}
