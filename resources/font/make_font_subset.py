#!/usr/bin/env python3
"""Builds the application's embedded font from Debian's Noto Sans CJK SC Medium.

The full collection is 18 MB and five faces; the program needs one face and the characters a
Chinese or English user interface can show. We keep Latin, general punctuation, CJK symbols and
full-width forms, every hanzi of GB2312 (the 6763 characters of everyday simplified Chinese) and
any other character found in the translation files, so a new translated text never renders as a
box even if it uses a rare character.

usage: make_font_subset.py SOURCE.ttc OUTPUT.ttf [TS files...]
"""
import re
import sys

from fontTools import subset
from fontTools.ttLib import TTCollection

FAMILY = "Noto Sans CJK SC"


def gb2312_chars():
    chars = set()
    for hi in range(0xB0, 0xF8):
        for lo in range(0xA1, 0xFF):
            try:
                chars.add(bytes([hi, lo]).decode("gb2312"))
            except UnicodeDecodeError:
                pass
    return chars


def main(argv):
    if len(argv) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    source, output, ts_files = argv[1], argv[2], argv[3:]

    codepoints = set(range(0x20, 0x7F)) | set(range(0xA0, 0x180))
    codepoints |= set(range(0x2000, 0x2070)) | set(range(0x2190, 0x2200))
    codepoints |= set(range(0x3000, 0x3040)) | set(range(0xFF00, 0xFFF0))
    codepoints |= {ord(c) for c in gb2312_chars()}
    for ts in ts_files:
        with open(ts, encoding="utf-8") as f:
            text = re.sub(r"&#x([0-9a-fA-F]+);", lambda m: chr(int(m.group(1), 16)), f.read())
        codepoints |= {ord(c) for c in text if ord(c) >= 0x80}

    collection = TTCollection(source)
    font = None
    for face in collection.fonts:
        names = face["name"]
        if FAMILY in (names.getDebugName(16), names.getDebugName(1)):
            font = face
            break
    if font is None:
        print(f"make_font_subset: no face named '{FAMILY}' in {source}", file=sys.stderr)
        return 1

    options = subset.Options()
    options.layout_features = ["*"]
    options.name_IDs = ["*"]
    options.name_languages = ["*"]
    options.notdef_outline = True
    options.hinting = False
    options.desubroutinize = False
    subsetter = subset.Subsetter(options=options)
    subsetter.populate(unicodes=sorted(codepoints))
    subsetter.subset(font)
    font.save(output)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
