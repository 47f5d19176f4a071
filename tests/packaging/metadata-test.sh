#!/usr/bin/env bash
# The desktop entry and the AppStream metainfo pass their validators, and the three places that
# name the release (the project version, the Debian changelog, the metainfo's newest release)
# agree on it and on its date. Exit 77 (skipped) without the validators.
#   metadata-test.sh SOURCE_DIR VERSION
set -u
source=${1:?usage: metadata-test.sh SOURCE_DIR VERSION}
version=${2:?no version given}
desktop=$source/resources/desktop
changelog=$source/packaging/debian/changelog
app=org.binwise.Binwise
for tool in desktop-file-validate appstreamcli dpkg-parsechangelog; do
    command -v $tool >/dev/null || { echo "$tool is not installed"; exit 77; }
done
failures=0
fail() {
    echo "$*" >&2
    failures=$((failures + 1))
}

desktop-file-validate "$desktop/$app.desktop" || fail "desktop-file-validate failed"
appstreamcli validate --no-net "$desktop/$app.metainfo.xml" || fail "appstreamcli validate failed"

# The entry's icon and the metainfo's launchable are the files installed beside them.
icon=$(sed -n 's/^Icon=//p' "$desktop/$app.desktop")
[ -f "$desktop/$icon.svg" ] || fail "the desktop entry's icon $icon has no $icon.svg"
grep -q "<launchable type=\"desktop-id\">$app.desktop</launchable>" "$desktop/$app.metainfo.xml" \
    || fail "the metainfo does not launch $app.desktop"

changelog_version=$(dpkg-parsechangelog -l "$changelog" -S Version)
changelog_date=$(date -u -d "$(dpkg-parsechangelog -l "$changelog" -S Date)" +%F)
release=$(grep -o -m 1 '<release [^>]*>' "$desktop/$app.metainfo.xml")
release_version=$(sed -n 's/.*version="\([^"]*\)".*/\1/p' <<<"$release")
release_date=$(sed -n 's/.*date="\([^"]*\)".*/\1/p' <<<"$release")
[ "$changelog_version" = "$version" ] \
    || fail "packaging/debian/changelog is at $changelog_version, the project at $version"
[ "$release_version" = "$version" ] \
    || fail "the metainfo's newest release is $release_version, the project is at $version"
[ "$release_date" = "$changelog_date" ] \
    || fail "the metainfo dates $version $release_date, the changelog $changelog_date"
exit $((failures > 0))
