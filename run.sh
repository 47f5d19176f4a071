#!/usr/bin/env bash
# Installs what is needed, builds, and runs binwise with the given arguments: ./run.sh alone
# starts the tray application (it needs a display), ./run.sh list, ./run.sh empty and
# ./run.sh --help run the command line.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec build/default/src/binwise "$@"
