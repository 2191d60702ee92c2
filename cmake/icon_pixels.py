#!/usr/bin/env python3
"""Turns the application's icon into a table of pixels: icon_pixels.py ICON.png OUT.inc

The picture has 8 bits a colour with alpha and is a whole number of times larger than the icon's side.
"""

import struct
import sys
import zlib

SIDE = 64


def read_png(data):
    """(width, rows): a row is a bytearray of 4 bytes a pixel."""
    position, packed, head = 8, b"", None
    while position < len(data):
        size, kind = struct.unpack(">I4s", data[position:position + 8])
        body = data[position + 8:position + 8 + size]
        if kind == b"IHDR":
            head = struct.unpack(">2I5B", body)
        elif kind == b"IDAT":
            packed += body
        position += 12 + size
    width, height = head[:2]
    if head[2:] != (8, 6, 0, 0, 0):
        sys.exit("icon_pixels.py: the picture is not one of 8 bits a colour with alpha")
    raw, rows, above = zlib.decompress(packed), [], bytearray(4 * width)
    for number in range(height):
        at = number * (4 * width + 1)
        above = unfilter(raw[at], bytearray(raw[at + 1:at + 1 + 4 * width]), above)
        rows.append(above)
    return width, rows


def unfilter(kind, row, above):
    for at, value in enumerate(row):
        left = row[at - 4] if at >= 4 else 0
        up = above[at]
        corner = above[at - 4] if at >= 4 else 0
        if kind == 1:
            value += left
        elif kind == 2:
            value += up
        elif kind == 3:
            value += (left + up) // 2
        elif kind == 4:
            guess = left + up - corner
            value += min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))[2]
        row[at] = value & 0xFF
    return row


def main():
    width, rows = read_png(open(sys.argv[1], "rb").read())
    step = width // SIDE
    with open(sys.argv[2], "w") as out:
        out.write("// Made from docs/desktop/sabledbg.png: red, green, blue and alpha of each pixel.\n")
        for y in range(SIDE):
            line = []
            for x in range(SIDE):
                block = [rows[y * step + dy][4 * (x * step + dx):4 * (x * step + dx) + 4]
                         for dy in range(step) for dx in range(step)]
                line += [str(sum(pixel[channel] for pixel in block) // len(block)) for channel in range(4)]
            out.write(",".join(line) + ",\n")


if __name__ == "__main__":
    main()
