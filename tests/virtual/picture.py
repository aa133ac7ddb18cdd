"""Takes the picture of a virtual unit that the README shows: picture.py FILE [OPTION ...], with options of
scripts/virtual-unit, which boots one for it."""
import base64
import fcntl
import html
import os
import pathlib
import pty
import re
import struct
import sys
import termios

TREE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TREE / "tests" / "web"))

from page_test import browser_t  # noqa: E402

ROWS, COLUMNS = 34, 128
LAMPS_OUT = "    ........ "  # the panel shows a percentage and no animation
PAGE = """<body style="margin:0"><pre id="screen" style="display:inline-block;margin:0;padding:14px;background:#16181d;
color:#d8dce3;font:13px/16.5px 'DejaVu Sans Mono',monospace">%s</pre>"""


def screen(percent):
    """What stands on the terminal once the unit has written that much of an image."""
    process, terminal = pty.fork()
    if process == 0:
        os.execv(TREE / "scripts" / "virtual-unit", ["virtual-unit", *sys.argv[2:]])
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
    painted = ""
    try:
        while data := os.read(terminal, 65536).decode(errors="replace"):
            *whole, painted = (painted + data).split("\x1b[J")
            for frame in whole:
                done = re.search(r"<state>fw_write</state>.*?<progress>(\d+)<", frame, re.S)
                if done and int(done.group(1)) >= percent and "writing" in frame and LAMPS_OUT in frame:
                    return re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", "", frame.split("\x1b[H")[-1])
    except OSError:  # a terminal whose program has ended
        pass
    finally:
        os.close(terminal)
        os.waitpid(process, 0)
    sys.exit(f"the unit did not get as far as {percent} %: {painted}")


text = screen(60).replace("\r", "")
browser = browser_t()
try:
    browser.get("data:text/html;charset=utf-8;base64," + base64.b64encode((PAGE % html.escape(text)).encode()).decode())
    size = browser.execute_script("const box = document.getElementById('screen').getBoundingClientRect();"
                                  "return [box.width, box.height]")
    picture = browser.execute_cdp_cmd("Page.captureScreenshot", {
        "format": "png", "captureBeyondViewport": True,
        "clip": {"x": 0, "y": 0, "width": size[0], "height": size[1], "scale": 1}})
    pathlib.Path(sys.argv[1]).write_bytes(base64.b64decode(picture["data"]))
finally:
    browser.quit()
