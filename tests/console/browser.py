"""A browser without a window, by the protocol of its driver."""
import http.client
import json
import os
import shutil
import subprocess
import tempfile
import time

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


class Refused(AssertionError):
    """The driver's refusal."""


class Browser:
    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="console-browser-")
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                       env={**os.environ, "HOME": self.folder})
        for line in self.driver.stdout:
            if "successfully on port " in line:
                self.port = int(line.split("on port ")[1].rstrip(".\n"))
                break
        self.session = ""
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                            "--disable-background-networking", "--user-data-dir=" + self.folder]}
        self.session = self.ask("POST", "", {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options}}})["sessionId"]

    def ask(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        place = "/session" + ("/" + self.session if self.session else "") + path
        connection.request(method, place, json.dumps(body if body is not None else {}) if method == "POST" else None)
        value = json.loads(connection.getresponse().read())["value"]
        connection.close()
        if isinstance(value, dict) and "error" in value:
            raise Refused(value["error"] + ": " + value["message"].split("\n")[0])
        return value

    def end(self):
        try:
            self.ask("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.driver.stdout.close()
            shutil.rmtree(self.folder, ignore_errors=True)

    def open(self, address):
        self.ask("POST", "/url", {"url": "about:blank"})  # the same page with another fragment is not loaded anew
        self.ask("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        return self.ask("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def devtools(self, command, **parameters):
        return self.ask("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def wait(self, script, *arguments, within=10):
        """What the script gives as soon as it is true; the seconds that took are in `took`."""
        begin = time.monotonic()
        while True:
            value = self.run("return " + script, *arguments)
            self.took = time.monotonic() - begin
            if value:
                return value
            if self.took > within:
                shown = self.run("return document.body.innerText.replace(/\\n/g, ' ').slice(0, 1500)")
                raise AssertionError(f"not within {within} s: {script} {arguments}; the page shows:\n{shown}")
            time.sleep(0.02)

    def _once_still(self, act):
        """The page may be drawing anew what is acted on, and refuse it meanwhile."""
        end = time.monotonic() + 5
        while True:
            try:
                return act()
            except Refused:
                if time.monotonic() > end:
                    raise
            time.sleep(0.02)

    def click(self, selector, text=""):
        """As soon as there is one."""
        def act():
            found = self.wait(
                "[...document.querySelectorAll(arguments[0])].find((e) => e.textContent.includes(arguments[1]) && !e.disabled)",
                selector, text)
            return self.ask("POST", f"/element/{found[ELEMENT]}/click")
        return self._once_still(act)

    def press(self, *keys):
        strokes = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.ask("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": strokes}]})

    def fill(self, selector, text):
        def act():
            found = self.wait("document.querySelector(arguments[0])", selector)
            self.ask("POST", f"/element/{found[ELEMENT]}/clear")
            self.ask("POST", f"/element/{found[ELEMENT]}/value", {"text": text})
        self._once_still(act)
