"""The pages of zeva-rehearse in Chromium: page_test.py FOLDER, which holds harmless.html,
hostile.html and small.html, as pages.cpp writes them, and axe-core below node_modules."""

import base64
import json
import pathlib
import subprocess
import sys
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

FOLDER = pathlib.Path(sys.argv.pop(1)).resolve()
PAGES = ("harmless", "hostile")
TAGS = """return Array.from(document.querySelectorAll('*'), element => element.tagName + ' ' +
    Array.from(element.attributes, a => a.name + (a.name == 'content' ? '' : '=' + a.value)))"""
AXE = "axe.run().then(arguments[0], arguments[0])"


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        # root may not use the sandbox, and a container's /dev/shm is small
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.browser.set_script_timeout(120)

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()

    def look(self, page, width=1000, scheme="light"):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": 800, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.browser.get((FOLDER / (page + ".html")).as_uri())

    def run_script(self, script):
        return self.browser.execute_script(script)

    def test_what_texts_say_makes_no_element_no_request_and_no_message(self):
        for log in ("browser", "performance"):
            self.browser.get_log(log)  # which empties it
        tags = {}
        for page in PAGES:
            self.look(page)
            tags[page] = self.run_script(TAGS)
            # the style sheet that the content policy names is used
            self.assertEqual(self.run_script(
                "return getComputedStyle(document.querySelector('table')).tableLayout"), "fixed")
        self.assertGreater(len(tags["harmless"]), 2000)
        self.assertEqual(tags["harmless"], tags["hostile"])
        self.assertEqual(self.browser.get_log("browser"), [])
        events = [json.loads(entry["message"])["message"]
                  for entry in self.browser.get_log("performance")]
        requested = {event["params"]["request"]["url"] for event in events
                     if event["method"] == "Network.requestWillBeSent"}
        self.assertEqual(requested, {(FOLDER / (page + ".html")).as_uri() for page in PAGES})

    def test_axe_finds_nothing(self):
        source = (FOLDER / "node_modules/axe-core/axe.min.js").read_text()
        for scheme in ("light", "dark"):
            self.look("small", scheme=scheme)
            self.run_script(source)
            found = self.browser.execute_async_script(AXE)
            self.assertGreater(len(found["passes"]), 20)
            self.assertEqual([(v["id"], v["nodes"][0]["html"]) for v in found["violations"]], [])

    def test_a_narrow_page_is_not_scrolled_sideways(self):
        for page in PAGES:
            self.look(page, width=320)
            # what is out of sight is not laid out, and counts for nothing
            self.run_script("document.styleSheets[0].insertRule('.rows {content-visibility: visible}',"
                            "document.styleSheets[0].cssRules.length)")
            self.assertLessEqual(self.run_script(
                "return Math.max(document.documentElement.scrollWidth, ...Array.from("
                "document.querySelectorAll('th, td, li, p'), e => e.getBoundingClientRect().right))"),
                320)

    def test_the_keyboard_opens_and_closes_details(self):
        self.look("harmless")
        summaries = self.browser.find_elements(By.CSS_SELECTOR, "details summary")
        for _ in range(100):
            self.browser.switch_to.active_element.send_keys(Keys.TAB)
            if self.browser.switch_to.active_element == summaries[0]:
                break
        for is_open in (False, True):
            self.browser.switch_to.active_element.send_keys(Keys.ENTER)
            self.assertEqual(summaries[0].find_element(By.XPATH, "..").get_property("open"), is_open)

    def test_without_its_style_sheet_it_reads_the_same(self):
        self.look("harmless")
        places = """return Array.from(document.querySelectorAll('h1, p, h2, summary, .rows, pre'),
            element => element.getBoundingClientRect().top)"""
        self.assertEqual(self.run_script(places), sorted(self.run_script(places)))
        self.run_script("document.querySelector('style').remove()")
        self.assertEqual(self.run_script(places), sorted(self.run_script(places)))
        text = " ".join(self.run_script("return document.body.innerText").split())
        parts = [text.index(part) for part in (
            "Verdict: imported", "Areas Policies", "Findings: 67 errors", "Warnings and errors of the run By",
            "Changes in the store:", "SZ text1001", "SZ text1199", "The run's log 200 lines",
            "What was rehearsed SHA")]
        self.assertEqual(parts, sorted(parts))

    def test_print_holds_every_value(self):
        self.look("harmless")
        self.run_script("document.querySelectorAll('details').forEach(d => d.open = false)")
        data = self.browser.execute_cdp_cmd("Page.printToPDF", {})["data"]
        text = subprocess.run(["pdftotext", "-", "-"], input=base64.b64decode(data),
                              capture_output=True, check=True).stdout.decode()
        for i in range(1000, 1200):
            self.assertGreaterEqual(text.count(f"SZ text{i}"), 2, i)


if __name__ == "__main__":
    unittest.main()
