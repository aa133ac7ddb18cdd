#!/usr/bin/env python3
"""Turns a BDF font into a C++ source file that defines one `const io::font_t` (io/lcd/font.h)."""

import argparse
import re
import sys
from pathlib import Path

import bdf


def cell_size(text: str) -> tuple[int, int]:
    match = re.fullmatch(r"(\d+)x(\d+)", text)
    if not match:
        raise argparse.ArgumentTypeError(f"\"{text}\" is not WIDTHxHEIGHT")
    return int(match[1]), int(match[2])


def character_range(text: str) -> range:
    match = re.fullmatch(r"(\d+)-(\d+)", text)
    if not match or int(match[1]) > int(match[2]):
        raise argparse.ArgumentTypeError(f"\"{text}\" is not FIRST-LAST")
    return range(int(match[1]), int(match[2]) + 1)


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("source", type=Path, help="the font, a .bdf file")
    parser.add_argument("output", type=Path, help="the .cpp file to write")
    parser.add_argument("--name", required=True, help="name of the font_t, declared in io/lcd/fonts.h")
    parser.add_argument("--cell", required=True, type=cell_size, metavar="WIDTHxHEIGHT",
                        help="nominal width, which no glyph exceeds, and height of the cell")
    parser.add_argument("--characters", required=True, type=character_range, metavar="FIRST-LAST",
                        help="characters that must be in the font")
    parser.add_argument("--default-character", type=int, metavar="CODE",
                        help="write a code page that draws this one in place of an unknown character; without "
                             "this option there is no code page, and the characters must run from 0")
    parser.add_argument("--fixed-pitch", action="store_true", help="every glyph must have the nominal width")
    parser.add_argument("--blank-last-row", action="store_true",
                        help="the lowest row of every cell must be without ink")
    parser.add_argument("--three-dots", type=int, metavar="WIDTH",
                        help="room that three full stops must fit into: a text too wide for the screen ends with them")
    return parser.parse_args()


def check(font: bdf.Font, options: argparse.Namespace) -> None:
    def refuse(message: str) -> None:
        raise bdf.BdfError(f"{font.path}: {message}")

    width, height = options.cell
    if font.height != height:
        refuse(f"the cell is {font.height} rows high (FONT_ASCENT + FONT_DESCENT), not {height}")
    missing = [str(code) for code in options.characters if code not in font.glyphs]
    if missing:
        refuse(f"without character {', '.join(missing)}")
    if options.default_character is None and sorted(font.glyphs) != list(range(len(font.glyphs))):
        refuse("without a code page the characters must run from 0 without a gap")
    if options.default_character is not None and options.default_character not in font.glyphs:
        refuse(f"without its default character {options.default_character}")
    if options.three_dots is not None and 3 * font.glyphs[ord(".")].width > options.three_dots:
        refuse(f"three full stops are wider than {options.three_dots}")
    for glyph in font.glyphs.values():
        if not 0 <= glyph.encoding <= 0xFFFF:
            refuse(f"glyph {glyph.name}: character {glyph.encoding} does not fit into 16 bits")
        # A first byte of zero would announce the long form of a symbol.
        if not 1 <= glyph.width <= width:
            refuse(f"glyph {glyph.name}: its width is {glyph.width}, not 1 to {width}")
        if options.fixed_pitch and glyph.width != width:
            refuse(f"glyph {glyph.name}: its width is {glyph.width} in a font of fixed pitch {width}")
        if options.blank_last_row and "#" in glyph.rows[-1]:
            refuse(f"glyph {glyph.name}: ink in the lowest row of its cell")


def code_page(codes: list[int]) -> list[tuple[int, int, int]]:
    """(first, last, symbol index of the first) of every run of characters without a gap."""
    ranges: list[tuple[int, int, int]] = []
    for index, code in enumerate(codes):
        if ranges and code == ranges[-1][1] + 1:
            ranges[-1] = (ranges[-1][0], code, ranges[-1][2])
        else:
            ranges.append((code, code, index))
    return ranges


def bitmap(glyph: bdf.Glyph) -> list[int]:
    values = []
    for row in glyph.rows:
        bits = row.replace(".", "0").replace("#", "1")
        bits += "0" * (-len(bits) % 8)
        values += [int(bits[start:start + 8], 2) for start in range(0, len(bits), 8)]
    return values


def cpp(font: bdf.Font, options: argparse.Namespace) -> str:
    width, height = options.cell
    bytes_per_symbol = (width + 7) // 8 * height
    codes = sorted(font.glyphs)
    lines = [
        f"// Made from {font.path.name} by bdf_to_cpp.py; edit that one.",
        "",
        "#include \"io/lcd/fonts.h\"",
        "",
        "namespace io {",
        "",
        "namespace {",
        "",
        f"constexpr std::uint8_t symbols[] = {{  // {len(codes)} x (width, height, bitmap)",
    ]
    for code in codes:
        glyph = font.glyphs[code]
        rows = bitmap(glyph)
        rows += [0] * (bytes_per_symbol - len(rows))
        data = ", ".join([str(glyph.width), str(height)] + [f"0x{value:02X}" for value in rows])
        lines.append(f"    {data},  // {code}")
    lines += ["};", ""]
    page = "nullptr"
    if options.default_character is not None:
        page = "code_page"
        ranges = code_page(codes)
        lines.append("constexpr std::uint16_t code_page[] = {")
        lines.append(f"    {len(ranges)}, {options.default_character},")
        lines += [f"    {first}, {last}, {index}," for first, last, index in ranges]
        lines += ["};", ""]
    lines += [
        "}  // namespace",
        "",
        f"constinit const font_t {options.name}{{{width}, {height}, {bytes_per_symbol}, symbols, {len(codes)}, "
        f"{page}}};",
        "",
        "}  // namespace io",
    ]
    return "\n".join(lines) + "\n"


def main() -> int:
    options = arguments()
    try:
        font = bdf.read(options.source)
        check(font, options)
        options.output.write_text(cpp(font, options), encoding="ascii")
    except (bdf.BdfError, OSError) as error:
        print(f"bdf_to_cpp: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
