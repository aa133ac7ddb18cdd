#!/usr/bin/env python3
"""Draws a specimen sheet of the three fonts as a PNG: the characters, the screens of the panel, texts and pairs
of letters that are easily taken for others."""

import argparse
import struct
import sys
import zlib
from pathlib import Path

import bdf

FOLDER = Path(__file__).resolve().parent

DESK, PAPER, INK, RULE = range(4)
PALETTE = bytes((0x8A, 0x93, 0x8C, 0xDD, 0xE4, 0xD6, 0x16, 0x1C, 0x1A, 0xB4, 0xBE, 0xB1))

PANEL_WIDTH, PANEL_HEIGHT = 240, 64


class Canvas:
    def __init__(self, width: int, height: int):
        self.width, self.height = width, height
        self.rows = [bytearray([DESK]) * width for _ in range(height)]

    def fill(self, x: int, y: int, width: int, height: int, colour: int) -> None:
        for row in self.rows[y:y + height]:
            row[x:x + width] = bytes([colour]) * width

    def text(self, font: bdf.Font, x: int, y: int, text: str, paint_cell: bool = True) -> int:
        """Draws with (x, y) as the upper left corner of the first cell; returns the x behind the last one."""
        for character in text:
            glyph = font.glyphs[ord(character)]
            for offset, row in enumerate(glyph.rows):
                for column, pixel in enumerate(row):
                    if pixel == "#":
                        self.rows[y + offset][x + column] = INK
                    elif paint_cell:
                        self.rows[y + offset][x + column] = PAPER
            x += glyph.width
        return x

    def png(self, scale: int) -> bytes:
        def chunk(kind: bytes, data: bytes) -> bytes:
            return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

        pixels = bytearray()
        for row in self.rows:
            line = bytearray()
            for value in row:
                line += bytes([value]) * scale
            # Two bits per pixel, four pixels to a byte, each line behind a filter byte.
            line += bytes(-len(line) % 4)
            packed = bytes(line[i] << 6 | line[i + 1] << 4 | line[i + 2] << 2 | line[i + 3]
                           for i in range(0, len(line), 4))
            pixels += (b"\0" + packed) * scale
        header = struct.pack(">IIBBBBB", self.width * scale, self.height * scale, 2, 3, 0, 0, 0)
        return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"PLTE", PALETTE)
                + chunk(b"IDAT", zlib.compress(bytes(pixels), 9)) + chunk(b"IEND", b""))


