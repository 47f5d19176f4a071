#!/usr/bin/env bash
# Installs what is needed, builds, and starts binwise with the given arguments.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default

binwise=build/default/src/binwise
if [ -x "$binwise" ]; then
    exec "$binwise" "$@"
fi
echo "The binwise executable is not part of this build yet. Built so far:"
find build/default -maxdepth 3 -type f \( -name '*.a' -o -perm -u+x \) \
    \( -path '*/src/*' -o -path '*/bench/*' -o -path '*/tests/*' \) ! -name '*.sh' \
    ! -path '*/CMakeFiles/*' -printf '  %P\n' | sort
echo "Run ./test.sh to build and run the tests."
