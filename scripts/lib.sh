# shellcheck shell=bash
# What the verbs of ./dev share: finding the tree, saying what happens, running long steps with progress and a log, and
# installing missing Debian packages. Sourced, never run.

set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
log_dir=$root/build/logs
if [[ -t 1 ]]; then
  bold=$'\e[1m' red=$'\e[31m' green=$'\e[32m' grey=$'\e[90m' plain=$'\e[0m' clear=$'\r\e[K'
else
  bold='' red='' green='' grey='' plain='' clear=''
fi

say() { printf '%s\n' "$*"; }
title() { printf '%s%s%s\n' "$bold" "$*" "$plain"; }
fail() {
  printf '%s%s%s\n' "$red" "$*" "$plain" >&2
  exit 1
}

# No process substitution in these scripts: it needs /dev/fd, which a bare root without /proc lacks.

# jobs: how many compilers to run at once: one a core, and not more than one for each 1.5 GB of memory.
jobs() {
  local cores memory
  cores=$(nproc)
  memory=$(awk '/^MemTotal:/ { print int($2 / 1500000) }' /proc/meminfo 2>/dev/null || true)
  if [[ -n $memory ]] && ((memory >= 1 && memory < cores)); then
    cores=$memory
  fi
  echo "$cores"
}

# The git of this tree, also when another user owns the files.
tree_git() { git -c safe.directory="$root" -C "$root" "$@"; }

# tracked PATTERN...: the files of the tree that match, relative to its root.
tracked() {
  if tree_git rev-parse --git-dir >/dev/null 2>&1; then
    tree_git ls-files --cached --others --exclude-standard -- "$@" | while IFS= read -r file; do
      if [[ -e $root/$file ]]; then printf '%s\n' "$file"; fi
    done
  else
    fail "this is not a git work tree: the checks look at tracked files"
  fi
}

# ---- long steps ------------------------------------------------------------------------------------------------

ticker_pid=''
end_ticker() {
  if [[ -n $ticker_pid ]]; then
    kill "$ticker_pid" 2>/dev/null || true
    wait "$ticker_pid" 2>/dev/null || true
    ticker_pid=''
  fi
}
trap end_ticker EXIT

# On a terminal one line that counts the seconds and shows the step's last words; elsewhere a line a minute.
ticker() {
  local text=$1 log=$2 start=$SECONDS last
  while :; do
    sleep 1 >/dev/null 2>&1
    if [[ -t 1 ]]; then
      last=$(tail -c 300 "$log" 2>/dev/null | tr -d '\000' | tr '\r' '\n' | tail -n 1 || true)
      printf '%s  %s  %s %4d s  %s%.60s%s' "$clear" "$text" "$grey" $((SECONDS - start)) "$grey" "$last" "$plain"
    elif (((SECONDS - start) % 60 == 0 && SECONDS > start)); then
      printf '  ... %s: %d s, %s\n' "$text" $((SECONDS - start)) "$(tail -n 1 "$log" 2>/dev/null || true)"
    fi
  done
}

# step LOG-NAME TEXT COMMAND...: runs a long command with its output in build/logs/LOG-NAME.log, and says how long it
# took. On failure shows the end of the log, names it, and returns the command's status.
step() {
  local log=$log_dir/$1.log text=$2 start=$SECONDS result=0
  shift 2
  mkdir -p "$log_dir"
  : >"$log"
  ticker "$text" "$log" &
  ticker_pid=$!
  "$@" >"$log" 2>&1 </dev/null || result=$?
  end_ticker
  if ((result == 0)); then
    printf '%s  %sok%s    %s %s(%d s)%s\n' "$clear" "$green" "$plain" "$text" "$grey" $((SECONDS - start)) "$plain"
    return 0
  fi
  printf '%s  %sFAIL%s  %s (%d s, status %d). The end of %s:\n' "$clear" "$red" "$plain" "$text" \
    $((SECONDS - start)) "$result" "${log#"$root"/}"
  tail -n 60 "$log" | sed 's/^/    /'
  return "$result"
}

