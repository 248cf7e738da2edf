"""Drives Debian's Chromium without a window over its DevTools protocol, spoken on a pipe (no
port to find or race for, no client library to install): pages are opened, script is run in
them, the mouse is moved and clicked, and pictures are taken."""
import base64
import json
import os
import shutil
import subprocess
import tempfile
import threading
import time


def find_chromium():
    return shutil.which("chromium") or shutil.which("chromium-browser")


class BrowserError(Exception):
    pass


class Browser:
    def __init__(self, executable, width=1280, height=900):
        self.profile = tempfile.mkdtemp(prefix="tolvana-browser-")
        to_browser, self._write = os.pipe()
        self._read, from_browser = os.pipe()

        # Chromium reads commands on descriptor 3 and writes answers on 4.
        def wire():
            a, b = os.dup(to_browser), os.dup(from_browser)
            os.dup2(a, 3)
            os.dup2(b, 4)

        arguments = [executable, "--headless", "--remote-debugging-pipe", f"--user-data-dir={self.profile}",
                     "--no-first-run", "--no-default-browser-check", "--disable-gpu", "--disable-extensions",
                     "--disable-background-networking", "--disable-sync", "--hide-scrollbars", "--mute-audio",
                     f"--window-size={width},{height}", "about:blank"]
        if os.geteuid() == 0:
            arguments.insert(1, "--no-sandbox")  # the sandbox refuses to run as root
        self.process = subprocess.Popen(arguments, pass_fds=(3, 4), preexec_fn=wire,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(from_browser)
        self._next = 0
        self._answers = {}
        self._arrived = threading.Condition()
        threading.Thread(target=self._listen, daemon=True).start()
        try:
            # The first answer waits for the browser's cold start, which on a machine busy with
            # other tests has taken longer than the 15 s any later command is given.
            target = self.send("Target.createTarget", {"url": "about:blank"}, session=False, timeout=60)["targetId"]
            self.session = self.send("Target.attachToTarget", {"targetId": target, "flatten": True},
                                     session=False)["sessionId"]
            self.send("Page.enable")
            self.send("Emulation.setDeviceMetricsOverride",
                      {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        except BrowserError:
            self.close()  # no browser left behind by a start that failed
            raise

    def _listen(self):
        pending = b""
        while True:
            chunk = os.read(self._read, 65536)
            if not chunk:
                break
            pending += chunk
            *messages, pending = pending.split(b"\0")
            for message in messages:
                data = json.loads(message)
                if "id" in data:
                    with self._arrived:
                        self._answers[data["id"]] = data
                        self._arrived.notify_all()
        with self._arrived:
            self._answers[None] = {"error": {"message": "the browser went away"}}
            self._arrived.notify_all()

    def send(self, method, params=None, session=True, timeout=15):
        self._next += 1
        message = {"id": self._next, "method": method, "params": params or {}}
        if session:
            message["sessionId"] = self.session
        os.write(self._write, json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + timeout
        with self._arrived:
            while self._next not in self._answers and None not in self._answers:
                if not self._arrived.wait(deadline - time.monotonic()):
                    raise BrowserError(f"{method}: no answer in {timeout} s")
            answer = self._answers.pop(self._next, None) or self._answers[None]
        if "error" in answer:
            raise BrowserError(f"{method}: {answer['error'].get('message')}")
        return answer["result"]

    def evaluate(self, expression):
        result = self.send("Runtime.evaluate", {"expression": expression, "awaitPromise": True, "returnByValue": True})
        if "exceptionDetails" in result:
            details = result["exceptionDetails"]
            raise BrowserError(f"{expression[:80]}: {details.get('exception', {}).get('description', details['text'])}")
        return result["result"].get("value")

    def wait_for(self, expression, timeout=10, what=None):
        deadline = time.monotonic() + timeout
        while True:
            if self.evaluate(f"Boolean({expression})"):
                return
            if time.monotonic() > deadline:
                raise BrowserError(f"waited {timeout} s for {what or expression}")
            time.sleep(0.05)

    def open(self, url):
        self.send("Page.navigate", {"url": url})
        self.wait_for(f"location.href === {json.dumps(url)} && document.readyState === 'complete'", what=url)

    def mouse(self, kind, x, y):
        params = {"type": kind, "x": x, "y": y}
        if kind != "mouseMoved":
            params.update(button="left", clickCount=1)
        self.send("Input.dispatchMouseEvent", params)

    def click_at(self, x, y):
        for kind in ("mouseMoved", "mousePressed", "mouseReleased"):
            self.mouse(kind, x, y)

    def picture(self, path):
        """A PNG of the whole page, however long (up to 4000 pixels)."""
        height = min(4000, self.evaluate("document.documentElement.scrollHeight"))
        clip = {"x": 0, "y": 0, "width": self.evaluate("document.documentElement.clientWidth"), "height": height,
                "scale": 1}
        data = self.send("Page.captureScreenshot", {"format": "png", "clip": clip, "captureBeyondViewport": True})
        with open(path, "wb") as out:
            out.write(base64.b64decode(data["data"]))

    def close(self):
        try:
            self.send("Browser.close", session=False, timeout=5)
        except BrowserError:
            pass
        try:
            self.process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self._write)
        shutil.rmtree(self.profile, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
