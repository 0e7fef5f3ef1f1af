"""Opens pages of ostrelLog in Debian's chromium. The tests are run as TEST.py OSTRELLOG SCREENSHOTS, and leave a
picture of each page among the screenshots."""
import json
import os
import struct
import subprocess
import sys
import tempfile
import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
except ImportError:
    webdriver = None

CHROMIUM = "/usr/bin/chromium"
DRIVER = "/usr/bin/chromedriver"
WIDTHS = {"wide": 1600, "narrow": 420}
SCHEMES = ("light", "dark")
HOSTILE = "<img/src=x/onerror=document.title='run'>"


def skip_without_browser():
    """Ends the program with the status that CTest takes for "not run" where a part of the browser is missing."""
    if webdriver is None or not os.path.exists(CHROMIUM) or not os.path.exists(DRIVER):
        print("not run: needs the Debian packages chromium, chromium-driver and python3-selenium")
        sys.exit(77)


def legacy_log(path, columns, records):
    header = f"-- Build infos\nnentries : {len(columns)}\ntitles : {', '.join(columns)}\n-- Data\n"
    with open(path, "wb") as file:
        file.write(header.encode() + b"".join(struct.pack(f"<{len(columns)}d", *record) for record in records))


class Browser:
    """A browser without a window. What it asks the network for and its console are kept."""

    def __init__(self):
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service(DRIVER))

    def look(self, width, height, scheme):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def open(self, path):
        self.driver.get("file://" + os.path.abspath(path))

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find_all(self, selector):
        return self.driver.find_elements("css selector", selector)

    def complaints(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def requests(self):
        """Addresses that were asked for since the last call, but for the pages themselves."""
        messages = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        addresses = [each["params"]["request"]["url"] for each in messages
                     if each["method"] == "Network.requestWillBeSent" and each["params"].get("type") != "Document"]
        return [address for address in addresses if not address.startswith("data:")]

    def screenshot(self, path):
        self.driver.save_screenshot(path)


class PageTest(unittest.TestCase):
    """Tests of pages that are made in a folder of the tests' own. The logs `a` and `b` differ in the hostile variable,
    from step 700 on."""

    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.folder = cls.temporary.name
        cls.browser = Browser()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.addClassCleanup(cls.browser.driver.quit)
        cls.samples = [(i, i / 8, (i * 37 % 100) / 4, i % 3) for i in range(1200) if not 300 <= i < 340]
        columns = ["index", "x", HOSTILE, "mode"]
        legacy_log(cls.path("a"), columns, cls.samples)
        legacy_log(cls.path("b"), columns, [(i, x, y + (i >= 700), mode) for i, x, y, mode in cls.samples])

    @classmethod
    def path(cls, name):
        return os.path.join(cls.folder, name)

    @classmethod
    def ostrel_log(cls, *arguments, status=0):
        """Runs ostrelLog, which is to exit with the status."""
        result = subprocess.run([os.path.abspath(sys.argv[1]), *arguments], cwd=cls.folder, stdout=subprocess.DEVNULL)
        if result.returncode != status:
            raise AssertionError(f"ostrelLog {' '.join(arguments)}: exit status {result.returncode}")

    def open(self, name):
        self.browser.look(WIDTHS["wide"], 1200, "light")
        self.browser.open(self.path(name + ".html"))

    def texts(self, selector):
        return [each.text for each in self.browser.find_all(selector)]

    def check_in_every_window(self, name, picture):
        """The page fits, complains of nothing and asks for nothing, in wide and narrow windows, light and dark."""
        os.makedirs(sys.argv[2], exist_ok=True)
        for scheme in SCHEMES:
            for width_name, width in WIDTHS.items():
                with self.subTest(page=name, scheme=scheme, width=width_name):
                    self.browser.look(width, 1200, scheme)
                    self.browser.open(self.path(name + ".html"))
                    self.browser.screenshot(os.path.join(sys.argv[2], f"{picture}-{scheme}-{width_name}.png"))
                    self.assertEqual(self.browser.complaints(), [])
                    self.assertEqual(self.browser.requests(), [])
                    hidden = self.browser.run(
                        "const {scrollWidth, clientWidth} = document.documentElement; return scrollWidth - clientWidth")
                    self.assertEqual(hidden, 0)
