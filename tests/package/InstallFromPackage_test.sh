#!/usr/bin/env bash
# Builds the Debian package from a build tree, unpacks it into a scratch root (dpkg-deb -x) and
# runs the unpacked programs from there: the version, the whole demo road (which needs the
# watermark picture) and the window offscreen (title and background picture).
# Usage: InstallFromPackage_test.sh BUILD_DIR WITH_GUI(ON|OFF)
set -euo pipefail
build=$1
withGui=$2
scratch=$(mktemp -d "${TMPDIR:-/tmp}/tintara-package.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
fail() {
    echo "FAIL: $*" >&2
    exit 1
}
# Nothing of the caller's configuration may leak in or be written to.
unset TINTARA_HOME TINTARA_SELF_TEST
export HOME=$scratch/home XDG_CONFIG_HOME=$scratch/home/.config
mkdir -p "$HOME"

# ---- the package ----
if ! cpack --config "$build/CPackConfig.cmake" -B "$scratch/cpack" >"$scratch/cpack.log" 2>&1; then
    cat "$scratch/cpack.log" >&2
    fail "cpack could not build the package"
fi
debs=("$scratch"/cpack/*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || fail "cpack made no single .deb: ${debs[*]}"
deb=${debs[0]}
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"

field() { dpkg-deb -f "$deb" "$1"; }
[ "$(field Package)" = tintara ] || fail "Package is '$(field Package)'"
[ "$(field Section)" = science ] || fail "Section is '$(field Section)'"
depends=$(field Depends)
echo "Depends: $depends"
needed=(libc6 libstdc++6 libpugixml1v5 libsqlite3-0 fonts-liberation)
[ "$withGui" = ON ] && needed+=(libqt6widgets6 libqt6printsupport6 libqt6charts6)
dependNames=$(sed 's/ *([^)]*)//g; s/, */\n/g' <<<"$depends")
for p in "${needed[@]}"; do
    grep -qxF "$p" <<<"$dependNames" || fail "Depends lacks $p"
done
version=$(field Version)

dpkg-deb -c "$deb" | awk '{print $NF}' | sed 's|^\./|/|' >"$scratch/contents"
expected=(/usr/bin/tintara /usr/share/tintara/Watermark.jpg
          /usr/share/tintara/Profiler_Background.jpg /usr/share/tintara/Profiler.ini
          /usr/share/man/man1/tintara.1.gz /usr/share/doc/tintara/copyright
          /usr/share/doc/tintara/changelog.Debian.gz)
if [ "$withGui" = ON ]; then
    expected+=(/usr/bin/tintara-profiler /usr/share/man/man1/tintara-profiler.1.gz
               /usr/share/applications/tintara-profiler.desktop
               /usr/share/icons/hicolor/scalable/apps/tintara-profiler.svg
               /usr/share/icons/hicolor/48x48/apps/tintara-profiler.png
               /usr/share/icons/hicolor/256x256/apps/tintara-profiler.png)
fi
for f in "${expected[@]}"; do
    grep -qx "$f" "$scratch/contents" || fail "the package lacks $f"
done
if grep -Ev '^/usr(/|$)' "$scratch/contents" | grep -q .; then
    fail "the package installs outside /usr: $(grep -Ev '^/usr(/|$)' "$scratch/contents" | head -3)"
fi

# ---- unpacked, run from the scratch root ----
root=$scratch/root
dpkg-deb -x "$deb" "$root"
bin=$root/usr/bin
for page in "$root"/usr/share/man/man1/*.gz "$root"/usr/share/doc/tintara/changelog.Debian.gz; do
    gzip -t "$page" || fail "$page is not a valid gzip file"
done

out=$("$bin/tintara" --version) || fail "tintara --version failed"
[ "$out" = "tintara ${version%-*}" ] || fail "tintara --version says '$out', the package is $version"

# The shipped defaults are read when the user has no Profiler.ini of their own.
rm -f "$bin/Profiler.ini"
out=$("$bin/tintara" tolerances 2>"$scratch/tolerances.err") || fail "tintara tolerances failed"
[ ! -s "$scratch/tolerances.err" ] || fail "tintara tolerances complained: $(cat "$scratch/tolerances.err")"
grep -q $'Single Tile DE Limit is -->\t0.50' <<<"$out" || fail "unexpected tolerances: $out"

mkdir -p "$scratch/work"
if ! (cd "$scratch/work" && "$bin/tintara" demo --dir demo >"$scratch/demo.out" 2>"$scratch/demo.err"); then
    cat "$scratch/demo.err" >&2
    fail "tintara demo failed"
fi
if grep -qi 'watermark' "$scratch/demo.err"; then
    fail "the unpacked tintara did not find its watermark: $(cat "$scratch/demo.err")"
fi
expected=(demo.ccf CompareReport.txt correlated-fandeck.wsv)
# Certificates need the Qt page renderer, which a build without the window leaves out.
[ "$withGui" = ON ] && expected+=(performance-certificate.pdf profile-certificate-sci.pdf)
for f in "${expected[@]}"; do
    [ -s "$scratch/work/demo/$f" ] || fail "tintara demo wrote no $f"
done
echo "tintara demo: $(ls "$scratch/work/demo" | wc -l) files written"

if [ "$withGui" = ON ]; then
    status=0
    out=$(cd "$scratch/work" && QT_QPA_PLATFORM=offscreen TINTARA_SELF_TEST=1 \
          timeout 120 "$bin/tintara-profiler" 2>"$scratch/gui.err") || status=$?
    echo "$out"
    [ $status -eq 0 ] || fail "tintara-profiler self-test exited $status: $(cat "$scratch/gui.err")"
    grep -q 'window "Tintara Profiler" shown' <<<"$out" || fail "the window did not show its title"
    picture="$root/usr/share/tintara/Profiler_Background.jpg"
    grep -qF "background picture $picture loaded" <<<"$out" ||
        fail "the window did not load $picture"
fi
echo "PASS"