# What tests and tools write and sync thousands of times goes to memory, where there is enough that can hold programs.
temporary_in_memory() {
  local folder free
  if [[ -n ${TMPDIR:-} || ! -w /dev/shm ]]; then return 0; fi
  free=$(df --output=avail /dev/shm 2>/dev/null | tail -n 1)
  if ((${free:-0} < 2000000)); then return 0; fi
  folder=$(mktemp -d /dev/shm/kelvane.XXXXXX) || return 0
  if printf '#!/bin/sh\n' >"$folder/program" && chmod +x "$folder/program" && "$folder/program" 2>/dev/null; then
    export TMPDIR=/dev/shm
  fi
  rm -rf "$folder"
}

# ---- packages --------------------------------------------------------------------------------------------------

# The Debian release this runs on: its major number, or nothing.
debian_release() {
  # shellcheck source=/dev/null
  (. /etc/os-release 2>/dev/null && [[ ${ID:-} == debian ]] && echo "${VERSION_ID:-}") || true
}

# packages RELEASE PURPOSE...: the packages of these purposes, one a line.
packages() {
  local release=$1 purpose
  shift
  for purpose in "$@"; do
    if grep -q "^$purpose@$release:" "$root/scripts/packages"; then purpose=$purpose@$release; fi
    grep -q "^$purpose:" "$root/scripts/packages" || fail "scripts/packages has no list '$purpose'"
    sed -n "s/^$purpose://p" "$root/scripts/packages" | tr -s ' ' '\n' | sed '/^$/d'
  done | sort -u
}

missing_packages() {
  local wanted installed package
  wanted=$(packages "$(debian_release)" "$@")
  # shellcheck disable=SC2086
  installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null | sed -n 's/^installed //p') || true
  for package in $wanted; do
    if ! grep -qxF "$package" <<<"$installed"; then echo "$package"; fi
  done
}

# need PURPOSE...: makes sure that the packages are there. Installs only what is missing, as root or with a sudo that
# asks nothing; an ordinary user is told what is missing and how to get it.
need() {
  local missing become=()
  if ! command -v dpkg-query >/dev/null; then
    say "  not a Debian system: nothing is installed here. The Debian names of what is needed:"
    packages 12 "$@" | paste -s -d ' ' | sed 's/^/    /'
    return 0
  fi
  mapfile -t missing <<<"$(missing_packages "$@")"
  if [[ -z ${missing[0]} ]]; then return 0; fi
  if ((EUID != 0)); then
    if command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
      become=(sudo -n)
    else
      printf '%sThese Debian packages are missing, and installing them takes root:%s\n' "$red" "$plain" >&2
      printf '    %s\n' "${missing[@]}" >&2
      printf 'As root:\n    apt-get update && apt-get install --no-install-recommends -y %s\n' "${missing[*]}" >&2
      exit 1
    fi
  fi
  say "  installing Debian packages that are missing: ${missing[*]}"
  step apt-update "apt-get update" "${become[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=300 update -q
  step apt-install "apt-get install (${#missing[@]} packages)" "${become[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=300 install -q -y --no-install-recommends "${missing[@]}"
}

# ---- builds ----------------------------------------------------------------------------------------------------

# ccache when it is there; it is never needed.
launcher() {
  if command -v ccache >/dev/null; then
    echo "-DCMAKE_C_COMPILER_LAUNCHER=ccache" "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"
  fi
}

# build PRESET [TARGET...]: configures and builds a preset in build/PRESET.
build() {
  local preset=$1 targets=() what=''
  shift
  if (($#)); then targets=(--target "$@") what=" ($1)"; fi
  if (($# > 1)); then what=" ($1 and $(($# - 1)) more)"; fi
  cd "$root"
  # shellcheck disable=SC2046
  step "$preset-configure" "configuring build/$preset" cmake --preset "$preset" $(launcher)
  step "$preset-build" "building build/$preset$what" cmake --build "build/$preset" -j "$(jobs)" "${targets[@]}"
}

# fuzz_seeds: what the fabric sends in some scenarios, anew each time, in $seeds; CMake knows of which. The program that
# makes it is that of the tests: the fabric is not compiled for it once more.
fuzz_seeds() {
  build asan kelvane-fuzz-seeds
  export seeds=$root/build/asan/tests/fuzz/seeds
  step fuzz-seeds "making seeds" ctest --test-dir "$root/build/asan" -R '^fuzz\.seeds$' --output-on-failure
}
