#!/usr/bin/env python3
"""Makes and cuts small PNM pictures for scripts/effects. Python's standard library only.

    pnm.py crop IN OUT X,Y,W,H [ZOOM]    a part; each pixel ZOOM times in both directions
    pnm.py noise IN OUT AMOUNT           grain of AMOUNT steps at most, in each sample for itself
    pnm.py streaks IN OUT                what specks on the glass draw down a page from the feeder
    pnm.py cast IN OUT RED,GREEN,BLUE LIFT   percents of the samples, and LIFT steps more
    pnm.py dark OUT                      deep shadow in linear light, with a sensor's noise
"""

import random
import sys


def read(path):
    """Width, height and the 8-bit samples of an RGB picture, whatever kind of PNM it was."""
    with open(path, "rb") as file:
        data = file.read()
    fields, at = [], 0
    while len(fields) < (3 if data[:2] == b"P4" else 4):
        end = at
        while data[end:end + 1].strip():
            end += 1
        if data[at:at + 1] == b"#":
            end = data.index(b"\n", at)
        elif end > at:
            fields.append(data[at:end])
        at = end + 1
    width, height = int(fields[1]), int(fields[2])
    if fields[0] == b"P6":
        return width, height, data[at:]
    if fields[0] == b"P5":
        gray = data[at:]
    else:  # P4: a set bit is black, lines begin on whole bytes
        stride = (width + 7) // 8
        gray = bytes(0 if data[at + y * stride + x // 8] >> (7 - x % 8) & 1 else 255
                     for y in range(height) for x in range(width))
    return width, height, bytes(sample for sample in gray for _ in range(3))


def write(path, width, height, samples):
    with open(path, "wb") as file:
        file.write(b"P6\n%d %d\n255\n" % (width, height))
        file.write(samples)


def crop(source, target, where, zoom="1"):
    width, _, samples = read(source)
    left, top, columns, lines = map(int, where.split(","))
    zoom = int(zoom)
    out = bytearray()
    for y in range(top, top + lines):
        line = bytearray()
        for x in range(left, left + columns):
            at = 3 * (y * width + x)
            line += samples[at:at + 3] * zoom
        out += line * zoom
    write(target, columns * zoom, lines * zoom, out)


def noise(source, target, amount):
    width, height, samples = read(source)
    pick, amount = random.Random(1), int(amount)
    write(target, width, height,
          bytes(max(0, min(255, s + round(amount * (2 * pick.random() - 1)))) for s in samples))


def streaks(source, target):
    width, height, samples = read(source)
    out = bytearray(samples)
    # One and two pixels wide, in red and in blue: column, columns, channel, steps darker.
    for column, columns, channel, depth in ((40, 1, 0, 60), (80, 2, 0, 90), (120, 1, 2, 60),
                                            (160, 2, 2, 90), (200, 1, 1, 60)):
        for y in range(height):
            for x in range(column, column + columns):
                at = 3 * (y * width + x) + channel
                out[at] = max(0, out[at] - depth)
    write(target, width, height, out)


def cast(source, target, percents, lift):
    width, height, samples = read(source)
    factors = [int(percent) for percent in percents.split(",")]
    write(target, width, height,
          bytes(min(255, s * factors[i % 3] // 100 + int(lift)) for i, s in enumerate(samples)))


def dark(target):
    width, height, pick = 96, 64, random.Random(1)
    out = bytearray()
    for y in range(height):
        for x in range(width):
            level = 8 if (x // 24 + y // 16) % 2 else 4
            out += bytes(level + pick.choice((-1, 0, 0, 1)) for _ in range(3))
    write(target, width, height, out)


if __name__ == "__main__":
    commands = {"crop": crop, "noise": noise, "streaks": streaks, "cast": cast, "dark": dark}
    commands[sys.argv[1]](*sys.argv[2:])
