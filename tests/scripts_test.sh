#!/usr/bin/env bash
# What the scripts do where not all is as on the developers' machines, and that the installed tools can be moved.
#
# usage: scripts_test.sh BUILD_FOLDER
set -euo pipefail
root=$(cd "$(dirname "$(readlink -f "$0")")/.." && pwd)
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "$1" >&2
  [ ! -e "$work/errors" ] || cat "$work/errors" >&2
  exit 1
}

# expect EXIT_CODE OUTPUT ERRORS COMMAND...: OUTPUT is the first line of standard output, ERRORS a pattern in standard error.
expect() {
  local code=0 output
  output=$("${@:4}" 2>"$work/errors") || code=$?
  [ "$code" -eq "$1" ] || fail "${*:4}: exit code $code instead of $1"
  [ "${output%%$'\n'*}" = "$2" ] || fail "${*:4}: printed '$output' instead of '$2'"
  [ -z "$3" ] || grep -q -- "$3" "$work/errors" || fail "${*:4}: does not say '$3'"
}

# A project with a program that was built earlier, on a system with a compiler (which only writes down that it was
# called) and without Debian's tools.
mkdir -p "$work"/{tools,project/build/host/bin,project/scripts}
for tool in bash cat cut dirname env grep head mkdir readlink tail; do
  ln -s "$(command -v "$tool")" "$work/tools"
done
printf '#!/usr/bin/env bash\necho "cmake $*"\n' >"$work/tools/cmake"
printf '#!/usr/bin/env bash\necho "kvsim $*"\n' >"$work/project/build/host/bin/kvsim"
chmod +x "$work/tools/cmake" "$work/project/build/host/bin/kvsim"
cp "$root"/{run,test} "$work/project"
cp "$root/scripts/common.sh" "$work/project/scripts"
on_other_system() { PATH=$work/tools "$work/project/$1" "${@:2}"; }

expect 0 "kvsim boot there" "needed are .* g++ cmake .*libssl-dev" on_other_system run boot there
grep -q "^cmake --build build/host" "$work/project/build/host/build.log" || fail "run: nothing was built"
expect 0 "usage: ./test [--windows]" "" on_other_system test --help
expect 2 "" "unknown argument '--windoze'" on_other_system test --windoze

# Whoever runs this, nobody can write to a log that is a folder, or make a folder below a file.
rm "$work/project/build/host/build.log"
mkdir "$work/project/build/host/build.log"
expect 1 "" "Cannot build in $work/project/build/host (Is a directory)" on_other_system run boot there
rm -r "$work/project/build"
touch "$work/project/build"
expect 1 "" "Cannot build in $work/project/build/host (Not a directory)" on_other_system run boot there
rm "$work/project/build"

# Whether 32-bit programs run is decided by what one of them says. Here a root has been made, and entering it starts the
# stand-in for Wine's loader: one for another processor, which the kernel refuses; one that says nothing; one that runs.
if [ -x /usr/lib/wine/wine ]; then
  echo "scripts: the refusal of 32-bit programs is not asked, this machine has a Wine of its own for them"
else
  mkdir -p "$work/project/build/wine32/root"
  touch "$work/project/build/wine32/root/.complete"
  cp "$root/scripts/wine32" "$work/project/scripts"
  ln -s "$(type -P realpath)" "$work/tools"
  printf '#!/usr/bin/env bash\necho 0\n' >"$work/tools/id"
  chmod +x "$work/tools/id"
  enter_by() { cp "$1" "$work/tools/unshare" && chmod +x "$work/tools/unshare"; }
  cp "$(readlink -f "$(type -P true)")" "$work/foreign"
  printf '\xff' | dd of="$work/foreign" bs=1 seek=18 conv=notrunc status=none # e_machine
  enter_by "$work/foreign"
  expect 1 "" "does not run a 32-bit program: .*Exec format error" on_other_system scripts/wine32 prepare
  enter_by "$(type -P true)"
  expect 1 "" "does not run a 32-bit program: $" on_other_system scripts/wine32 prepare
  printf '#!/usr/bin/env bash\necho wine-8.0\n' >"$work/loader"
  enter_by "$work/loader"
  expect 0 "" "" on_other_system scripts/wine32 prepare
fi

# Installed and moved, with nothing taken from where they were built.
cmake --install "$build" --prefix "$work/installed" >"$work/errors" || fail "cmake --install"
mv "$work/installed" "$work/moved"
for tool in kvsim kvsign; do
  "$work/moved/bin/$tool" --help >"$work/errors" 2>&1 || fail "$tool --help"
  ldd "$work/moved/bin/$tool" >"$work/errors"
  grep -qF "=> $work/moved/bin/libwindows_api.so" "$work/errors" || fail "$tool takes its library from elsewhere"
done
"$work/moved/bin/kvsim" boot "$root/samples/workshop" --at 2026-03-01T08:00:00Z >"$work/errors" 2>&1 || fail "kvsim boot"
readelf -d "$build"/bin/{kvsim,kvsign} >"$work/errors"
[ "$(grep -cF "[\$ORIGIN]" "$work/errors")" -eq 2 ] || fail "the tools in $build/bin cannot be copied"
