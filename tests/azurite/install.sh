#!/usr/bin/env bash
# Installs the storage service of these tests into a folder outside the tree, once for each lock file and node. Exits
# with 77 where it cannot be had; why is then in FOLDER/missing, too.
# usage: install.sh FOLDER
set -euo pipefail
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
folder=$1
mkdir -p "$folder"
rm -f "$folder/missing"

skip() {
  echo "$*" >"$folder/missing"
  echo "SKIP  $*"
  exit 77
}

if grep -q '"resolved"' "$here/package-lock.json"; then
  echo "package-lock.json names addresses: run npm install in this folder, whose .npmrc leaves them out"
  exit 1
fi
command -v node >/dev/null || skip "there is no node on this machine"
wanted=$({ node --version && cat "$here/package.json" "$here/package-lock.json"; } | sha256sum)
if [[ -f $folder/installed && $(<"$folder/installed") == "$wanted" ]]; then
  echo "installed already"
  exit 0
fi

command -v npm >/dev/null || skip "there is no npm on this machine"
rm -f "$folder/installed"
cp "$here/package.json" "$here/package-lock.json" "$here/.npmrc" "$folder"
cd "$folder"
result=0
timeout 240 npm ci --ignore-scripts --no-audit --no-fund --no-update-notifier --prefer-offline --fetch-retries=1 \
  --fetch-retry-mintimeout=1000 --fetch-retry-maxtimeout=5000 --fetch-timeout=60000 >npm.log 2>&1 </dev/null || result=$?
if ((result == 0)); then
  printf '%s\n' "$wanted" >installed
  echo "installed"
  exit 0
fi
cat npm.log
# A registry that is not there or lets nobody in is no fault of the tree; anything else is.
if ((result == 124)) ||
  grep -qE '\b(ENOTFOUND|EAI_AGAIN|ECONNREFUSED|ECONNRESET|ENETUNREACH|EHOSTUNREACH|ETIMEDOUT|ERR_SOCKET_TIMEOUT|ENOTCACHED|E401|E403|E407|E5[0-9][0-9])\b' npm.log; then
  skip "npm cannot get the packages from its registry here"
fi
exit 1
