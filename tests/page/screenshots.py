#!/usr/bin/env python3
"""Renews docs/images/page-light.png and page-dark.png: screenshots.py BUILD_FOLDER."""

import os
import sys

os.environ["PAGE_TEST_BUILD"] = os.path.abspath(sys.argv[1])
from browser import Driver  # noqa: E402
from simulator import SOURCE, Simulator  # noqa: E402

LINES = ["wifi up", "ssid Workshop-5G", "signal -58", "send chan_sta", "supply 13.8", "wait 3s", "supply 11.9",
         "wait 1s", "supply 12.6", "wait 1s", "send REC_ON", "wait 1s", "send M4_COMM", "wait 2s",
         "note The recording runs", "picture recording"]


def take(scheme, path):
    simulator, driver = Simulator(), Driver()
    try:
        browser = driver.browser(1440, 1330)
        browser.color_scheme(scheme)
        browser.open(simulator.address)
        browser.wait("document.getElementById('time').textContent !== '0.0 s'")
        simulator.speed(0)
        assert simulator.request("/api/record", "start")[0] == 200
        simulator.do(*LINES)
        simulator.speed(1)
        browser.wait("document.getElementById('link').textContent === 'Running'")
        browser.wait("document.getElementById('scenario').textContent.includes('picture recording')")
        browser.script("document.querySelector('[data-word=M4_COMM]').focus()")
        browser.screenshot(path)
    finally:
        driver.close()
        simulator.close()


if __name__ == "__main__":
    folder = sys.argv[2] if len(sys.argv) > 2 else os.path.join(SOURCE, "docs", "images")
    for name in ("light", "dark"):
        take(name, os.path.join(folder, f"page-{name}.png"))
