"""The browser and the television of a check."""

import base64
import contextlib
import json
import os
import signal
import time
import urllib.error
import urllib.request

import checks
from checks import PATIENCE, Program, scratch, until

COMMAND = "torvi.sl2.vstr.videoplayer.nrx.command"
EVENT = "torvi.sl2.vstr.videoplayer.nrx.event"
LOG = scratch() + "/log"


class Television(checks.Television):
    """A television whose lists of texts a check changes."""

    def execute(self, *commands):
        """Returns when the television has executed the commands and has sent their changes to the bus."""
        super().execute(*commands, "wait")

    def set(self, key, *texts):
        self.execute(" ".join(["tv set", key, *(json.dumps(text) for text in texts)]))


class Family(Program):
    """A program that writes to the log. `kill` ends the program and all processes that the program has started."""

    def __init__(self, *command, env):
        with open(LOG, "ab") as log:
            super().__init__(*command, env=env, stdout=log, stderr=log)

    def kill(self, members=()):
        members = [*members, *descendants(self.process.pid)]  # Some children do not end with the program.
        self.process.terminate()
        self.process.wait()
        for member in members:
            with contextlib.suppress(ProcessLookupError):
                os.kill(member, signal.SIGKILL)

    def web_processes(self):
        return [member for member in descendants(self.process.pid)
                if open(f"/proc/{member}/comm", encoding="utf-8").read() == "WPEWebProcess\n"]


def descendants(ancestor):
    with contextlib.suppress(OSError):
        children = open(f"/proc/{ancestor}/task/{ancestor}/children", encoding="utf-8").read().split()
        return [member for child in map(int, children) for member in [child, *descendants(child)]]
    return []


def logged(text):
    """Returns the number of occurrences of the text in the log."""
    return checks.text_of(LOG).count(text)


class Browser:
    """The web browser Cog with one page."""

    KEYS = {"left": "\ue012", "up": "\ue013", "right": "\ue014", "down": "\ue015", "enter": "\ue007"}

    def __init__(self, environment, *options):
        self.port = 20000 + os.getpid() % 10000
        self.driver = Family("WPEWebDriver", f"--port={self.port}", env=environment)
        self.session = ""
        until(self.is_ready, "the driver answers")
        browser = {"binary": "/usr/bin/cog", "args": ["--automation", *options, "about:blank"]}
        answer = self.ask("POST", "/session", {"capabilities": {"alwaysMatch": {"wpe:browserOptions": browser}}})
        self.session = "/session/" + answer["sessionId"]

    def is_ready(self):
        try:
            return self.ask("GET", "/status") is not None
        except OSError:
            return False

    def ask(self, method, path, body=None):
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}{self.session}{path}", method=method,
                                         data=None if body is None else json.dumps(body).encode())
        try:
            with urllib.request.urlopen(request, timeout=4 * PATIENCE) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            return json.load(error)["value"]  # The driver's error message.

    def open(self, url):
        self.ask("POST", "/url", {"url": url})

    def run(self, script):
        """Runs the script as the body of an asynchronous function. Returns the function's result. After an exception,
        returns a list of the exception's name and status, or name and message if the exception has no status."""
        return self.ask("POST", "/execute/async", {"args": [], "script": (
            "const done = arguments[0]; (async () => {" + script + "})().then((value) => done(value ?? null),"
            "(error) => done([error.name, error.status ?? error.message]));")})

    def press(self, *keys):
        """Presses keys of a remote control."""
        for key in keys:
            actions = [{"type": kind, "value": self.KEYS[key]} for kind in ("keyDown", "keyUp")]
            self.ask("POST", "/actions", {"actions": [{"type": "key", "id": "remote", "actions": actions}]})

    def picture(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.ask("GET", "/screenshot")))

    def memory(self):
        """Returns the memory of the web process in KiB: the minimum of samples, because garbage collection varies."""
        (process,) = self.driver.web_processes()
        samples = []
        for _ in range(10):
            time.sleep(0.5)
            lines = open(f"/proc/{process}/smaps_rollup", encoding="utf-8").readlines()
            samples += [int(line.split()[1]) for line in lines if line.startswith("Private_Dirty:")]
        return min(samples)

    def close(self):
        members = descendants(self.driver.process.pid)
        with contextlib.suppress(OSError):
            self.ask("DELETE", "")
        self.driver.kill(members)


def open_window(environment, width, height, *options):
    """Returns a browser whose page has this size, on a headless display."""
    display = scratch() + "/display"
    if not os.path.exists(display):
        Family("weston", "--backend=headless-backend.so", "--socket=display", "--idle-time=0", env=environment)
        until(lambda: os.path.exists(display), "the display is there")
    environment = dict(environment, WAYLAND_DISPLAY=display, COG_PLATFORM_WL_VIEW_WIDTH=str(width),
                       COG_PLATFORM_WL_VIEW_HEIGHT=str(height))
    return Browser(environment, "--platform=wl", *options)
