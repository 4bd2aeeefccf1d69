"""Debian's chromium without a window, spoken to by the DevTools protocol over a pair of pipes."""

import base64
import json
import os
import subprocess
import tempfile

OPTIONS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync",
           "--disable-dev-shm-usage", "--hide-scrollbars", "--remote-debugging-pipe")


class Browser:
    """One page. `events` has all that the browser has told of by itself."""

    def __init__(self):
        self.events = []
        self._count = 0
        self._profile = tempfile.TemporaryDirectory(prefix="zlk-chromium-",
                                                    ignore_cleanup_errors=True)
        to_browser, self._out = os.pipe()
        self._in, from_browser = os.pipe()

        def place_pipes():  # where the browser looks for them
            ends = os.dup(to_browser), os.dup(from_browser)
            os.dup2(ends[0], 3)
            os.dup2(ends[1], 4)

        self._process = subprocess.Popen(
            ["chromium", *OPTIONS, f"--user-data-dir={self._profile.name}", "about:blank"],
            preexec_fn=place_pipes, pass_fds=(3, 4), stdin=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self._received = b""
        self._session = None
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.ask("Target.attachToTarget", targetId=target,
                                 flatten=True)["sessionId"]
        for domain in ("Page", "Network", "Runtime"):
            self.ask(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.close(self._out)
        self._process.kill()
        self._process.wait()
        os.close(self._in)
        self._profile.cleanup()

    def _read(self):
        while b"\0" not in self._received:
            part = os.read(self._in, 1 << 20)
            if not part:
                raise EOFError("chromium is gone")
            self._received += part
        message, _, self._received = self._received.partition(b"\0")
        return json.loads(message)

    def _send(self, method, parameters):
        self._count += 1
        request = {"id": self._count, "method": method, "params": parameters}
        if self._session:
            request["sessionId"] = self._session
        os.write(self._out, json.dumps(request).encode() + b"\0")
        return self._count

    def _note(self, event):
        self.events.append(event)
        if event.get("method") == "Page.javascriptDialogOpening":
            # Until somebody answers it, the page answers nothing.
            self._send("Page.handleJavaScriptDialog", {"accept": True})

    def ask(self, method, **parameters):
        number = self._send(method, parameters)
        while True:
            message = self._read()
            if message.get("id") != number:
                self._note(message)
            elif "error" in message:
                raise RuntimeError(f"{method}: {message['error']['message']}")
            else:
                return message["result"]

    def named(self, event):
        return [entry["params"] for entry in self.events if entry.get("method") == event]

    def open(self, address):
        self.events.clear()
        self.ask("Page.navigate", url=address)
        while not self.named("Page.loadEventFired"):
            self._note(self._read())

    def shape(self, width, height, scheme="light"):
        self.ask("Emulation.setDeviceMetricsOverride", width=width, height=height,
                 deviceScaleFactor=1, mobile=False)
        self.ask("Emulation.setEmulatedMedia",
                 features=[{"name": "prefers-color-scheme", "value": scheme}])

    def evaluate(self, expression):
        """The value of a JavaScript expression, whose promise is waited for."""
        result = self.ask("Runtime.evaluate", expression=expression, returnByValue=True,
                          awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(result["exceptionDetails"]["exception"]["description"])
        return result["result"].get("value")

    def picture(self):
        return base64.b64decode(self.ask("Page.captureScreenshot", format="png")["data"])
