"""Drives Chromium without a display through ChromeDriver (W3C WebDriver over HTTP)."""

import base64
import contextlib
import json
import re
import subprocess
import tempfile
import urllib.request

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # The name that the protocol gives a reference.

# Keys without a character (W3C WebDriver, 17.4.2).
TAB, ENTER, ESCAPE, DOWN = "\ue004", "\ue007", "\ue00c", "\ue015"


class Browser:
    def __init__(self, profile):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        try:
            port = next(found[1] for line in self.driver.stdout
                        if (found := re.search(r"started successfully on port (\d+)", line)))
            self.address = f"http://127.0.0.1:{port}/session"
            options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu",
                                "--hide-scrollbars", f"--user-data-dir={profile}"]}
            session = self.call("POST", "", {"capabilities": {"alwaysMatch": {
                "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
            self.address += "/" + session["sessionId"]
        except BaseException:
            self.driver.kill()
            self.driver.wait()
            raise

    def close(self):
        self.call("DELETE", "")
        self.driver.terminate()
        self.driver.wait(30)
        self.driver.stdout.close()

    def call(self, method, path, body=None):
        data = None if method != "POST" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.address + path, data, method=method,
                                         headers={"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def open(self, path):
        self.call("POST", "/url", {"url": path.as_uri()})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        return self.call("POST", "/element",
                         {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.call("POST", f"/element/{self.find(selector)}/click")

    def type(self, selector, text):
        self.call("POST", f"/element/{self.find(selector)}/value", {"text": text})

    def press(self, *keys):
        """Presses one key after the other, where the focus is."""
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys",
                                                    "actions": actions}]})

    def role(self, selector):
        return self.call("GET", f"/element/{self.find(selector)}/computedrole")

    def label(self, selector):
        return self.call("GET", f"/element/{self.find(selector)}/computedlabel")

    def messages(self):
        """What the console says: errors of scripts, and what the page's policy kept out."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def protocol(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def show(self, width, scheme="light", media="screen"):
        self.protocol("Emulation.setDeviceMetricsOverride", width=width, height=900,
                      deviceScaleFactor=1, mobile=False)
        self.protocol("Emulation.setEmulatedMedia", media=media,
                      features=[{"name": "prefers-color-scheme", "value": scheme}])

    def measure(self):
        """From now on figures() counts; also in the process that the next page may get."""
        self.protocol("Performance.enable", timeDomain="threadTicks")

    def figures(self):
        """Once everything is drawn, what the page took: its thread's processor time in seconds
        ("TaskDuration"), and what is laid out of it ("LayoutObjects")."""
        self.run("return new Promise(done => requestAnimationFrame(() => setTimeout(done)))")
        return {entry["name"]: entry["value"]
                for entry in self.protocol("Performance.getMetrics")["metrics"]}

    def screenshot(self, path):
        """The whole page, as a PNG."""
        picture = self.protocol("Page.captureScreenshot", captureBeyondViewport=True)
        path.write_bytes(base64.b64decode(picture["data"]))


def costs_of(page, order, width=1100):
    """Processor time to load a page and to sort its rows, in seconds, and how many objects are laid
    out before and after that, in a process of its own."""
    with tempfile.TemporaryDirectory() as profile, contextlib.closing(Browser(profile)) as browser:
        browser.show(width)
        browser.measure()
        browser.open(page)
        loaded = browser.figures()
        browser.run("""const sort = document.getElementById('sort'); sort.value = arguments[0];
            sort.dispatchEvent(new Event('change'));""", order)
        ordered = browser.figures()
        assert browser.run("return document.querySelector('[aria-sort]').dataset.by") == order
        return {"load": loaded["TaskDuration"],
                "sort": ordered["TaskDuration"] - loaded["TaskDuration"],
                "objects": loaded["LayoutObjects"], "sorted objects": ordered["LayoutObjects"]}
