# Shell library: a Debian 12 root of its own, made with debootstrap from the archive that this machine installs from.
# The caller has the functions say and fail.

suite=bookworm

# mirror_of <codename>: the archive that this machine itself installs from.
mirror_of() {
    apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $1" 2> /dev/null | head -n 1
}

# in_root <root> <command>...: with the environment of a fresh login; ROOT_PERSONALITY is setarch's, for a 32-bit root.
in_root() {
    local root=$1
    shift
    setarch "${ROOT_PERSONALITY:-$(uname -m)}" chroot "$root" /usr/bin/env -i \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 "$@"
}

# make_root <architecture> <root>: a minimal Debian whose apt works and in which nothing that is installed starts a
# service. What happens is in <root>.log.
make_root() {
    local architecture=$1 root=$2 mirror security
    command -v debootstrap > /dev/null || fail "debootstrap is missing: apt-get install debootstrap"
    mirror=$(mirror_of "$suite")
    [ -n "$mirror" ] || fail "this machine's apt knows no archive of $suite"
    security=$(mirror_of "$suite-security")

    say "making a Debian root for $architecture in $root"
    rm -rf "$root"
    mkdir -p "$root"
    debootstrap --arch="$architecture" --variant=minbase "$suite" "$root" "$mirror" > "$root.log" 2>&1 ||
        fail "debootstrap failed, see $root.log"
    printf '#!/bin/sh\nexit 101\n' > "$root/usr/sbin/policy-rc.d"
    chmod +x "$root/usr/sbin/policy-rc.d"
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    printf 'deb %s %s main\n' "$mirror" "$suite" > "$root/etc/apt/sources.list"
    if [ -n "$security" ]; then
        printf 'deb %s %s-security main\n' "$security" "$suite" >> "$root/etc/apt/sources.list"
    fi
    if ! in_root "$root" apt-get update -qq -o APT::Update::Error-Mode=any >> "$root.log" 2>&1; then
        say "the security archive's index does not verify, so the main archive alone is used"
        printf 'deb %s %s main\n' "$mirror" "$suite" > "$root/etc/apt/sources.list"
        in_root "$root" apt-get update -qq >> "$root.log" 2>&1 || fail "apt-get update failed, see $root.log"
    fi
}

# install_in_root <root> <package or option>...
install_in_root() {
    local root=$1
    shift
    in_root "$root" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@" \
        >> "$root.log" 2>&1 || fail "the packages could not be installed, see $root.log"
}
