#!/usr/bin/env bash
# Installs the Debian packages of scripts/debian-packages.txt. Without --update it does nothing
# when all of them are installed already, so it is cheap to call before every build.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t packages < <(grep -v -E '^\s*(#|$)' "$here/debian-packages.txt")

update=no
[ "${1:-}" = "--update" ] && update=yes

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ "$update" = no ] && [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

sudo=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "install-deps: run as root or install sudo" >&2; exit 1; }
    sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update
"${sudo[@]}" apt-get install -y --no-install-recommends "${packages[@]}"
