# shellcheck shell=bash
# Sourced by the CI stages: installs the Debian packages a stage needs,
# running `apt-get update` at most once per stage and only when something is
# missing. Another process may hold the apt lock, so wait for it.

vireo_apt_updated=0

vireo_apt() {
    local attempt
    for attempt in 1 2 3 4 5 6; do
        if apt-get -o DPkg::Lock::Timeout=300 "$@"; then
            return 0
        fi
        echo "apt-get $* failed (attempt $attempt); retrying in 20 s" >&2
        sleep 20
    done
    return 1
}

# ensure_packages PACKAGE...: installs those of the packages that are missing.
ensure_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$vireo_apt_updated" -eq 0 ]; then
        vireo_apt update -q
        vireo_apt_updated=1
    fi
    DEBIAN_FRONTEND=noninteractive vireo_apt install -y -q --no-install-recommends "${missing[@]}"
}
