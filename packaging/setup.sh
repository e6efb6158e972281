# Shell library of ./run and ./test: installs what is missing and builds a tree.
# Source it from bash with `top` set to the project's directory.

# say <text>: tells the person in front of the terminal what happens now.
say() { printf '%s\n' "$*"; }

# fail <text>: one clear error, and the end.
fail() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# missing_packages <run|test|ci|bench>: the listed packages that are not installed, one a line.
# "test" means those to run as well, "bench" everything. Asks dpkg once, so that nothing missing costs next to nothing.
missing_packages() {
  local wanted=$1 installed package rest command when
  installed=" $(dpkg-query -W -f '${db:Status-Status}:${Package}\n' 2>/dev/null |
    sed -n 's/^installed://p' | tr '\n' ' ') "
  while read -r package rest; do
    [[ $package == '' || $package == '#'* ]] && continue
    command=
    if [[ $rest == command=* ]]; then
      command=${rest%% *} command=${command#command=}
      read -r _ rest <<<"$rest"
    fi
    when=${rest%% *}
    [[ $when == run || $wanted == "$when" || $wanted == bench ]] || continue
    if [[ $command != '' ]]; then
      command -v "$command" >/dev/null || printf '%s\n' "$package"
    elif [[ $installed != *" $package "* ]]; then
      printf '%s\n' "$package"
    fi
  done <"$top/packaging/debian-packages"
}

# install_packages <package>...: installs as root, fetching the package index where there is none yet.
# Services of the new packages are neither started nor enabled.
install_packages() {
  local status=0
  deny_services
  apt_install "$@" || status=$?
  allow_services
  if ((status == 0)) && [[ " $* " == *' nats-server '* ]]; then
    DPKG_MAINTSCRIPT_PACKAGE=nats-server deb-systemd-helper disable nats-server.service >/dev/null 2>&1 || true
  fi
  return $status
}

services_policy=/usr/sbin/policy-rc.d
services_mark='# put here by Live View while it installs packages'
services_guard=

# deny_services: keeps packages from starting services, one installation at a time. What it puts there goes with
# allow_services or when this shell and the installation have ended, however that comes about: a guard sees the end
# of a pipe that they alone hold open. What somebody else has put there stays.
deny_services() {
  exec {services_lock}>/run/live-view-packages.lock
  flock "$services_lock"
  # With our mark it is from a run whose guard was killed, too.
  [[ ! -e $services_policy ]] || grep -qxF "$services_mark" "$services_policy" || return 0
  exec {services_pipe}> >(
    trap '' INT TERM HUP
    cat >/dev/null
    rm -f "$services_policy"
  )
  services_guard=$!
  printf '#!/bin/sh\n%s\nexit 101\n' "$services_mark" >"$services_policy" && chmod 755 "$services_policy"
}

allow_services() {
  if [[ $services_guard != '' ]]; then
    exec {services_pipe}>&-
    wait "$services_guard" || true
    services_guard=
  fi
  exec {services_lock}>&-
}

apt_install() {
  local apt=(apt-get -o DPkg::Lock::Timeout=120 -q -y)
  export DEBIAN_FRONTEND=noninteractive
  if ! compgen -G '/var/lib/apt/lists/*_Packages*' >/dev/null; then
    say 'Fetching the package index'
    "${apt[@]}" update || return
  fi
  "${apt[@]}" install --no-install-recommends "$@" && return
  say 'Trying again with a fresh package index'
  "${apt[@]}" update && "${apt[@]}" install --no-install-recommends "$@"
}

# require_packages <run|test|ci|bench>: installs what is missing; where that is not allowed, names the one command that does.
require_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$1")
  ((${#missing[@]} == 0)) && return
  command -v apt-get >/dev/null ||
    fail "these packages of Debian 12 are missing, and there is no apt-get to install them with: ${missing[*]}"
  if ((EUID != 0)); then
    local command="$top/packaging/install $1"
    command -v sudo >/dev/null && command="sudo $command" || command="su -c '$command'"
    printf 'error: these Debian packages are missing: %s\nInstall them with:\n  %s\n' "${missing[*]}" "$command" >&2
    exit 1
  fi
  say "Installing ${missing[*]}"
  install_packages "${missing[@]}" || fail 'apt-get could not install what is missing; its last lines say why'
  mapfile -t missing < <(missing_packages "$1")
  ((${#missing[@]} == 0)) || fail "still missing after the installation: ${missing[*]}"
}

# stoppable <command>...: runs it so that a signal's trap runs at once, not when the command has ended.
# stop_child, called from that trap, ends the command.
stoppable() {
  local status=0
  setpriv --pdeathsig TERM "$@" &
  child=$!
  wait "$child" || status=$?
  child=
  return $status
}

child=
stop_child() {
  [[ $child == '' ]] || { kill -TERM "$child" && wait "$child"; } 2>/dev/null
}

# build_tree <preset> [target...]: configures build/<preset> when that has not been done, and builds it.
build_tree() {
  local preset=$1 tree=$top/build/$1
  shift
  if [[ ! -e $tree/build.ninja ]]; then
    say "Configuring build/$preset"
    mkdir -p "$tree"
    stoppable cmake -S "$top" --preset "$preset" >"$tree/configure.log" 2>&1 || {
      cat "$tree/configure.log" >&2
      fail "build/$preset could not be configured"
    }
  fi
  say "Building build/$preset"
  stoppable ninja -C "$tree" "$@" || fail "build/$preset could not be built"
}

# require_node_modules: fetches the end-to-end tests' libraries unless those of the lock file are there.
require_node_modules() {
  local dir=$top/tests stamp
  stamp=$dir/node_modules/.lock-file
  cmp -s "$dir/package-lock.json" "$stamp" && return
  say "Fetching the end-to-end tests' libraries"
  (cd "$dir" && stoppable npm ci --no-audit --no-fund) || fail "npm could not fetch the end-to-end tests' libraries"
  cp "$dir/package-lock.json" "$stamp"
}
