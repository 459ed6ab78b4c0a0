#!/usr/bin/env bash
# Fails when a translatable text in the sources has no finished Chinese translation, or when the
# committed translation files are out of date with the sources (run update-translations.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
LUPDATE=${LUPDATE:-/usr/lib/qt6/bin/lupdate}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cp resources/translations/app_zh.ts "$tmp/app_zh.ts"
dirs=()
for d in app dialogs widgets settings camera processing Utility; do [ -d "$d" ] && dirs+=("$d"); done
"$LUPDATE" -silent -locations none -no-obsolete "${dirs[@]}" -ts "$tmp/app_zh.ts"
status=0
if grep -q 'type="unfinished"' "$tmp/app_zh.ts"; then
  echo "Texts without a Chinese translation:"
  /usr/bin/python3 - "$tmp/app_zh.ts" <<'PY'
import sys, xml.etree.ElementTree as ET
for ctx in ET.parse(sys.argv[1]).getroot().iter("context"):
    for m in ctx.iter("message"):
        t = m.find("translation")
        if t.get("type") == "unfinished":
            print(f"  [{ctx.find('name').text}] {m.find('source').text}")
PY
  status=1
fi
if ! cmp -s "$tmp/app_zh.ts" resources/translations/app_zh.ts; then
  echo "resources/translations/app_zh.ts is out of date with the sources: run scripts/update-translations.sh"
  status=1
fi
[ $status -eq 0 ] && echo "translations complete"
exit $status
