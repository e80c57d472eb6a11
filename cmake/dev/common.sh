# Functions shared by the commands of ./dev. Sourced at the root of the project.
# shellcheck shell=bash

jobs=$(nproc)
readonly jobs root=$PWD
# Lets a build share ccache's results with builds in other clones.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1

say() { printf '==> %s\n' "$*"; }
fail() {
  printf '==> FAILED: %s\n' "$*" >&2
  exit 1
}

# Packages

groups() { awk '$1 !~ /^#/ && NF {gsub(",", "\n", $2); print $2}' packages.txt | sort -u; }

packages_of() {
  local group
  for group in "$@"; do
    awk -v group="$group" '$1 !~ /^#/ && index("," $2 ",", "," group ",") {print $1}' packages.txt
  done
}

is_installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

as_root() {
  if [ "$(id -u)" = 0 ]; then
    env "$@"
  elif command -v sudo >/dev/null; then
    sudo env "$@"
  else
    fail "not root, and sudo is not installed; as root, run: $*"
  fi
}

# Installs the missing packages of groups of packages.txt.
need() {
  local missing=() package
  for package in $(packages_of "$@" | sort -u); do
    is_installed "$package" || missing+=("$package")
  done
  if [ ${#missing[@]} -gt 0 ]; then
    say "Installing ${#missing[@]} packages: ${missing[*]}"
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null || fail "not root, and sudo is not installed;" \
      "as root, run: apt-get update && apt-get install ${missing[*]}"
    as_root apt-get -q update >/dev/null || fail "apt-get update; check the network and /etc/apt"
    # A machine that has just started may be running another installation.
    as_root DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 install -y \
      --no-install-recommends "${missing[@]}" >/dev/null || fail "apt-get install"
  fi
  ! command -v ccache >/dev/null || export CMAKE_CXX_COMPILER_LAUNCHER=ccache
}

# Builds

configure() {
  local preset=$1 log=build/$1-configure.log
  say "Configuring build/$preset"
  mkdir -p build
  cmake --preset "$@" >"$log" 2>&1 || { cat "$log"; fail "configuring build/$preset"; }
}

# Copies a build's output, but only one of ninja's status lines per 10 %.
every_tenth() {
  local line shown=0
  while IFS= read -r line; do
    if [[ $line =~ ^@\ *([0-9]+)% ]]; then
      [ $((BASH_REMATCH[1] / 10)) -gt "$shown" ] || continue
      shown=$((BASH_REMATCH[1] / 10))
      printf '    %d%%\n' $((shown * 10))
    elif [[ $line != "ninja: no work to do." ]]; then
      printf '%s\n' "$line"
    fi
  done
}

# build PRESET [BUILD-PRESET [CMAKE-OPTION...]]: builds a preset's tree, or the targets of another build
# preset in it.
build() {
  local preset=$1
  say "Building build/$preset"
  if [ -t 1 ]; then
    cmake --build --preset "${2:-$preset}" "${@:3}"
  else
    NINJA_STATUS='@%p ' cmake --build --preset "${2:-$preset}" "${@:3}" | every_tenth
  fi || fail "building build/$preset"
}

# Tests

passed=0
failed=0
summary() { printf '%d passed, %d failed\n' "$passed" "$failed"; }

# run_tests TEST-PRESET [CTEST-OPTION...]
run_tests() {
  local preset=$1 log=build/ctest-$1.log status=0 all=0
  shift
  say "Running the tests of $preset"
  if [ -t 1 ]; then
    ctest --preset "$preset" -j "$jobs" --no-tests=error --progress -O "$log" "$@" || status=$?
  else
    ctest --preset "$preset" -j "$jobs" --no-tests=error "$@" >"$log" 2>&1 || status=$?
  fi
  [ "$status" = 0 ] || [ -t 1 ] || grep -vE '^ *Start +[0-9]+: |\.\.   Passed ' "$log" || true
  read -r lost all < <(sed -n 's/.*, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log") ||
    fail "tests of $preset; the whole log is $log"
  failed=$((failed + lost))
  passed=$((passed + all - lost))
  if grep '(Skipped)\|(Disabled)\|(Not Run)' "$log"; then
    status=1
    say "These tests did not run; a test that cannot run must fail, not skip"
  fi
  if [ "$status" != 0 ]; then
    printf '==> FAILED: tests of %s; the whole log is %s\n' "$preset" "$log" >&2
    summary
    exit 1
  fi
  grep 'tests passed' "$log"
}
