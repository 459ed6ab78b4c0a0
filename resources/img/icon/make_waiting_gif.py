#!/usr/bin/env python3
"""Regenerates waiting.gif: the QuorvelView busy indicator.

96x96, transparent background, 12 looping frames: a ring of 8 dots in the
brand teal (#004B6A) with a highlight that runs clockwise around the ring
(the leading dot is full-size and full-colour, the trail fades and shrinks).

Pure Python 3 standard library; no image tools needed.
    python3 make_waiting_gif.py [output.gif]
(default output: waiting.gif next to this script)
"""
import math
import os
import struct
import sys

SIZE = 96
FRAMES = 12
DELAY_CS = 8            # 8/100 s per frame -> about one turn per second
DOTS = 8
RING_R = 32.0           # ring radius (px)
DOT_R_MIN, DOT_R_MAX = 5.0, 9.0
HEAD = (0x00, 0x4B, 0x6A)   # brand primary
TAIL = (0xC4, 0xD9, 0xE2)   # pale tint of the primary for the faded trail
MATTE = (0xFF, 0xFF, 0xFF)  # anti-aliased edges are blended towards a light UI background
SS = 4                  # supersampling per axis
MIN_COVER = 3           # of SS*SS sub-samples; below this a pixel stays transparent
SHADES = 16             # quantisation steps of the highlight


def mix(a, b, t):
    return tuple(int(round(a[i] + (b[i] - a[i]) * t)) for i in range(3))


def render_frame(f):
    """Return a list of SIZE*SIZE entries: None (transparent) or (shade, cover)."""
    head = 2 * math.pi * f / FRAMES
    px = [None] * (SIZE * SIZE)
    c = SIZE / 2.0
    for i in range(DOTS):
        theta = 2 * math.pi * i / DOTS
        lag = (head - theta) % (2 * math.pi)      # how far this dot trails the highlight
        s = (1.0 - lag / (2 * math.pi)) ** 1.6
        # a dot the highlight is about to reach already lights up a little, so the
        # head glides between dots (12 frames vs 8 dots) instead of stuttering
        ahead = 2 * math.pi - lag
        s = max(s, 1.0 - ahead / (2 * math.pi / DOTS))
        shade = int(round(s * (SHADES - 1)))
        s = shade / (SHADES - 1.0)
        r = DOT_R_MIN + (DOT_R_MAX - DOT_R_MIN) * s
        # clockwise from 12 o'clock
        dx = c + RING_R * math.sin(theta)
        dy = c - RING_R * math.cos(theta)
        for y in range(int(dy - r) - 1, int(dy + r) + 2):
            for x in range(int(dx - r) - 1, int(dx + r) + 2):
                cover = 0
                for sy in range(SS):
                    for sx in range(SS):
                        ux = x + (sx + 0.5) / SS - dx
                        uy = y + (sy + 0.5) / SS - dy
                        if ux * ux + uy * uy <= r * r:
                            cover += 1
                if cover >= MIN_COVER:
                    px[y * SIZE + x] = (shade, cover)
    return px


def build_palette():
    """Index 0 = transparent; then every (shade, cover) combination."""
    pal = [(0, 0, 0)]
    index = {}
    full = SS * SS
    for shade in range(SHADES):
        col = mix(TAIL, HEAD, shade / (SHADES - 1.0))
        for cover in range(MIN_COVER, full + 1):
            index[(shade, cover)] = len(pal)
            pal.append(mix(MATTE, col, cover / float(full)))
    assert len(pal) <= 256, len(pal)
    while len(pal) < 256:
        pal.append((0, 0, 0))
    return pal, index


def lzw_encode(data, min_code_size):
    clear, eoi = 1 << min_code_size, (1 << min_code_size) + 1
    out = bytearray()
    acc = nbits = 0

    def emit(code, width):
        nonlocal acc, nbits
        acc |= code << nbits
        nbits += width
        while nbits >= 8:
            out.append(acc & 0xFF)
            acc >>= 8
            nbits -= 8

    def reset():
        return {bytes([i]): i for i in range(clear)}, min_code_size + 1, eoi + 1

    table, width, nxt = reset()
    emit(clear, width)
    w = b""
    for b in data:
        wc = w + bytes([b])
        if wc in table:
            w = wc
            continue
        emit(table[w], width)
        if nxt < 4096:
            table[wc] = nxt
            if nxt == (1 << width) and width < 12:
                width += 1
            nxt += 1
        else:
            emit(clear, width)
            table, width, nxt = reset()
        w = bytes([b])
    if w:
        emit(table[w], width)
    emit(eoi, width)
    if nbits:
        out.append(acc & 0xFF)
    return bytes(out)


def sub_blocks(data):
    out = bytearray()
    for i in range(0, len(data), 255):
        chunk = data[i:i + 255]
        out.append(len(chunk))
        out += chunk
    out.append(0)
    return bytes(out)


def make_gif(path):
    pal, index = build_palette()
    gif = bytearray(b"GIF89a")
    # logical screen: global colour table of 256 entries, background index 0
    gif += struct.pack("<HHBBB", SIZE, SIZE, 0xF7, 0, 0)
    for rgb in pal:
        gif += bytes(rgb)
    # loop forever
    gif += b"\x21\xFF\x0BNETSCAPE2.0\x03\x01" + struct.pack("<H", 0) + b"\x00"
    for f in range(FRAMES):
        px = render_frame(f)
        data = bytes(0 if p is None else index[p] for p in px)
        # graphic control: disposal 2 (restore to background), transparent index 0
        gif += b"\x21\xF9\x04" + bytes([(2 << 2) | 1]) + struct.pack("<H", DELAY_CS) + b"\x00\x00"
        gif += b"\x2C" + struct.pack("<HHHHB", 0, 0, SIZE, SIZE, 0)
        gif += bytes([8]) + sub_blocks(lzw_encode(data, 8))
    gif += b"\x3B"
    with open(path, "wb") as fh:
        fh.write(gif)


if __name__ == "__main__":
    target = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
        os.path.dirname(os.path.abspath(__file__)), "waiting.gif")
    make_gif(target)
    print("wrote", target)
