"""Takes the picture of the status page that the README shows: picture.py FILE"""

import base64
import sys

import harness
from page_test import browser_t

unit = harness.unit_t()
server = harness.server_t("lighttpd", unit.www)
unit.set(state="fw_write", progress="37", detail="Block 4 of 9")
browser = browser_t()
try:
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                            {"width": 480, "height": 250, "deviceScaleFactor": 1.5, "mobile": True})
    browser.get(server.url + "/fw_status.html")
    browser.execute_script("document.getElementById('fill').style.transition = 'none'")
    harness.wait_for(lambda: browser.text("percent") == "37 %")
    # The unit's name is this machine's address, which says nothing.
    browser.execute_script("document.getElementById('name').textContent = 'studio-1'")
    with open(sys.argv[1], "wb") as picture:
        picture.write(base64.b64decode(browser.execute_cdp_cmd("Page.captureScreenshot", {"format": "png"})["data"]))
finally:
    browser.quit()
