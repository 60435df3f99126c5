#!/usr/bin/env python3
"""The page as eyes and fingers meet it, in light and in dark, on a phone and on a desk: what can be pressed is seen and
can be hit, text can be read, and nothing must be scrolled sideways. The limits are those of WCAG 2.2 AA."""

import os
import unittest

from browser import Driver
from simulator import SOURCE, Simulator

WIDTHS = (320, 390, 1024, 1280, 1920)
AXE = os.path.join(SOURCE, "build", "third_party", "axe", "axe.min.js")
TEXT, EDGE, TARGET = 4.5, 3.0, 24

# Colours as the page lays them over each other, from the element's own up to the ground.
SCRIPT = """
const parse = (text) => (text.match(/[\\d.]+/g) ?? [0, 0, 0, 0]).map(Number);
const over = (top, below) => {
  const alpha = top[3] ?? 1;
  return [0, 1, 2].map((i) => top[i] * alpha + below[i] * (1 - alpha));
};
const ground = (element) => {
  if (!element) return [255, 255, 255];
  const own = parse(getComputedStyle(element).backgroundColor);
  return (own[3] ?? 1) === 1 ? own : over(own, ground(element.parentElement));
};
const light = (colour) => {
  const [r, g, b] = colour.map((part) => part / 255).map((part) =>
    part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const contrast = (one, other) => {
  const [low, high] = [light(one), light(other)].sort((a, b) => a - b);
  return (high + 0.05) / (low + 0.05);
};
const seen = (element) => element.checkVisibility() && element.getBoundingClientRect().width > 0;
const name = (element) => element.id || element.dataset.word || element.dataset.command || element.name ||
  element.textContent.trim().slice(0, 30) || element.tagName;
const faults = [];
const fault = (what, element, figure) => faults.push(`${what}: ${name(element)} ${figure.toFixed(2)}`);
"""

TEXTS = SCRIPT + """
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
  const element = walker.currentNode.parentElement;
  if (!walker.currentNode.textContent.trim() || !seen(element) || element.closest(':disabled, canvas, .skip')) continue;
  if (element.closest('button, fieldset')?.matches(':disabled')) continue;
  const style = getComputedStyle(element);
  const figure = contrast(over(parse(style.color), ground(element)), ground(element));
  if (figure < arguments[0]) fault('text', element, figure);
}
return faults;
"""

EDGES = SCRIPT + """
const controls = 'button, .button, input[type=text], input[type=number], .segments, .segments input:checked + span';
for (const element of document.querySelectorAll(controls)) {
  if (!seen(element) || element.matches(':disabled')) continue;
  const around = ground(element.parentElement);
  const style = getComputedStyle(element);
  const border = parse(style.borderTopWidth === '0px' ? 'rgba(0, 0, 0, 0)' : style.borderTopColor);
  const figure = Math.max(contrast(over(border, around), around), contrast(ground(element), around));
  if (figure < arguments[0]) fault('edge', element, figure);
}
return faults;
"""

TARGETS = SCRIPT + """
for (const element of document.querySelectorAll('button, a, input, summary')) {
  if (!seen(element) || element.closest('.skip')) continue;
  const target = element.closest('.segments label') ?? element;
  const {width, height} = target.getBoundingClientRect();
  if (Math.min(width, height) < arguments[0]) fault('target', element, Math.min(width, height));
}
return faults;
"""


IN_VIEW = SCRIPT + """
const panels = ['panel-device', 'panel-layout'].map((id) => document.getElementById(id));
const controls = '#words button, #words input, [data-command], #line, #record, #picture-form input, #note-form input';
for (const element of document.querySelectorAll(controls)) {
  if (!seen(element)) continue;
  element.scrollIntoView({block: 'center'});
  for (const panel of panels) {
    const {left, top, right, bottom} = panel.getBoundingClientRect();
    const inside = left >= 0 && top >= 0 && right <= innerWidth && top + (bottom - top) / 2 <= innerHeight;
    const under = document.elementFromPoint((left + right) / 2, top + (bottom - top) / 4);
    if (!inside || !panel.parentElement.contains(under)) fault(panel.id + ' is out of view', element, top);
  }
  const {left, top, right, bottom} = element.getBoundingClientRect();
  const hit = document.elementFromPoint((left + right) / 2, (top + bottom) / 2);
  if (!element.matches(':disabled') && hit !== element && !element.contains(hit)) fault('covered', element, top);
}
return faults;
"""

