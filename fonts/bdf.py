"""Reads the part of the Glyph Bitmap Distribution Format (BDF 2.1) that the fonts of this folder use.

A font is returned as cells: every glyph as rows of its full cell (advance width x font height), whatever
bounding box an editor saved it with.
"""

from dataclasses import dataclass, field
from pathlib import Path


class BdfError(Exception):
    """What is wrong with a BDF file, with file and line."""


@dataclass
class Glyph:
    name: str
    encoding: int
    width: int
    """The advance, which is the width of the cell."""
    rows: list[str]
    """Cell rows from the top, one character per pixel: "#" ink, "." paper."""


@dataclass
class Font:
    path: Path
    ascent: int = 0
    descent: int = 0
    glyphs: dict[int, Glyph] = field(default_factory=dict)

    @property
    def height(self) -> int:
        return self.ascent + self.descent


class _Reader:
    def __init__(self, path: Path):
        self.path = path
        try:
            self.lines = path.read_text(encoding="ascii").splitlines()
        except (OSError, UnicodeDecodeError) as error:
            raise BdfError(f"{path}: cannot be read: {error}") from error
        self.number = 0

    def error(self, message: str) -> BdfError:
        return BdfError(f"{self.path}:{self.number}: {message}")

    def next(self) -> tuple[str, list[str]]:
        """The next line that holds something, as keyword and arguments."""
        while self.number < len(self.lines):
            words = self.lines[self.number].split()
            self.number += 1
            if words and words[0] != "COMMENT":
                return words[0], words[1:]
        raise self.error("the file ends early")

    def numbers(self, keyword: str, words: list[str], count: int) -> list[int]:
        try:
            if len(words) >= count:
                return [int(word) for word in words[:count]]
        except ValueError:
            pass
        raise self.error(f"{keyword} needs {count} whole number(s)")


def _read_bitmap(reader: _Reader, name: str, width: int, height: int) -> list[str]:
    digits = (width + 7) // 8 * 2
    rows = []
    for _ in range(height):
        text, _rest = reader.next()
        if len(text) != digits:
            raise reader.error(f"glyph {name}: a bitmap row must be {digits} hexadecimal digits, not \"{text}\"")
        try:
            bits = f"{int(text, 16):0{digits * 4}b}"
        except ValueError:
            raise reader.error(f"glyph {name}: \"{text}\" is not hexadecimal") from None
        if "1" in bits[width:]:
            raise reader.error(f"glyph {name}: ink outside its bounding box")
        rows.append(bits[:width].replace("0", ".").replace("1", "#"))
    return rows


def _read_glyph(reader: _Reader, font: Font, name: str) -> Glyph:
    encoding = advance = box = None
    while True:
        keyword, words = reader.next()
        if keyword == "ENCODING":
            encoding = reader.numbers(keyword, words, 1)[0]
        elif keyword == "DWIDTH":
            advance = reader.numbers(keyword, words, 2)[0]
        elif keyword == "BBX":
            box = reader.numbers(keyword, words, 4)
        elif keyword == "BITMAP":
            break
        elif keyword in ("ENDCHAR", "STARTCHAR", "ENDFONT"):
            raise reader.error(f"glyph {name}: no BITMAP")
    if encoding is None or advance is None or box is None:
        raise reader.error(f"glyph {name}: ENCODING, DWIDTH and BBX must come before BITMAP")

    width, height, left, bottom = box
    top = font.ascent - bottom - height
    ink = _read_bitmap(reader, name, width, height)
    if reader.next()[0] != "ENDCHAR":
        raise reader.error(f"glyph {name}: more bitmap rows than BBX says")

    cell = [["."] * advance for _ in range(font.height)]
    for y, row in enumerate(ink, start=top):
        for x, pixel in enumerate(row, start=left):
            if pixel == "#":
                if not (0 <= x < advance and 0 <= y < font.height):
                    raise reader.error(f"glyph {name}: ink outside its cell of {advance} x {font.height}")
                cell[y][x] = "#"
    return Glyph(name, encoding, advance, ["".join(row) for row in cell])


def read(path: Path) -> Font:
    """Reads a font. Glyphs without an encoding (-1) are left out."""
    reader = _Reader(path)
    font = Font(path)
    metrics = {}
    count = None
    seen = 0
    if reader.next()[0] != "STARTFONT":
        raise reader.error("not a BDF file: it does not begin with STARTFONT")
    while True:
        keyword, words = reader.next()
        if keyword in ("FONT_ASCENT", "FONT_DESCENT"):
            metrics[keyword] = reader.numbers(keyword, words, 1)[0]
        elif keyword == "CHARS":
            count = reader.numbers(keyword, words, 1)[0]
            if len(metrics) != 2:
                raise reader.error("FONT_ASCENT and FONT_DESCENT must be among the properties")
            font.ascent, font.descent = metrics["FONT_ASCENT"], metrics["FONT_DESCENT"]
        elif keyword == "STARTCHAR":
            if count is None:
                raise reader.error("STARTCHAR before CHARS")
            seen += 1
            glyph = _read_glyph(reader, font, " ".join(words) or "without a name")
            if glyph.encoding in font.glyphs:
                raise reader.error(f"glyph {glyph.name}: character {glyph.encoding} stands twice")
            if glyph.encoding >= 0:
                font.glyphs[glyph.encoding] = glyph
        elif keyword == "ENDFONT":
            break
    if seen != count:
        raise reader.error(f"CHARS says {count} glyphs, the file has {seen}")
    return font
