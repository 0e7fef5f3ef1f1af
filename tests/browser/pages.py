"""Opens pages of ostrelLog in Debian's chromium."""
import json
import os
import subprocess
import sys

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
except ImportError:
    webdriver = None

CHROMIUM = "/usr/bin/chromium"
DRIVER = "/usr/bin/chromedriver"
WIDTHS = {"wide": 1600, "narrow": 420}
SCHEMES = ("light", "dark")


def skip_without_browser():
    """Ends the program with the status that CTest takes for "not run" where a part of the browser is missing."""
    if webdriver is None or not os.path.exists(CHROMIUM) or not os.path.exists(DRIVER):
        print("needs the Debian packages chromium, chromium-driver and python3-selenium")
        sys.exit(77)


def ostrel_log(program, folder, *arguments):
    subprocess.run([program, *arguments], cwd=folder, check=True, stdout=subprocess.DEVNULL)


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
