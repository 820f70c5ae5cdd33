# shellcheck shell=bash
# Minimal Debian roots in a folder, for verbs that try the tree on a machine other than this one. Needs root, but no
# right to mount: /proc is bound when that is allowed, and done without when it is not. Sourced after lib.sh.

# The mirror that this machine's own apt takes Debian from.
debian_mirror() {
  # shellcheck disable=SC2016
  apt-get indextargets --format '$(ORIGIN)|$(COMPONENT)|$(CODENAME)|$(REPO_URI)' 'Created-By: Packages' |
    awk -F '|' '$1 == "Debian" && $2 == "main" && $3 !~ /-/ { print $4; exit }'
}

roots_possible() { ((EUID == 0)) && command -v apt-get >/dev/null && [[ -n $(debian_mirror) ]]; }

# make_root SUITE FOLDER: a minimal root there, unless there is one already.
make_root() {
  local suite=$1 folder=$2 mirror extra=()
  if [[ -e $folder/.complete ]]; then return 0; fi
  mirror=$(debian_mirror)
  if [[ $mirror == https:* ]]; then extra=(--include=ca-certificates); fi
  mkdir -p "$folder"
  step "root-$suite" "debootstrap $suite" debootstrap --variant=minbase "${extra[@]}" "$suite" "$folder" "$mirror" || return 1
  touch "$folder/.complete"
}

bound=()
# open_root FOLDER: binds /proc where that is allowed. close_roots undoes it; it runs at the end in any case.
open_root() {
  if [[ -e $1/proc/self ]]; then return 0; fi
  if mount --bind /proc "$1/proc" 2>/dev/null || mount -t proc proc "$1/proc" 2>/dev/null; then
    bound+=("$1/proc")
  else
    say "  /proc cannot be mounted into the root here; going on without it"
  fi
}
close_roots() {
  local folder
  for folder in "${bound[@]}"; do umount "$folder" 2>/dev/null || umount -l "$folder" || true; done
  bound=()
}

# in_root FOLDER USER COMMAND...: runs a command line in the root with a plain environment.
in_root() {
  local folder=$1 user=$2 home=/root
  shift 2
  if [[ $user != root ]]; then home=/home/$user; fi
  chroot --userspec="$user:$user" "$folder" /usr/bin/env -i HOME="$home" USER="$user" LANG=C.UTF-8 CI="${CI:-}" \
    http_proxy="${http_proxy:-}" https_proxy="${https_proxy:-}" no_proxy="${no_proxy:-}" \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin /bin/bash -c "$*"
}
