#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Opens the page of `velta-log view` in a headless Chromium and uses it as one would.

VELTA_LOG_COMMAND and VELTA_LOG_FILL hold the programs. With --screenshot DUMP PICTURE it only takes
the picture that the documents show.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.common.by import By
from selenium.webdriver.common.actions.wheel_input import ScrollOrigin
from selenium.webdriver.support.ui import WebDriverWait

COMMAND = os.environ["VELTA_LOG_COMMAND"]


def start_browser(size="1440,900"):
    options = webdriver.ChromeOptions()
    # Chromium's own sandbox does not work for the superuser, who runs this in containers.
    for argument in ("--headless=new", "--no-sandbox", f"--window-size={size}", "--disable-gpu",
                     "--disable-dev-shm-usage", "--hide-scrollbars"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def write_page(dump, page):
    subprocess.run([COMMAND, "view", str(dump), "-o", str(page)], check=True, timeout=60)


def record(seconds, text, code, thread="T"):
    return (f"% {text} for_object 0000000000000001 (unknown) in_thread 7 ({thread})\n"
            f"    {seconds}.000000, {code}, 0, 0, 1, 2, 1, 7\n").encode()


class ViewTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        for name, records in (("small", 3000), ("full", 140000)):
            dump = cls.folder / f"{name} <b>&amp;.log"
            subprocess.run([os.environ["VELTA_LOG_FILL"], dump, str(records), "3"], check=True,
                           timeout=100)
            write_page(dump, cls.folder / f"{name}.html")
        # All in one microsecond, so that no time tells what is inside what.
        cls.make("moment", b"".join(
            record(0, f"Scope_push in_class C at {name}", -7) + failure +
            record(0, f"Scope_pop in_class C at {name}", -8) for name, failure in
            (("Fails", record(0, "Root_error Late in_class C at Fails", -105)), ("Innocent", b""))) +
            record(0, "Dismissed_error (unknown) in_class C at Drops", -103) +
            record(0, "Message_send Refresh in_class C at Sends", -21) +
            record(0, "State_change to Open in_class C at Turns", -25) +
            record(0, "unknown event in_class C at Odd", 42))
        cls.make("hostile", b"".join(
            record(10**10, f"Construction in_class C at O{i}", -14, "x" * (20000 if i == 0 else 1))
            for i in range(140000)))
        cls.browser = start_browser()
        cls.addClassCleanup(cls.browser.quit)

    @classmethod
    def make(cls, name, records):
        dump = cls.folder / f"{name} <b>&amp;.log"
        dump.write_bytes(b"%% Reference time: 0.000000 is wrong.\n%%\n" + records)
        write_page(dump, cls.folder / f"{name}.html")

    def open(self, page="small", address=""):
        self.browser.get("about:blank")  # else only the part after "#" would change
        self.browser.get((self.folder / f"{page}.html").as_uri() + address)
        self.canvas = self.find("timeline")

    def find(self, name):
        return self.browser.find_element(By.ID, name)

    def shown(self):
        """The part of the log in view, in microseconds."""
        return self.browser.execute_script("return [timeline.begin, timeline.end]")

    def span(self):
        begin, end = self.shown()
        return end - begin

    def press(self, *keys):
        ActionChains(self.browser).send_keys(*keys).perform()

    def picture(self):
        return self.browser.execute_async_script(
            "requestAnimationFrame(() => requestAnimationFrame(() =>"
            " arguments[0](timeline.canvas.toDataURL())))")

    def tearDown(self):
        self.assertEqual(self.browser.get_log("browser"), [])

    def test_opens_without_the_network_and_tells_the_log(self):
        self.browser.get_log("performance")
        self.open()
        requests = set(re.findall(r'"Network.requestWillBeSent".*?"url":"(\w+):',
                                  "\n".join(e["message"] for e in self.browser.get_log("performance"))))
        self.assertLessEqual(requests, {"file", "about"})
        self.assertEqual(self.browser.title, "small <b>&amp;.log - velta-log")
        self.assertRegex(self.find("span").text, r"^\d,\d+ records in .* ms, from 20\d\d-")
        self.assertEqual([tab.text for tab in self.browser.find_elements(By.CSS_SELECTOR, "[role=tab]")],
                         ["Selection", "Errors 12", "Operations 6", "Classes 2", "Threads 3", "States 3"])
        for tab, expected in (("operations", "Station.Work"), ("classes", "Part<int>"),
                              ("threads", "Line 2"), ("states", "Working at half-past \u00fc"),
                              ("errors", "Part<int>.Measure:TooLarge"),
                              ("errors", "file = C:\\parts%{a}\u00fc.xml, number = 49")):
            self.find(f"tab-{tab}").click()
            self.assertIn(expected, self.find("body").text)

    def test_zooms_and_pans_by_wheel_keys_and_buttons(self):
        self.open()
        whole = self.span()
        before = self.picture()
        origin = ScrollOrigin.from_element(self.canvas, 100, 0)
        ActionChains(self.browser).scroll_from_origin(origin, 0, -400).perform()
        WebDriverWait(self.browser, 10).until(lambda _: self.span() < 0.6 * whole)
        self.assertNotEqual(self.picture(), before)
        self.canvas.click()
        self.press("+")
        zoomed = self.shown()
        self.press(Keys.ARROW_RIGHT)
        self.assertGreater(self.shown()[0], zoomed[0])
        self.press(Keys.HOME)
        self.assertEqual(self.shown()[0], 0)
        for _ in range(60):  # no closer than the log's clock, and nothing breaks there
            self.press("+")
        self.assertAlmostEqual(self.span(), 2)
        self.find("fit").click()
        self.assertEqual(self.span(), whole)
        ActionChains(self.browser).move_to_element(self.canvas).click_and_hold() \
            .move_by_offset(300, 0).release().perform()
        self.assertEqual(self.span(), whole)  # there is nothing to pan to

    def test_finds_an_error_by_key_list_and_address(self):
        self.open()
        self.canvas.send_keys("e")
        current = self.browser.find_elements(By.CSS_SELECTOR, "tr[aria-current=true]")
        self.assertEqual(len(current), 1)
        self.assertIn("Part<int>.Measure:TooLarge", current[0].text)
        time = float(current[0].text.split()[0]) * 1e6
        begin, end = self.shown()
        self.assertTrue(begin < time < end)
        row = self.browser.find_elements(By.CSS_SELECTOR, "tbody tr")[5]
        expected = row.text
        row.send_keys(Keys.ENTER)
        self.assertEqual(self.browser.find_element(By.CSS_SELECTOR, "tr[aria-current=true]").text,
                         expected)
        self.find("tab-selection").click()
        self.assertIn(expected.split()[0], self.find("body").text)
        self.assertIn("inside\nStation.Run \u203a Station.Work", self.find("body").text)
        self.open()
        self.press("E")
        rows = self.browser.find_elements(By.CSS_SELECTOR, "tbody tr")
        self.assertEqual(rows[-1].get_attribute("aria-current"), "true")
        for nothing in ("x", "-20", "1e99", ""):
            self.open(address=f"#error={nothing}&tab=threads")
            self.assertIn("Line 2", self.find("body").text)
        # The first error is always a root error; what comes next depends on the threads.
        self.open(address="#zoom=100,900&error=1&tab=selection")
        for part in ("Part<int>.Measure:TooLarge", "C:\\parts%{a}\u00fc.xml"):
            self.assertIn(part, self.find("body").text)

    def test_tells_every_error_of_a_full_log_as_the_tool_does(self):
        for page in ("full", "moment"):
            self.open(page)
            shown = self.browser.execute_script(
                "return log.errors.map(({ thread, mark }) => describe({ thread: log.threads[thread], mark })[1]"
                ".find(([fact]) => fact === 'inside')?.[1] ?? '')")
            lines = subprocess.run([COMMAND, "errors", "--json", self.folder / f"{page} <b>&amp;.log"],
                                   capture_output=True, check=True, timeout=60).stdout.splitlines()
            self.assertEqual(shown, [" \u203a ".join(json.loads(line)["scopes"]) for line in lines])
        self.open("full", "#error=600")
        current = self.browser.find_elements(By.CSS_SELECTOR, "tr[aria-current=true]")
        self.assertEqual(len(current), 1)
        self.assertTrue(current[0].is_displayed())

    def test_events_are_called_by_what_they_are_about(self):
        self.open("moment")
        names = self.browser.execute_script(
            "const { marks } = log.threads[0];"
            "return marks.code.map((_, mark) => [describe({ thread: log.threads[0], mark })[1][0][1], log.markName(marks, mark)])")
        self.assertEqual(names, [["Root error", "C.Fails:Late"], ["Dismissed error", "C.Drops"],
                                 ["Message send", "C.Sends Refresh"], ["State change", "C.Turns to Open"],
                                 ["event 42", "C.Odd"]])

    def test_a_hostile_dump_is_shown(self):
        self.open("hostile", "#zoom=10000000000000000,10000000000000002&tab=operations")
        self.picture()
        self.assertIn("C.O0", self.find("body").text)
        self.assertIn("140,000 records", self.find("span").text)

    def test_search_counts_steps_and_ends(self):
        self.open()
        self.press("/", "nothing like that")
        self.assertEqual(self.find("matches").text, "0 found")
        self.find("find").clear()
        self.find("find").send_keys("measure:TOO")
        self.assertEqual(self.find("matches").text, "6 found")
        self.press(Keys.ENTER)
        self.assertEqual(self.find("matches").text, "1 of 6")
        self.assertIn("Part<int>.Measure:TooLarge", self.find("body").text)
        self.find("next").click()
        self.assertEqual(self.find("matches").text, "2 of 6")
        self.find("find").send_keys(Keys.ESCAPE)
        self.assertEqual(self.find("matches").text, "")

    def test_a_scope_is_described_under_the_pointer_and_when_chosen(self):
        self.open()
        x, y = self.browser.execute_script(
            "const lane = timeline.lanes[0]; const box = timeline.canvas.getBoundingClientRect();"
            "const middle = lane.thread.scopes.begin[0] + lane.thread.scopes.duration[0] / 2;"
            "return [Math.round(timeline.x(middle) - box.width / 2),"
            " Math.round(lane.y + 9 - box.height / 2)]")
        ActionChains(self.browser).move_to_element_with_offset(self.canvas, x, y).perform()
        tip = self.find("tip")
        self.assertTrue(tip.is_displayed())
        self.assertRegex(tip.text, r"^Station\.Run\nduration .*\nself .*\n.*\nthread Line \d\n"
                                   r"object Station at Line \d \([0-9A-F]{16}\)")
        ActionChains(self.browser).click().perform()
        self.assertIn("Station.Run", self.find("body").text)
        self.press(".", ".")
        self.assertIn("Station.Run \u203a Station.Work", self.find("body").text)
        self.press(Keys.ENTER)
        self.assertLess(self.span(), self.browser.execute_script("return log.end - log.begin"))

    def test_dark_and_light_differ_and_every_control_has_a_name(self):
        pictures = set()
        for scheme in ("light", "dark"):
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                "features": [{"name": "prefers-color-scheme", "value": scheme}]})
            self.open()
            pictures.add(self.picture())
        self.assertEqual(len(pictures), 2)
        nodes = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        named = {"button", "tab", "searchbox", "application", "Canvas", "img", "tabpanel"}
        roles = [(node["role"]["value"], node.get("name", {}).get("value")) for node in nodes
                 if not node["ignored"] and node["role"]["value"] in named]
        self.assertGreater(len(roles), 10)
        self.assertEqual([role for role, name in roles if not name], [])

    def test_a_full_log_is_painted_within_two_seconds(self):
        self.open("full")
        self.assertIn("131,072 records", self.find("span").text)
        paint = WebDriverWait(self.browser, 20).until(lambda browser: browser.execute_script(
            "return performance.getEntriesByName('first-contentful-paint')[0]?.startTime"))
        self.assertLess(paint, 2000)


def take_screenshot(dump, picture):
    with tempfile.TemporaryDirectory() as folder:
        page = Path(folder) / "page.html"
        write_page(dump, page)
        browser = start_browser("1440,940")
        try:
            browser.get(page.as_uri() + "#error=2")
            browser.save_screenshot(picture)
        finally:
            browser.quit()


if __name__ == "__main__":
    if sys.argv[1:2] == ["--screenshot"]:
        take_screenshot(*sys.argv[2:4])
    else:
        unittest.main()
