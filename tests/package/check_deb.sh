#!/usr/bin/env bash
# The Debian package as a user gets it: built with CPack from this build tree, checked by
# lintian, unpacked into a scratch root and run from there (the version, a command round trip,
# the tray app under Xvfb, the desktop action, and the autostart entry's Exec line).
# Usage: check_deb.sh BUILD_DIR
set -uo pipefail
build=$(cd "$1" && pwd)
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }
skip_or_fail() {
  if [ -n "${SCRIVLANE_REQUIRE_ALL_TESTS:-}" ]; then
    echo "FAIL: $* (required: SCRIVLANE_REQUIRE_ALL_TESTS is set)" >&2
    exit 1
  fi
  echo "SKIP: $*"
  exit 77
}
for tool in cpack dpkg-deb dpkg-shlibdeps lintian desktop-file-validate appstreamcli Xvfb xdotool; do
  command -v "$tool" >/dev/null || skip_or_fail "needs $tool (bash scripts/setup installs it)"
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

# Waits up to $2 seconds for the command $1 to succeed.
wait_for() {
  local tries=$(($2 * 10))
  while ! eval "$1" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || return 1
    sleep 0.1
  done
}

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) || {
  cat "$work/cpack.log" >&2
  echo "FAIL: cpack could not build the package" >&2
  exit 1
}
deb=$(ls "$work"/out/scrivlane_*.deb)
echo "built $(basename "$deb")"

# lintian: no errors (warnings are printed for the record).
lintian --fail-on error "$deb" || fail "lintian reports errors"

version=$(dpkg-deb -f "$deb" Version)
dpkg-deb -f "$deb" Depends | grep -q 'libqt6core6' || fail "Depends lacks the Qt libraries: $(dpkg-deb -f "$deb" Depends)"
dpkg-deb -c "$deb" | grep -E '/(DEBIAN|etc)/' && fail "the package ships files outside /usr"
dpkg-deb --ctrl-tarfile "$deb" | tar -t | grep -E 'preinst|postinst|prerm|postrm' &&
  fail "maintainer scripts appeared; removing the package must touch nothing of the user's"

root=$work/root
dpkg-deb -x "$deb" "$root"
id=com.pellucidforge.scrivlane
desktop=$root/usr/share/applications/$id.desktop
metainfo=$root/usr/share/metainfo/$id.metainfo.xml
exe=$root/usr/bin/scrivlane
for file in "$desktop" "$metainfo" "$exe" "$root/usr/share/icons/hicolor/scalable/apps/$id.svg" \
  "$root/usr/share/icons/hicolor/symbolic/apps/$id-symbolic.svg" \
  "$root/usr/share/man/man1/scrivlane.1.gz" "$root/usr/share/bash-completion/completions/scrivlane" \
  "$root/usr/share/doc/scrivlane/copyright" "$root/usr/share/doc/scrivlane/changelog.gz"; do
  [ -e "$file" ] || fail "missing from the package: ${file#"$root"}"
done
desktop-file-validate "$desktop" || fail "desktop-file-validate"
appstreamcli validate --no-net --pedantic "$metainfo" || fail "appstreamcli validate"
grep -q "<release version=\"$version\"" "$metainfo" || fail "the metainfo's releases lack $version"

# One version everywhere: the package, --version, the newest release.
[ "$("$exe" --version)" = "scrivlane $version" ] || fail "--version says '$("$exe" --version)', the package $version"

# A command round trip from the unpacked root.
export SCRIVLANE_HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset APPIMAGE
snippet=$("$exe" snippet add --abbreviation ';pkg' --text 'from the package') || fail "snippet add"
"$exe" snippet list | grep -q "$snippet" || fail "snippet list lacks $snippet"

# The tray app, on a display of its own.
exec {displayfd}<> <(:)
# -noreset: a server resetting after its last client leaves refuses connections meanwhile
Xvfb -displayfd "$displayfd" -nolisten tcp -noreset -screen 0 1280x800x24 >"$work/xvfb.log" 2>&1 &
pids+=($!)
read -r -t 10 number <&"$displayfd" || { fail "Xvfb did not start"; exit 1; }
export DISPLAY=:$number
"$exe" >"$work/app.log" 2>&1 &
pids+=($!)
wait_for "grep -q 'watching the keyboard' '$work/app.log'" 40 ||
  fail "the tray app did not start: $(cat "$work/app.log")"
# The desktop entry's action, handed to the running app.
action=$(sed -n '/^\[Desktop Action new-snippet\]/,/^\[/s/^Exec=//p' "$desktop")
[ "$action" = "scrivlane --new-snippet" ] || fail "the New Snippet action runs '$action'"
"$exe" --new-snippet || fail "scrivlane --new-snippet exit code"
wait_for "xdotool search --onlyvisible --name '^New Snippet$'" 20 || fail "--new-snippet opened no sheet"
wm_class=$(sed -n 's/^StartupWMClass=//p' "$desktop")
xprop -id "$(xdotool search --onlyvisible --name '^ScrivLane$' | head -n1)" WM_CLASS 2>/dev/null |
  grep -q "\"$wm_class\"" || fail "StartupWMClass=$wm_class matches no main window class"
kill "${pids[1]}"
wait "${pids[1]}" 2>/dev/null

# Launch at login: the entry is the installed one and its Exec line starts this executable.
"$exe" autostart on >/dev/null || fail "autostart on"
entry=$XDG_CONFIG_HOME/autostart/$id.desktop
grep -q "^Icon=$id$" "$entry" || fail "the autostart entry is not the installed desktop entry"
exec_line=$(sed -n 's/^Exec=//p' "$entry")
sh -c "exec $exec_line" >"$work/login.log" 2>&1 &
login=$!
pids+=($login)
wait_for "grep -q 'watching the keyboard' '$work/login.log'" 40 ||
  fail "the autostart Exec line ($exec_line) did not start ScrivLane: $(cat "$work/login.log")"
[ "$(readlink "/proc/$login/exe")" = "$exe" ] || fail "the autostart entry started $(readlink "/proc/$login/exe"), not $exe"

kill "$login"
wait "$login" 2>/dev/null

# The desktop action when ScrivLane is not running yet: it starts on the sheet.
"$exe" --new-snippet >"$work/action.log" 2>&1 &
pids+=($!)
wait_for "xdotool search --onlyvisible --name '^New Snippet$'" 40 ||
  fail "--new-snippet as the first start opened no sheet: $(cat "$work/action.log")"

# The user's library is untouched by any of this.
"$exe" snippet list | grep -q "$snippet" || fail "the library lost $snippet"

if [ "$failures" -gt 0 ]; then
  echo "$failures check(s) failed" >&2
  exit 1
fi
echo "package checks passed"
