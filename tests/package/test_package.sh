#!/usr/bin/env bash
# Builds the Debian package with CPack and checks it as a user's machine would see it: the file
# name, the files and where they go, the dependencies, and the installed programs running from an
# extracted tree (the CLI tools, the Python module, and the window offscreen finding its factory configurations
# beside itself through the /usr/bin link).
# usage: test_package.sh BUILD_DIR
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
fail() { echo "$*"; status=1; }

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
deb="$work/out/quorvelview_${version}_amd64.deb"
[ -f "$deb" ] || { ls "$work/out"; echo "no $deb"; exit 1; }

contents=$(dpkg-deb --contents "$deb")
for f in ./usr/bin/QuorvelView ./usr/bin/quorvel ./usr/bin/quorvel-camd ./usr/lib/quorvelview/QuorvelView \
         ./usr/lib/quorvelview/config/dvs_default_config.json \
         ./usr/lib/quorvelview/config/fusion_cmaera_default_config.json \
         ./usr/share/applications/quorvelview.desktop ./usr/share/mime/packages/quorvelview.xml \
         ./usr/share/icons/hicolor/scalable/apps/quorvelview.svg; do
  grep -q -- " $f\( \|$\)" <<<"$contents" || fail "missing in the package: $f"
done
depends=$(dpkg-deb -f "$deb" Depends)
for d in libqt6widgets6 libqt6svg6 libavcodec59 libavformat59 libswscale6; do
  grep -q "$d" <<<"$depends" || fail "not a dependency: $d ($depends)"
done

root="$work/root"
dpkg-deb -x "$deb" "$root"
[ "$("$root/usr/bin/quorvel" --version)" = "quorvel $version" ] || fail "quorvel --version"
"$root/usr/bin/quorvel" --help | grep -q "usage: quorvel" || fail "quorvel --help"
[ "$("$root/usr/bin/quorvel-camd" --version)" = "quorvel-camd $version" ] || fail "quorvel-camd --version"
[ "$("$root/usr/bin/QuorvelView" --version)" = "QuorvelView $version" ] || fail "QuorvelView --version"
grep -q '^MimeType=application/x-quorvel-raw;' "$root/usr/share/applications/quorvelview.desktop" || fail "desktop entry MIME"
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$root/usr/share/applications/quorvelview.desktop" || fail "desktop entry invalid"
fi

# The Python module from the installed files, when this build made one and NumPy is there.
module=$(grep -o ' \./usr/lib/python3/dist-packages/quorvel\.cpython[^ ]*\.so' <<<"$contents" | head -1 || true)
if grep -q '^QV_PYTHON_EXECUTABLE:INTERNAL=' "$build/CMakeCache.txt"; then
  [ -n "$module" ] || fail "missing in the package: the quorvel Python module"
  py=$(sed -n 's/^QV_PYTHON_EXECUTABLE:INTERNAL=//p' "$build/CMakeCache.txt")
  if [ -n "$module" ] && "$py" -c "import numpy" 2>/dev/null; then
    PYTHONPATH="$root/usr/lib/python3/dist-packages" XDG_CACHE_HOME="$work/cache" "$py" - "$work" <<'EOF' ||
import os, sys, numpy as np, quorvel
assert quorvel.__file__.startswith(sys.argv[1]), quorvel.__file__
path = os.path.join(sys.argv[1], "pkg.raw")
ev = np.zeros(3, dtype=quorvel.EVENT_DTYPE)
ev["t"], ev["x"], ev["y"], ev["p"] = [10, 20, 30], [1, 2, 3], [4, 5, 6], [1, 0, 1]
assert quorvel.write(path, ev, 64, 48) == 3
assert (quorvel.open(path).read() == ev).all()
EOF
      fail "the installed Python module does not work"
  fi
fi

# The window from the installed files, in a home of its own: the first run copies the factory
# configuration found beside the installed executable.
home="$work/home"
mkdir -p "$home"
HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" QT_QPA_PLATFORM=offscreen \
  "$root/usr/bin/QuorvelView" >"$work/app.log" 2>&1 &
pid=$!
sleep 4
kill -TERM "$pid" 2>/dev/null || true
wait "$pid" || fail "the installed window did not end cleanly"
cmp -s "$home/Documents/QuorvelConfig/dvs_default_config.json" "$root/usr/lib/quorvelview/config/dvs_default_config.json" ||
  fail "the installed window did not find its factory configuration"
[ $status -eq 0 ] || { echo "--- window log:"; cat "$work/app.log"; }
exit $status
