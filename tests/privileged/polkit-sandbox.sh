#!/bin/sh
# Runs a command as an unprivileged user against a private system bus and a polkitd of its own,
# with the given polkit actions and rules, inside a private mount namespace so that nothing of
# the machine's own bus or policy is seen or changed. Start it through
#   unshare --mount --propagation private polkit-sandbox.sh WORK ACTIONS RULES UID -- COMMAND...
# Exit status: the command's, or 77 when the sandbox itself could not be set up.
set -u
work=$1 actions=$2 rules=$3 uid=$4
shift 5

fail() { echo "polkit-sandbox: $*" >&2; exit 77; }

polkitd=/usr/lib/polkit-1/polkitd
[ -x "$polkitd" ] || fail "no polkitd"
for tool in dbus-daemon dbus-send setpriv; do command -v $tool >/dev/null || fail "no $tool"; done

mkdir -p "$work/rules-empty" || fail "cannot prepare $work"
chmod 0755 "$work" "$work/rules-empty" "$rules" "$actions"
mount -t tmpfs -o mode=0755 binwise-run /run || fail "cannot mount a private /run"
mkdir -p /run/dbus
mount --bind "$actions" /usr/share/polkit-1/actions || fail "cannot bind the actions"
mount --bind "$rules" /etc/polkit-1/rules.d || fail "cannot bind the rules"
mount --bind "$work/rules-empty" /usr/share/polkit-1/rules.d || fail "cannot bind the rules"

cat > "$work/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
CONF
dbus-daemon --config-file="$work/bus.conf" --fork --nosyslog --print-pid=3 3>"$work/dbus.pid" \
        </dev/null >/dev/null 2>"$work/dbus.log" \
    || fail "dbus-daemon did not start"
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
"$polkitd" >"$work/polkitd.log" 2>&1 &
polkit_pid=$!
cleanup() { kill "$polkit_pid" 2>/dev/null; kill "$(cat "$work/dbus.pid")" 2>/dev/null; }
trap cleanup EXIT

tries=0
until dbus-send --system --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:org.freedesktop.PolicyKit1 2>/dev/null \
        | grep -q "boolean true"; do
    tries=$((tries + 1))
    [ $tries -lt 100 ] || fail "polkitd did not take its bus name: $(cat "$work/polkitd.log")"
    sleep 0.1
done

setpriv --reuid="$uid" --regid="$uid" --clear-groups -- env SHELL=/bin/sh "$@"
