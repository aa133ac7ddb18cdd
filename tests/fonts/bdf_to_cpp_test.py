"""What bdf_to_cpp.py writes for a small font, and what it refuses."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "fonts" / "bdf_to_cpp.py"


def glyph(name: str, code: int, width: int, box: str, *rows: str) -> str:
    return "\n".join([f"STARTCHAR {name}", f"ENCODING {code}", f"DWIDTH {width} 0", f"BBX {box}", "BITMAP", *rows,
                      "ENDCHAR\n"])


# Three characters in a 6 x 4 cell, boxed as an editor saves them: only around the ink.
FONT = ("STARTFONT 2.1\nSTARTPROPERTIES 2\nFONT_ASCENT 3\nFONT_DESCENT 1\nENDPROPERTIES\nCHARS 3\n"
        + glyph("space", 32, 6, "0 0 0 0") + glyph("exclam", 33, 4, "2 3 1 -1", "40", "C0", "80")
        + glyph("A", 65, 6, "5 1 0 2", "A8") + "ENDFONT\n")


class Converter(unittest.TestCase):
    def convert(self, font: str, *options: str) -> tuple[int, str, str]:
        with tempfile.TemporaryDirectory() as folder:
            source, output = Path(folder, "small.bdf"), Path(folder, "small.cpp")
            source.write_text(font, encoding="ascii")
            command = [sys.executable, "-B", str(SCRIPT), str(source), str(output), "--name", "small", "--cell", "6x4",
                       "--characters", "32-33", *(options or ("--default-character", "32"))]
            run = subprocess.run(command, capture_output=True, text=True, check=False)
            return run.returncode, run.stderr, output.read_text() if output.exists() else ""

    def test_glyphs_are_padded_to_their_cell_and_characters_grouped_into_ranges(self):
        code, errors, text = self.convert(FONT)
        self.assertEqual((code, errors), (0, ""))
        self.assertIn("    4, 4, 0x00, 0x20, 0x60, 0x40,  // 33\n", text)
        self.assertIn("    6, 4, 0xA8, 0x00, 0x00, 0x00,  // 65\n", text)
        self.assertIn("{\n    2, 32,\n    32, 33, 0,\n    65, 65, 2,\n}", text)
        self.assertIn("font_t small{6, 4, 4, symbols, 3, code_page};", text)

    def test_a_malformed_font_or_one_that_breaks_a_promise_is_refused_with_its_fault(self):
        for old, new, options, fault in (
            ("STARTFONT", "BEGINFONT", (), "does not begin with STARTFONT"),
            ("ENCODING 33", "ENCODING 34", (), "without character 33"),
            ("DWIDTH 4 0", "DWIDTH 7 0", (), "its width is 7"),
            ("BBX 2 3 1 -1", "BBX 2 3 1 -2", (), "glyph exclam: ink outside its cell"),
            ("BBX 2 3 1 -1", "BBX 2 x 1 -1", (), "small.bdf:16: BBX needs 4"),
            ("\n40\n", "\n4G\n", (), "not hexadecimal"),
            ("ENDFONT\n", "", (), "ends early"),
            ("", "", ("--default-character", "32", "--blank-last-row"), "glyph exclam: ink in the lowest row"),
            ("", "", ("--default-character", "32", "--fixed-pitch"), "glyph exclam: its width is 4"),
            ("", "", ("--default-character", "63"), "without its default character 63"),
            ("", "", ("--fixed-pitch",), "must run from 0"),
            ("ENCODING 65", "ENCODING 46", ("--default-character", "32", "--three-dots", "9"), "wider than 9"),
        ):
            with self.subTest(fault=fault):
                self.assertIn(old, FONT)
                code, errors, text = self.convert(FONT.replace(old, new), *options)
                self.assertEqual((code, text), (1, ""))
                self.assertIn(fault, errors)


if __name__ == "__main__":
    unittest.main()
