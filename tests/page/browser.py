"""A browser without a window, for pages: Chromium's DevTools protocol over its pipe."""

import base64
import json
import os
import subprocess
import tempfile

COMMAND = ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
           "--disable-extensions", "--no-first-run", "--disable-background-networking", "--hide-scrollbars",
           "--force-color-profile=srgb", "--remote-debugging-pipe"]
LIMIT_SECONDS = 120


class Browser:
    """Chromium with one page. `messages` and `requests` are those since the page was opened."""

    def __init__(self):
        self.messages = []
        self.requests = []
        self._events = []
        self._last = 0
        self._session = None

    def __enter__(self):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        commands, to_browser = os.pipe()
        from_browser, answers = os.pipe()
        # It reads from descriptor 3 and writes to 4. Both are made in the shell, so that no number is in use twice.
        script = f'exec 3<&{commands} 4>&{answers} && exec timeout {LIMIT_SECONDS} "$@"'
        self._process = subprocess.Popen(
            ["bash", "-c", script, "bash", *COMMAND, "--user-data-dir=" + self._profile.name, "about:blank"],
            pass_fds=(commands, answers), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(commands)
        os.close(answers)
        self._out = os.fdopen(to_browser, "wb")
        self._in = os.fdopen(from_browser, "rb")
        target = self._call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self._call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self._call(domain + ".enable")
        return self

    def __exit__(self, *_):
        self._session = None
        self._send("Browser.close")
        self._process.wait()
        self._out.close()
        self._in.close()
        self._profile.cleanup()

    def open(self, url):
        self.messages.clear()
        self.requests.clear()
        self._events.clear()
        self._call("Page.navigate", url=url)
        while "Page.loadEventFired" not in self._events:
            self._receive()

    def value(self, expression):
        """@return the value of an expression in the page."""
        answer = self._call("Runtime.evaluate", expression=expression, returnByValue=True)
        return answer["result"]["value"]

    def show_as(self, width, colors, medium="", height=800):
        """@param colors "light" or "dark", the reader's preference."""
        self._call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                   mobile=width < 600)
        self._call("Emulation.setEmulatedMedia", media=medium,
                   features=[{"name": "prefers-color-scheme", "value": colors}])

    def screenshot(self, whole=True):
        """@return the page as PNG; otherwise what stands in the window."""
        answer = self._call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)
        return base64.b64decode(answer["data"])

    def paper(self):
        """@return the page as PDF, A4."""
        options = {"paperWidth": 8.27, "paperHeight": 11.69, "preferCSSPageSize": True}
        try:
            answer = self._call("Page.printToPDF", **options)
        except RuntimeError:
            # On a busy machine, "Printing failed" now and then: nothing of the page, which prints the second time.
            answer = self._call("Page.printToPDF", **options)
        return base64.b64decode(answer["data"])

    def _send(self, method, **parameters):
        self._last += 1
        message = {"id": self._last, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        self._out.write(json.dumps(message).encode() + b"\0")
        self._out.flush()
        return self._last

    def _receive(self):
        """@return one message, of which events are kept."""
        raw = bytearray()
        while (byte := self._in.read(1)) != b"\0":
            if not byte:
                raise RuntimeError("the browser has ended")
            raw += byte
        message = json.loads(raw)
        method = message.get("method")
        parameters = message.get("params", {})
        self._events.append(method)
        if method == "Runtime.consoleAPICalled":
            self.messages.append(str([argument.get("value") for argument in parameters["args"]]))
        elif method == "Runtime.exceptionThrown":
            self.messages.append(parameters["exceptionDetails"]["text"])
        elif method == "Log.entryAdded":
            self.messages.append(parameters["entry"]["text"])
        elif method == "Network.requestWillBeSent":
            self.requests.append(parameters["request"]["url"])
        return message

    def _call(self, method, **parameters):
        number = self._send(method, **parameters)
        while True:
            message = self._receive()
            if message.get("id") == number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']['message']}")
                return message["result"]
