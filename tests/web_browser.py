"""A bus, a television and a browser of a test's own, and what the test expects of them."""

import base64
import contextlib
import json
import os
import signal
import subprocess
import sys
import threading
import time
import urllib.error
import urllib.request

PATIENCE = 60  # Seconds.
COMMAND = "torvi.sl2.vstr.videoplayer.nrx.command"
EVENT = "torvi.sl2.vstr.videoplayer.nrx.event"

failures = []
started = []


def expect(what, found, expected):
    """Notes a failure, and goes on."""
    if found != expected:
        failures.append(what)
        print(f"{what}: found {found}, expected {expected}", flush=True)


def until(condition, what):
    """Waits until the condition holds; returns its value."""
    end = time.monotonic() + PATIENCE
    while not (value := condition()):
        if time.monotonic() > end:
            sys.exit("waited in vain: " + what)
        time.sleep(0.02)
    return value


class Bus:
    """A bus of the test's own, which comes back at the same address. The browser's session bus is another one."""

    def __init__(self, directory):
        self.address = f"unix:path={directory}/nrx_bus"
        self.start()

    def start(self):
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.address.split("=")[1])
        self.process = subprocess.Popen(
            ["dbus-daemon", "--session", "--nofork", "--nosyslog", "--print-address", f"--address={self.address}"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.process.stdout.readline()

    def kill(self):
        self.process.kill()
        self.process.wait()


class Television:
    """The program, which carries out commands."""

    def __init__(self, program, bus):
        self.process = subprocess.Popen([program, "--address", bus.address, "--commands"], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        until(lambda: "serving" in self.process.stdout.readline(), "the television serves")
        self.output = []
        threading.Thread(target=lambda: self.output.extend(self.process.stdout), daemon=True).start()

    def tell(self, *commands):
        """Returns when the commands are carried out and what they changed was sent."""
        done = f"list {time.monotonic_ns()}"
        self.process.stdin.write("\n".join([*commands, "wait", done]) + "\n")
        self.process.stdin.flush()
        until(lambda: f"> {done}\n" in self.output, "the television carries out its commands")
        self.output.clear()

    def set(self, key, *texts):
        self.tell(" ".join(["tv set", key, *(json.dumps(text) for text in texts)]))

    def kill(self):
        self.process.kill()
        self.process.wait()


def start(command, variables, log):
    """A program that writes to the log, and ends with `endStarted`."""
    started.append(subprocess.Popen(command, env=variables, stdout=log, stderr=log))
    return started[-1]


def endStarted():
    for process in reversed(started):
        end(process)
    started.clear()


def end(process, family=()):
    """Ends the program and what it has started, which may not notice, and the processes of the family."""
    family = [*family, *descendants(process.pid)]
    process.terminate()
    process.wait()
    for member in family:
        with contextlib.suppress(ProcessLookupError):
            os.kill(member, signal.SIGKILL)


def descendants(ancestor):
    with contextlib.suppress(OSError):
        children = open(f"/proc/{ancestor}/task/{ancestor}/children", encoding="utf-8").read().split()
        return [member for child in map(int, children) for member in [child, *descendants(child)]]
    return []


def webProcesses(ancestor):
    """The web processes among the descendants of a process."""
    return [member for member in descendants(ancestor)
            if open(f"/proc/{member}/comm", encoding="utf-8").read() == "WPEWebProcess\n"]


class Browser:
    """Cog, and in it one page."""

    KEYS = {"left": "\ue012", "up": "\ue013", "right": "\ue014", "down": "\ue015", "enter": "\ue007"}

    def __init__(self, environment, log, *options):
        self.port = 20000 + os.getpid() % 10000
        self.driver = start(["WPEWebDriver", f"--port={self.port}"], environment, log)
        self.session = ""
        until(self.isReady, "the driver answers")
        browser = {"binary": "/usr/bin/cog", "args": ["--automation", *options, "about:blank"]}
        answer = self.ask("POST", "/session", {"capabilities": {"alwaysMatch": {"wpe:browserOptions": browser}}})
        self.session = "/session/" + answer["sessionId"]

    def isReady(self):
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
            return json.load(error)["value"]  # What the driver says of it.

    def open(self, url):
        self.ask("POST", "/url", {"url": url})

    def run(self, script):
        """What the body of an asynchronous function returns, or [name, status] of what it throws."""
        return self.ask("POST", "/execute/async", {"args": [], "script": (
            "const done = arguments[0]; (async () => {" + script + "})().then((value) => done(value ?? null),"
            "(error) => done([error.name, error.status ?? error.message]));")})

    def press(self, *keys):
        """Keys of a remote control."""
        for key in keys:
            actions = [{"type": kind, "value": self.KEYS[key]} for kind in ("keyDown", "keyUp")]
            self.ask("POST", "/actions", {"actions": [{"type": "key", "id": "remote", "actions": actions}]})

    def picture(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.ask("GET", "/screenshot")))

    def memory(self):
        """Of the web process, in KiB: the least of what it has while it collects its garbage."""
        (process,) = webProcesses(self.driver.pid)
        samples = []
        for _ in range(10):
            time.sleep(0.5)
            lines = open(f"/proc/{process}/smaps_rollup", encoding="utf-8").readlines()
            samples += [int(line.split()[1]) for line in lines if line.startswith("Private_Dirty:")]
        return min(samples)

    def close(self):
        """Ends the page and its browser."""
        family = descendants(self.driver.pid)
        with contextlib.suppress(OSError):
            self.ask("DELETE", "")
        end(self.driver, family)


class Screen:
    """A display that nobody sees, for windows of any size."""

    def __init__(self, directory, environment, log):
        self.environment, self.log = environment, log
        self.socket = directory + "/display"
        start(["weston", "--backend=headless-backend.so", "--socket=display", "--idle-time=0"], environment, log)
        until(lambda: os.path.exists(self.socket), "the display is there")

    def open(self, width, height, *options):
        """A browser whose page has this size."""
        environment = dict(self.environment, WAYLAND_DISPLAY=self.socket, COG_PLATFORM_WL_VIEW_WIDTH=str(width),
                           COG_PLATFORM_WL_VIEW_HEIGHT=str(height))
        return Browser(environment, self.log, "--platform=wl", *options)
