#!/bin/sh
# Installs the Debian packages named as arguments that are not there yet, with
# sudo when not root. Says nothing and does nothing when all are there.
set -e
missing=
for package in "$@"; do
    state=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [ "$state" = "install ok installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0
if ! command -v apt-get >/dev/null; then
    echo "this system has no apt-get; please install what these Debian packages hold:$missing" >&2
    exit 1
fi
as_root=
if [ "$(id -u)" != 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "not root and no sudo here; please install:$missing" >&2
        exit 1
    fi
    as_root=sudo
fi
echo "installing:$missing"
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -qq
$as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