class Sheet:
    MARGIN = 10
    GAP = 6

    def __init__(self, fonts: dict[str, bdf.Font]):
        self.fonts = fonts
        glyphs = sum(len(font.glyphs) for font in fonts.values())
        self.canvas = Canvas(3 * self.MARGIN + 2 * PANEL_WIDTH, 1000 + 2 * glyphs)
        self.x = self.y = self.MARGIN
        self.lowest = 0

    def advance(self, height: int) -> None:
        self.y += height + self.GAP
        self.lowest = max(self.lowest, self.y)

    def next_column(self) -> None:
        self.x += PANEL_WIDTH + self.MARGIN
        self.y = self.MARGIN

    def heading(self, text: str) -> None:
        self.canvas.text(self.fonts["default"], self.x, self.y, text, paint_cell=False)
        self.y += 11

    def panel(self, rows: list[str], percent: int | None = None, font: str = "text", rule: bool = False) -> None:
        """One screen of the LCD: rows of text in a font (tabs at its start are columns), a bar in row 2, a rule that
        the first row is written over."""
        canvas, x, y = self.canvas, self.x, self.y
        canvas.fill(x, y, PANEL_WIDTH, PANEL_HEIGHT, PAPER)
        if rule:
            canvas.fill(x, y + 7, PANEL_WIDTH, 1, INK)
        height = self.fonts[font].height
        for row, text in enumerate(rows):
            column = len(text) - len(text.lstrip("\t"))
            top = min(height * row, PANEL_HEIGHT - height)  # a row that would end below the screen moves up
            canvas.text(self.fonts[font], x + 8 * column, y + top, text.lstrip("\t"))
        if percent is not None:
            canvas.fill(x + 4, y + 34, 232, 13, INK)
            canvas.fill(x + 5, y + 35, 230, 11, PAPER)
            canvas.fill(x + 7, y + 37, percent * 225 // 100 + 1, 7, INK)
        self.advance(PANEL_HEIGHT)

    def grid(self, name: str, pitch: int) -> None:
        """All characters, sixteen to a line, each cell on a darker ground that shows its width."""
        font = self.fonts[name]
        codes = sorted(font.glyphs)
        height = -(-len(codes) // 16) * pitch + 3
        self.canvas.fill(self.x, self.y, PANEL_WIDTH, height, PAPER)
        for position, code in enumerate(codes):
            x = self.x + 4 + position % 16 * 15
            y = self.y + 2 + position // 16 * pitch
            self.canvas.fill(x, y, font.glyphs[code].width, font.height, RULE)
            self.canvas.text(font, x, y, chr(code), paint_cell=False)
        self.advance(height)

    def lines(self, name: str, texts: list[str]) -> None:
        font = self.fonts[name]
        height = len(texts) * font.height + 4
        self.canvas.fill(self.x, self.y, PANEL_WIDTH, height, PAPER)
        for row, text in enumerate(texts):
            self.canvas.text(font, self.x + 2, self.y + 2 + row * font.height, text)
        self.advance(height)


def draw(fonts: dict[str, bdf.Font]) -> Canvas:
    sheet = Sheet(fonts)
    sheet.heading("Text 8 x 16, proportional")
    sheet.grid("text", 18)
    sheet.lines("text", [
        "Sphinx of black quartz, judge",
        "my vow. Five boxing wizards",
        "jump quickly: Why? Hamburg!",
        "HEAVY BOXES PERFORM QUICK",
        "WALTZES AND JIGS, $20 & 37%",
        "rn m  cl d  1lI|  0O  5S 8B 2Z",
        "0123456789  192.168.0.255",
        "(a+b) [c*d] {e/f} <g-h> #4 @",
        "nnonoo HHOHOO minimum Illinois",
    ])
    sheet.heading("Title 8 x 13")
    sheet.grid("title", 14)
    sheet.lines("title", [
        "CARD SLOT  CARD SLOTS  A: B:",
        "Sphinx of black quartz, judge",
        "0123456789  1lI 0O 5S 8B 2Z",
    ])
    sheet.next_column()
    sheet.heading("The panel, 240 x 64")
    title = "----- UPDATING FIRMWARE -----"
    sheet.panel([title, "Initializing", "", "Checking the image"], percent=0)
    sheet.panel([title, "Writing Firmware", "", "Block 6 of 9"], percent=64)
    sheet.panel([title, "Finished. Rebooting...", "", ""], percent=100)
    sheet.panel(["\t" * 9 + " CARD SLOTS ", "A: Input gallery", "B: Output gypsum", "C: Telephone jpqy", "D: Bridge"],
                font="title", rule=True)
    sheet.panel(["\t" * 11 + "CONTROL", "IP ADDR: 192.168.100.57", "NETMASK: 255.255.255.0", "GATEWAY: 192.168.100.1"],
                rule=True)
    sheet.heading("Default 8 x 8")
    sheet.grid("default", 10)
    sheet.lines("default", ["Sphinx of black quartz, judge", "HEAVY BOXES PERFORM: 37%"])
    canvas = sheet.canvas
    canvas.height = sheet.lowest + sheet.MARGIN - sheet.GAP
    canvas.rows = canvas.rows[:canvas.height]
    return canvas


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("output", type=Path, help="the .png file to write")
    parser.add_argument("--scale", type=int, default=4, help="picture pixels per font pixel (default: 4)")
    options = parser.parse_args()
    try:
        fonts = {name: bdf.read(FOLDER / f"{name}_{size}.bdf")
                 for name, size in (("text", "8x16"), ("title", "8x13"), ("default", "8x8"))}
        options.output.write_bytes(draw(fonts).png(options.scale))
    except (bdf.BdfError, OSError) as error:
        print(f"sheet: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
