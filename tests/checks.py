"""Processes of a check, such as buses and televisions, and clients of a bus. The processes end with the check."""

import atexit
import contextlib
import functools
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

import dbus.bus
import dbus.lowlevel
import dbus.mainloop.glib
from gi.repository import GLib

NAME = "nrx.Television1"
MODEL = "/nrx/Television1/model"
BUS = "org.freedesktop.DBus"
SYNC = f"{NAME}.Model.Sync"
PATIENCE = 60  # Seconds.
OPEN_POLICY = ('<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>'
               '<allow own="*"/></policy>')

failures = []
programs = []
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
for variable in ("DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS", "NRX_BUS_ADDRESS", "NRX_BUS_OWNER", "NRX_LOG"):
    os.environ.pop(variable, None)


@functools.cache
def scratch():
    """Returns a folder that exists until the check ends."""
    folder = tempfile.mkdtemp()
    atexit.register(shutil.rmtree, folder)
    atexit.register(end_all)
    return folder


def end_all():
    while programs:
        programs.pop().kill()


def check(is_met, failure):
    """Records a failure unless the condition is met. The check continues."""
    if not is_met:
        failures.append(failure)
        print(failure, flush=True)


def expect(what, found, expected):
    check(found == expected, f"{what}: found {found}, expected {expected}")


def until(condition, what):
    """Waits until the condition holds, and returns its value. Ends the check after PATIENCE seconds."""
    end = time.monotonic() + PATIENCE
    while not (value := condition()):
        if time.monotonic() > end:
            errors = "".join(f"; {program.name}: {program.errors()[-1000:]}" for program in programs)
            sys.exit(f"waited in vain: {what}{errors}")
        GLib.MainContext.default().iteration(False)
        time.sleep(0.01)
    return value


def text_of(path, most=sys.maxsize):
    """Returns the last `most` bytes of a file, which another process may be writing."""
    with open(path, "rb") as file:
        file.seek(max(0, os.path.getsize(path) - most))
        return file.read().decode(errors="replace")


def written(name, text):
    """Writes the text to a new file and returns the file's path."""
    path = f"{scratch()}/{name}"
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return path


class Program:
    """A process that writes its output to its own files."""

    count = 0

    def __init__(self, *command, **options):
        Program.count += 1
        programs.append(self)
        self.name = os.path.basename(command[0])
        self.output_file, self.error_file = (f"{scratch()}/{Program.count}.{kind}" for kind in ("out", "err"))
        with open(self.output_file, "wb") as output, open(self.error_file, "wb") as errors:
            self.process = subprocess.Popen(command, **{"stdin": subprocess.DEVNULL, "stdout": output,
                                                        "stderr": errors, **options})

    def output(self, most=sys.maxsize):
        return text_of(self.output_file, most)

    def errors(self):
        return text_of(self.error_file)

    def wait_for(self, text):
        until(lambda: text in self.output(), f"{self.name} prints {text}")

    def send(self, *commands):
        self.process.stdin.write("".join(f"{command}\n" for command in commands).encode())
        self.process.stdin.flush()

    def signal(self, number):
        self.process.send_signal(number)

    def expect_end(self, status=0):
        self.process.wait(PATIENCE)
        expect(f"status of {self.name}", self.process.returncode, status)

    def end(self, status=0):
        self.process.terminate()
        self.expect_end(status)

    def kill(self):
        """Ends the process, also a stopped process."""
        self.process.kill()
        self.process.wait()


class Bus(Program):
    """A bus, which can start again at the same address."""

    def __init__(self, parts="", policy=OPEN_POLICY):
        self.address = f"unix:path={scratch()}/bus{Program.count}"
        self.file = written(f"{Program.count}.conf", f"<busconfig><type>session</type><listen>{self.address}</listen>"
                            f"{parts}{policy}</busconfig>")
        self.start()

    def start(self):
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.address.removeprefix("unix:path="))
        super().__init__("dbus-daemon", f"--config-file={self.file}", "--nofork", "--nosyslog", "--print-address")
        self.wait_for("\n")


class Television(Program):
    """The program nrx_television, which executes commands."""

    def __init__(self, program, bus, objects=None, words=("--commands",), prefix=(), **options):
        address = [] if "--system" in words else ["--address", bus.address]
        model = [] if objects is None else ["--model", written("model.json", json.dumps({"objects": objects}))]
        super().__init__(*prefix, program, *address, *model, *words, **{"stdin": subprocess.PIPE, **options})
        self.marks = 0
        until(self.is_serving, "the television serves")

    def is_serving(self):
        return "serving " in self.output()

    def execute(self, *commands):
        """Returns when the television has executed the commands."""
        self.marks += 1
        self.send(*commands, f"# {self.marks}")
        until(lambda: self.output(100).endswith(f"# {self.marks}\n"), f"the television carries out {commands}"[:1000])


class Client:
    """A connection to a bus."""

    patience = PATIENCE

    def __init__(self, bus):
        self.connection = dbus.bus.BusConnection(bus.address)

    def call(self, path, method, signature="", *arguments, receiver=NAME):
        """Returns the reply. Returns an error as a text: a status of the television as "status 107", any other error as
        the error's name. The path is an object path, or a key with slashes instead of dots."""
        interface, _, member = method.rpartition(".")
        try:
            return self.connection.call_blocking(receiver, path if path.startswith("/") else f"{MODEL}/{path}",
                                                 interface or None, member, signature, arguments, timeout=self.patience)
        except dbus.DBusException as error:
            name = error.get_dbus_name()
            return f"status {error.get_dbus_message()}" if name == NAME + ".Error.Status" else name

    def get(self, path, interface):
        return self.call(path, f"{BUS}.Properties.Get", "ss", f"{NAME}.{interface}", "Value")

    def set(self, path, interface, value):
        return self.call(path, f"{BUS}.Properties.Set", "ssv", f"{NAME}.{interface}", "Value", value)

    def ping(self):
        """Returns when the television has received all earlier messages of this client."""
        return self.call("/", f"{BUS}.Peer.Ping")

    def invoke(self, *texts):
        return self.call("do", f"{NAME}.Action.Invoke", "a(nnns)", [(0, 0, 0, text) for text in texts])

    def create_iterator(self, table="rows", selections=(), columns=(), orders=()):
        return self.call(table, f"{NAME}.Table.CreateIterator", "ia(iis)aia(ii)", 0, selections, columns, orders)

    def destroy_iterator(self, iterator, table="rows"):
        return self.call(table, f"{NAME}.Table.DestroyIterator", "o", dbus.ObjectPath(iterator))

    def forge_leave(self, other):
        """Sends the bus's signal that the other client has left, although this client is not the bus."""
        message = dbus.lowlevel.SignalMessage("/org/freedesktop/DBus", BUS, "NameOwnerChanged")
        name = other.connection.get_unique_name()
        message.append(name, name, "", signature="sss")
        message.set_destination(self.connection.get_name_owner(NAME))
        self.connection.send_message(message)
        self.ping()


class Monitor(Program):
    """Records the messages on a bus as one line of JSON for each message."""

    def __init__(self, bus):
        super().__init__("busctl", "--address=" + bus.address, "--json=short", "monitor")
        client = Client(bus)
        until(lambda: client.call("/", BUS + ".Peer.Ping", receiver=BUS) or self.messages("Ping"), "the monitor")

    def messages(self, member):
        """Returns the paths and the contents of the messages whose member has this name."""
        found = [json.loads(line) for line in self.output().splitlines(keepends=True)
                 if f'"member":"{member}"' in line and line.endswith("\n")]
        return [(message["path"], message["payload"].get("data")) for message in found]