# All rules of axe-core, with its advice.
BARRIERS = """
const done = arguments[arguments.length - 1];
axe.run(document, {resultTypes: ['violations']}).then(({violations}) => done(violations.map(({id, help, nodes}) =>
  `${id}: ${help}: ${nodes.map((node) => node.target.join(' ')).join(', ')}`)), (problem) => done([String(problem)]));
"""


# What is drawn beside another thing stays beside it.
OVERLAPS = SCRIPT + """
const all = [...document.querySelectorAll('.bezel, figcaption, .what, #start-form, .card, header')].filter(seen);
const box = (element) => element.getBoundingClientRect();
for (const one of all) {
  for (const other of all) {
    if (one === other || one.contains(other) || other.contains(one)) continue;
    const [a, b] = [box(one), box(other)];
    const wide = Math.min(a.right, b.right) - Math.max(a.left, b.left);
    const high = Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top);
    if (wide > 1 && high > 1) fault(`${one.className || one.tagName} lies over`, other, wide);
  }
}
return faults;
"""


class Looks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.simulator = Simulator()
        cls.addClassCleanup(cls.simulator.close)
        cls.simulator.speed(0)
        cls.driver = Driver()
        cls.addClassCleanup(cls.driver.close)
        cls.browsers = [cls.driver.browser(width, 900) for width in WIDTHS]
        for width, browser in zip(WIDTHS, cls.browsers):
            browser.devtools("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1,
                             mobile=False)
            browser.open(cls.simulator.address)
            browser.wait("document.querySelectorAll('button.word').length > 0")
            browser.wait("document.querySelectorAll('[data-command]').length > 0")

    def in_each(self, script, limit):
        for scheme in ("light", "dark"):
            for width, browser in zip(WIDTHS, self.browsers):
                with self.subTest(scheme=scheme, width=width):
                    browser.color_scheme(scheme)
                    self.assertEqual(browser.script(script, limit), [])

    def test_text_can_be_read(self):
        self.in_each(TEXTS, TEXT)

    def test_controls_are_seen(self):
        self.in_each(EDGES, EDGE)

    def test_controls_can_be_hit(self):
        self.in_each(TARGETS, TARGET)

    def test_the_panels_stay_in_view(self):
        for width, browser in zip(WIDTHS, self.browsers):
            with self.subTest(width=width):
                self.assertEqual(browser.script(IN_VIEW), [])
                browser.script("scrollTo(0, 0)")

    def no_barriers(self, browser, scheme, state):
        with self.subTest(scheme=scheme, state=state):
            self.assertEqual(browser.script_async(BARRIERS), [])

    @unittest.skipUnless(os.path.exists(AXE), "axe-core is not there; ./setup fetches it")
    def test_no_barriers(self):
        with open(AXE, encoding="utf-8") as file:
            axe = file.read()
        for width, browser in zip(WIDTHS, self.browsers):
            browser.script(axe + "\nwindow.axe = axe;")
            for scheme in ("light", "dark"):
                browser.color_scheme(scheme)
                self.no_barriers(browser, scheme, width)
                browser.click("#closer-layout")
                self.no_barriers(browser, scheme, f"{width} looking closely")
                browser.click("#closer-close")
                # The states that are seen when something has gone wrong.
                browser.script("showTrouble('The daemon was killed.\\nIts last log lines:')")
                self.no_barriers(browser, scheme, f"{width} the daemon ended")
                browser.script("showTrouble(''); showLost('The simulator does not answer.')")
                self.no_barriers(browser, scheme, f"{width} lost")
                browser.script("showLost('')")

    def test_nothing_lies_over_another(self):
        for width, browser in zip(WIDTHS, self.browsers):
            with self.subTest(width=width):
                browser.script("scrollTo(0, 0)")
                self.assertEqual(browser.script(OVERLAPS), [])

    def test_nothing_is_scrolled_sideways(self):
        for width, browser in zip(WIDTHS, self.browsers):
            self.assertLessEqual(browser.script("return document.documentElement.scrollWidth"), width)


if __name__ == "__main__":
    unittest.main(verbosity=2)
