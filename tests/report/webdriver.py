"""A browser without a window, driven over the WebDriver protocol of chromedriver with Python's own library."""
import base64
import json
import pathlib
import shutil
import subprocess
import tempfile
import urllib.error
import urllib.request

ARGUMENTS = [
    "--headless",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--hide-scrollbars",
    "--window-size=1280,900",
]
FRAME = "element-6066-11e4-a52e-4f735466cecf"  # how the protocol marks a reference to an element


def programs():
    """The browser and its driver, or None where one of them is absent."""
    found = shutil.which("chromium") or shutil.which("chromium-browser"), shutil.which("chromedriver")
    return found if all(found) else None


class Browser:
    def __enter__(self):
        browser, driver = programs()
        self.profile = tempfile.TemporaryDirectory(prefix="profile-")
        # Port 0: the driver takes a free one, and says which.
        self.driver = subprocess.Popen(
            [driver, "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True
        )
        port = next(
            line.rsplit(" ", 1)[1].strip(" .\n") for line in self.driver.stdout if "successfully on port" in line
        )
        self.base = f"http://127.0.0.1:{port}/session"
        options = {"binary": browser, "args": [*ARGUMENTS, f"--user-data-dir={self.profile.name}"]}
        wanted = {
            "browserName": "chrome",
            "goog:chromeOptions": options,
            "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"},
        }
        try:
            self.base += "/" + self.call("POST", "", {"capabilities": {"alwaysMatch": wanted}})["sessionId"]
        except Exception:
            self.driver.terminate()
            raise
        return self

    def __exit__(self, *_):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.profile.cleanup()

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def open(self, address):
        self.call("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def devtools(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def show(self, width, height, scheme, touch=False):
        """A window of this size, in the light or dark scheme."""
        self.devtools(
            "Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=touch
        )
        self.devtools("Emulation.setTouchEmulationEnabled", enabled=touch)
        self.devtools("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def log(self, kind):
        return self.call("POST", "/se/log", {"type": kind})

    def keys(self, *keys):
        """Presses keys one after the other; a tuple's keys are held together."""
        actions = []
        for key in keys:
            held = key if isinstance(key, tuple) else (key,)
            actions += [{"type": "keyDown", "value": k} for k in held] + [
                {"type": "keyUp", "value": k} for k in reversed(held)
            ]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def drag(self, start, end, kind="mouse"):
        """From one place of the window to another; kind is mouse or touch."""
        at = lambda place: {"type": "pointerMove", "duration": 50, "x": round(place[0]), "y": round(place[1])}
        actions = [
            at(start),
            {"type": "pointerDown", "button": 0},
            at([(a + b) / 2 for a, b in zip(start, end)]),
            at(end),
            {"type": "pointerUp", "button": 0},
        ]
        pointer = {"type": "pointer", "id": kind, "parameters": {"pointerType": kind}, "actions": actions}
        self.call("POST", "/actions", {"actions": [pointer]})

    def screenshot(self, path, clip=None):
        """The window, or (x, y, width, height) of the page, beyond the window too."""
        parameters = {"format": "png"}
        if clip:
            parameters.update(captureBeyondViewport=True, clip=dict(zip(("x", "y", "width", "height"), clip), scale=1))
        pathlib.Path(path).write_bytes(base64.b64decode(self.devtools("Page.captureScreenshot", **parameters)["data"]))
