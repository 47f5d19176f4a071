#!/usr/bin/env bash
# What `cmake --install` puts where, under --prefix /usr (the package's) and /usr/local: exactly
# the expected files, the polkit action naming the helper of that prefix, the zsh completion
# where Debian's zsh looks, icons of the size their folder says, a manual page that reads.
#   install-test.sh CMAKE BUILD_DIR
set -u
cmake=${1:?usage: install-test.sh CMAKE BUILD_DIR}
build=${2:?no build folder given}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/home"
export HOME=$work/home QT_QPA_PLATFORM=offscreen
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_STATE_HOME XDG_CACHE_HOME
failures=0
fail() {
    echo "$*" >&2
    failures=$((failures + 1))
}

app=org.binwise.Binwise
sizes="16 22 24 32 48 64 128 256"
for prefix in /usr /usr/local; do
    root=$work/root$(echo "$prefix" | tr / _)
    DESTDIR=$root "$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 \
        || { fail "install to $prefix failed: $(cat "$work/install.log")"; continue; }

    zsh=share/zsh/site-functions
    [ "$prefix" = /usr ] && zsh=share/zsh/vendor-completions
    {
        echo bin/binwise
        echo libexec/binwise/org.binwise.BinwiseHelper
        echo share/polkit-1/actions/org.binwise.policy
        echo share/applications/$app.desktop
        echo share/metainfo/$app.metainfo.xml
        echo share/icons/hicolor/scalable/apps/$app.svg
        for size in $sizes; do echo "share/icons/hicolor/${size}x$size/apps/$app.png"; done
        echo share/man/man1/binwise.1.gz
        echo share/bash-completion/completions/binwise
        echo $zsh/_binwise
        echo share/fish/vendor_completions.d/binwise.fish
        echo share/doc/binwise/copyright
        echo share/doc/binwise/changelog.gz
    } | sort >"$work/expected"
    (cd "$root$prefix" && find . -type f -o -type l | sed 's|^\./||' | sort) >"$work/installed"
    diff -u "$work/expected" "$work/installed" >"$work/diff" \
        || fail "installed files under $prefix differ from the expected ones:$(echo; cat "$work/diff")"
    [ "$(find "$root" -path "$root$prefix" -prune -o -type f -print)" = "" ] \
        || fail "files installed outside $prefix"

    helper=$prefix/libexec/binwise/org.binwise.BinwiseHelper
    grep -q -F "<annotate key=\"org.freedesktop.policykit.exec.path\">$helper</annotate>" \
        "$root$prefix/share/polkit-1/actions/org.binwise.policy" \
        || fail "the policy under $prefix does not name $helper"
    [ -x "$root$helper" ] && "$root$helper" --version >/dev/null \
        || fail "the helper under $prefix does not answer --version"
    "$root$prefix/bin/binwise" --version | grep -q '^binwise ' \
        || fail "binwise under $prefix does not answer --version"

    # A PNG's width and height are the big-endian words at bytes 16 and 20.
    for size in $sizes; do
        png=$root$prefix/share/icons/hicolor/${size}x$size/apps/$app.png
        [ -f "$png" ] || continue
        read -r width height < <(od -A n -t u1 -j 16 -N 8 "$png" \
            | awk '{ print $1 * 16777216 + $2 * 65536 + $3 * 256 + $4, $5 * 16777216 + $6 * 65536 + $7 * 256 + $8 }')
        [ "$width $height" = "$size $size" ] || fail "the ${size}x$size icon is ${width}x$height"
    done

    gzip -dc "$root$prefix/share/man/man1/binwise.1.gz" | grep -q '^\.TH BINWISE 1 ' \
        || fail "the manual page under $prefix is not binwise(1)"
done
exit $((failures > 0))
