#!/usr/bin/env bash
# CI step: builds the Debian package and checks it (lintian, desktop-file-validate, appstreamcli,
# the manual page), installs it on this machine with apt-get, runs what it installed, purges it
# and checks that nothing it installed is left. Needs root. It changes /usr, so it refuses to
# start when binwise is installed already or when a file of the package exists, and it purges
# the package again whatever fails after the install.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

fail() {
    echo "check-package: $*" >&2
    exit 1
}
step() { printf '\n== %s\n' "$*"; }

[ "$(id -u)" -eq 0 ] || fail "run as root: the package is installed on this machine"
export DEBIAN_FRONTEND=noninteractive
app_id=org.binwise.Binwise
action=org.binwise.Binwise.eraseAuthorized
helper=/usr/libexec/binwise/org.binwise.BinwiseHelper

installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' binwise 2>/dev/null)" = installed ]; }
installed && fail "binwise is installed as a package already: remove it first"

step "Building the package"
deb=$(scripts/build-deb.sh | tail -n 1)
[ -f "$deb" ] || fail "scripts/build-deb.sh made no package"
echo "$deb"
dpkg-deb --field "$deb" Package Version Depends Recommends

work=$(mktemp -d)
chmod 0755 "$work"
cleanup() {
    if installed; then
        echo "check-package: purging binwise after a failure" >&2
        apt-get purge -y binwise >/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

step "lintian"
lintian --fail-on error --display-info "$deb"

step "Desktop entry, metainfo and manual page (from the package)"
dpkg-deb -x "$deb" "$work/root"
desktop-file-validate "$work/root/usr/share/applications/$app_id.desktop"
appstreamcli validate --no-net "$work/root/usr/share/metainfo/$app_id.metainfo.xml"
warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$work/root/usr/share/man/man1/binwise.1.gz" 2>&1 >/dev/null)
[ -z "$warnings" ] || fail "the manual page has warnings: $warnings"

# What the package holds, and which of its folders exist before it comes: those must stay.
dpkg-deb --fsys-tarfile "$deb" | tar -t | sed -e 's|^\./|/|' -e 's|/$||' | grep -v '^/\?$' \
    >"$work/paths"
: >"$work/folders-before"
while read -r path; do
    if [ -d "$work/root$path" ]; then
        [ -d "$path" ] && echo "$path" >>"$work/folders-before"
    elif [ -e "$path" ] || [ -L "$path" ]; then
        fail "$path exists already and would be replaced by the package: not installing"
    fi
done <"$work/paths"

step "Installing"
(cd "$(dirname "$deb")" && apt-get install -y "./$(basename "$deb")")
installed || fail "the package did not install"

step "Running what was installed"
[ "$(command -v binwise)" = /usr/bin/binwise ] || fail "binwise is not /usr/bin/binwise on PATH"
version=$(dpkg-query -W -f='${Version}' binwise)
# A home of its own, so that root's settings, logs and home Trash stay as they are.
mkdir -p "$work/home"
sandbox=(env -u XDG_CONFIG_HOME -u XDG_STATE_HOME -u XDG_DATA_HOME -u XDG_CACHE_HOME
    HOME="$work/home" QT_QPA_PLATFORM=offscreen)
"${sandbox[@]}" binwise --version | tee "$work/version"
grep -q -F "$version" "$work/version" || fail "binwise --version does not say $version"
"${sandbox[@]}" binwise list
"$helper" --version || fail "the installed helper does not answer --version"

# pkaction asks polkitd over the system bus (a running polkitd sees new actions within a moment).
# A machine without one (a container) gets a private bus and polkitd that read the real actions
# folder; the sandbox sets its folders to 0755, so an actions folder with other modes is copied.
if pkaction >/dev/null 2>&1; then
    echo "pkaction through the system bus:"
    for _ in 1 2 3 4 5; do
        pkaction --verbose --action-id "$action" >"$work/action" 2>&1 && break
        sleep 1
    done
    cat "$work/action"
else
    echo "pkaction through a private system bus and polkitd (none is running here):"
    actions=/usr/share/polkit-1/actions
    if [ "$(stat -c %a "$actions")" != 755 ]; then
        cp -a "$actions" "$work/actions"
        actions=$work/actions
    fi
    mkdir -p "$work/polkit" "$work/rules"
    status=0
    unshare --mount --propagation private tests/privileged/polkit-sandbox.sh \
        "$work/polkit" "$actions" "$work/rules" 65534 -- \
        pkaction --verbose --action-id "$action" >"$work/action" 2>&1 || status=$?
    cat "$work/action"
    [ $status -ne 77 ] || fail "no system bus here, and no private one either (it needs mount namespaces)"
fi
grep -q "org.freedesktop.policykit.exec.path -> $helper\$" "$work/action" \
    || fail "polkit does not know the action $action for $helper"

# The menu entry finds its program and its icon in the hicolor theme.
entry=/usr/share/applications/$app_id.desktop
exec_program=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$entry")
icon=$(sed -n 's/^Icon=//p' "$entry")
command -v "$exec_program" >/dev/null || fail "the desktop entry runs $exec_program, which is not on PATH"
for size in 16x16 32x32 48x48 256x256; do
    [ -f "/usr/share/icons/hicolor/$size/apps/$icon.png" ] || fail "no $size icon $icon"
done
[ -f "/usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "no scalable icon $icon"

# man finds the page; bash-completion loads the completion on demand, as it does for a user.
[ "$(man -w binwise)" = /usr/share/man/man1/binwise.1.gz ] || fail "man does not find binwise(1)"
MANPAGER=cat MANWIDTH=80 man binwise 2>/dev/null | grep -q -- '--no-permission' \
    || fail "man binwise does not show the options"
tests/packaging/bash-completion-test.sh /usr/bin/binwise
bash -c 'source /usr/share/bash-completion/bash_completion
    __load_completion binwise && complete -p binwise' || fail "bash-completion does not load it"

step "Purging"
apt-get purge -y binwise
installed && fail "binwise is still installed"
left=0
while read -r path; do
    if [ -d "$work/root$path" ]; then
        if [ -d "$path" ] && ! grep -q -x -F "$path" "$work/folders-before"; then
            echo "left behind: $path/" >&2
            left=1
        fi
    elif [ -e "$path" ] || [ -L "$path" ]; then
        echo "left behind: $path" >&2
        left=1
    fi
done <"$work/paths"
if compgen -G "/var/lib/dpkg/info/binwise.*" >/dev/null; then
    echo "left behind: $(echo /var/lib/dpkg/info/binwise.*)" >&2
    left=1
fi
[ $left -eq 0 ] || fail "the purge left files behind"
echo "check-package: the package builds, passes its checks, installs, runs and purges cleanly"
