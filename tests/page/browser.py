"""A headless Chromium that the tests of the page press buttons in: the few calls of the WebDriver protocol that they
need, over plain HTTP to chromedriver. Every wait has a condition and a deadline."""

import base64
import json
import os
import shutil
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

from own_folder import OwnFolder

PATIENCE = float(os.environ.get("DESK_PATIENCE") or 1)
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
         "--force-color-profile=srgb", "--hide-scrollbars"]
KEYS = {"Enter": "\ue007", "Tab": "\ue004", "ArrowLeft": "\ue012", "ArrowUp": "\ue013", "ArrowRight": "\ue014",
        "ArrowDown": "\ue015", "Escape": "\ue00c", "Delete": "\ue017", "Space": " "}


def wait_for(condition, what, deadline=20):
    """The first true value that condition() gives; AssertionError after the deadline."""
    end = time.monotonic() + deadline * PATIENCE
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            awaited = what() if callable(what) else what
            raise AssertionError(f"waited {deadline * PATIENCE:.0f} s in vain for: {awaited}")
        time.sleep(0.02)


def programs():
    """Paths of Chromium and chromedriver; AssertionError with advice when one is missing."""
    found = [shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome"),
             shutil.which("chromedriver")]
    if not all(found):
        raise AssertionError("the tests of the page need chromium and chromedriver; "
                             "./setup installs them (Debian: apt-get install chromium chromium-driver)")
    return found


class Driver:
    """One chromedriver, for any number of browsers."""

    def __init__(self):
        self.chromium, chromedriver = programs()
        self.folder = OwnFolder("page-test-")
        # What they make beside the profile, they make in here too.
        environment = dict(os.environ, HOME=self.folder.name, XDG_RUNTIME_DIR=self.folder.name,
                           TMPDIR=self.folder.name)
        self.process = subprocess.Popen([chromedriver, "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        env=environment, text=True)
        self.address = None
        for line in self.process.stdout:
            if "started successfully on port" in line:
                self.address = "http://127.0.0.1:" + line.rsplit("port", 1)[1].strip(" .\n")
                break
        if self.address is None:
            raise AssertionError("chromedriver does not start")
        self.browsers = []

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.address + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60 * PATIENCE) as response:
                return json.load(response)["value"]
        except urllib.error.HTTPError as problem:
            value = json.load(problem)["value"]
            raise AssertionError(f"{value['error']}: {value['message'].splitlines()[0]}") from None

    def browser(self, width=1440, height=1100):
        browser = Browser(self, width, height)
        self.browsers.append(browser)
        return browser

    def close(self):
        for browser in self.browsers:
            browser.close()
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()
        self.folder.cleanup()


class Browser:
    """One browser with one page."""

    def __init__(self, driver, width, height):
        self.driver = driver
        profile = tempfile.mkdtemp(dir=driver.folder.name)
        self.downloads = tempfile.mkdtemp(dir=driver.folder.name)
        flags = FLAGS + [f"--user-data-dir={profile}", f"--window-size={width},{height}"]
        options = {"binary": driver.chromium, "args": flags,
                   "prefs": {"download.default_directory": self.downloads, "download.prompt_for_download": False}}
        wanted = {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options,
                                                   "goog:loggingPrefs": {"browser": "ALL"}}}}
        self.session = "/session/" + driver.call("POST", "/session", wanted)["sessionId"]
        self.devtools("Browser.setDownloadBehavior", behavior="allow", downloadPath=self.downloads)

    def close(self):
        if self.session:
            self.driver.call("DELETE", self.session)
        self.session = None

    def call(self, method, path, body=None):
        return self.driver.call(method, self.session + path, body)

    def devtools(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def open(self, address):
        self.call("POST", "/url", {"url": address})

    def script(self, text, *arguments):
        return self.call("POST", "/execute/sync", {"script": text, "args": list(arguments)})

    def script_async(self, text, *arguments):
        """What the script hands to its last argument, a function."""
        return self.call("POST", "/execute/async", {"script": text, "args": list(arguments)})

    def find(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})

    def click(self, selector):
        """A click with the mouse, where the element is: what lies over it would get the click and fails the test."""
        self.call("POST", f"/element/{self.find(selector)[ELEMENT]}/click", {})

    def type(self, selector, text):
        """Over what stands there, as a person does: once the field takes it, and without leaving it in between."""
        element = self.find(selector)[ELEMENT]
        wait_for(lambda: self.script("return !arguments[0].disabled", {ELEMENT: element}), f"{selector} to take text")
        self.script("arguments[0].focus(); arguments[0].select();", {ELEMENT: element})
        self.call("POST", f"/element/{element}/value", {"text": text or KEYS["Delete"]})

    def press(self, *keys):
        """Keys on whatever has the focus."""
        actions = []
        for key in keys:
            value = KEYS.get(key, key)
            actions += [{"type": "keyDown", "value": value}, {"type": "keyUp", "value": value}]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def text(self, selector):
        return self.script("return document.querySelector(arguments[0]).textContent", selector)

    def wait(self, expression, what=None):
        """Until the JavaScript expression is true; its value."""
        return wait_for(lambda: self.script("return " + expression), what or expression)

    def panel(self, view):
        """The canvas as it stands, as rows of '0' and '1'."""
        return self.script("""
            const shown = document.getElementById('panel-' + arguments[0]);
            const canvas = Object.assign(document.createElement('canvas'), {width: shown.width, height: shown.height});
            const context = canvas.getContext('2d', {willReadFrequently: true});
            context.drawImage(shown, 0, 0);
            const {data} = context.getImageData(0, 0, canvas.width, canvas.height);
            const rows = [];
            for (let y = 0; y < canvas.height; y++) {
              let row = '';
              for (let x = 0; x < canvas.width; x++) row += data[(y * canvas.width + x) * 4] > 100 ? '1' : '0';
              rows.push(row);
            }
            return rows;""", view)

    def complaints(self):
        """What the browser's console holds against the page."""
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})]

    def color_scheme(self, scheme):
        self.devtools("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme},
                                                              {"name": "prefers-reduced-motion", "value": "reduce"}])

    def allow_clipboard(self):
        self.devtools("Browser.grantPermissions", permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.devtools("Emulation.setFocusEmulationEnabled", enabled=True)

    def screenshot(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("GET", "/screenshot")))
