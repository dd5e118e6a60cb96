"""Another implementation of a television, on dbusmock: python3 -m dbusmock --template foreign_television.py"""

import dbus
from dbusmock import get_object
from gi.repository import GLib

BUS_NAME = "nrx.Television1"
MAIN_OBJ = "/nrx/Television1/model"
MAIN_IFACE = BUS_NAME + ".Model"
SYSTEM_BUS = False
IS_OBJECT_MANAGER = True
CREATE = "ia(iis)aia(ii)"  # The signature of CreateIterator.


def invoke(action, arguments):
    """The text of the first argument selects the behaviour:
    - "refuse": replies with an error.
    - "hold": replies with the number in the second argument as the invocation's number, and sends no result.
    - "long": sends a list and a result that exceed the maximum size of a message.
    - digits: sets the list to one text of that length, without a signal.
    - any other text: sets the string to this text. After the reply, sends all arguments as the result."""
    if arguments and arguments[0][3] == "refuse":
        refuse(9)
    if arguments and arguments[0][3] == "hold":
        return dbus.UInt32(int(arguments[1][3]))
    if arguments and arguments[0][3] == "long":
        GLib.idle_add(send_long, action, priority=GLib.PRIORITY_HIGH)
        return dbus.UInt32(0)
    if arguments and arguments[0][3].isdigit():
        value = dbus.Array(["x" * int(arguments[0][3])])
        get_object(MAIN_OBJ + "/list").props[BUS_NAME + ".StringList"]["Value"] = value
        return dbus.UInt32(0)
    action.invocations = getattr(action, "invocations", 0) + 1
    number = dbus.UInt32(action.invocations)
    get_object(MAIN_OBJ + "/a/text_2d1").UpdateProperties("", {"Value": arguments[0][3]})
    # Sends the result before the main loop handles the next call. The next call may be a Sync, whose reply must follow
    # all earlier signals.
    GLib.idle_add(action.EmitSignal, "", "Result", "ua(nnns)", [number, arguments], priority=GLib.PRIORITY_HIGH)
    return number


def refuse(status):
    raise dbus.DBusException(str(status), name=BUS_NAME + ".Error.Status")


def send_long(action):
    """Sends longer messages than the contract allows."""
    mebibyte = 1024 * 1024
    long = dbus.Array(["", *["x" * mebibyte] * 33])
    get_object(MAIN_OBJ + "/list").UpdateProperties(BUS_NAME + ".StringList", {"Value": long})
    numbers = [dbus.Int16(0)] * 3
    action.EmitSignal("", "Result", "ua(nnns)", [dbus.UInt32(0), [(*numbers, "x" * (33 * mebibyte))]])


def load(mock, _parameters):
    """Publishes the objects."""
    mock.AddMethod("", "Sync", "", "", "")
    for key, type_number, interface, properties, methods in (
        ("n", 1, "Integer", {"Value": dbus.Int32(5)}, []),
        ("a/text_2d1", 2, "String", {"Value": dbus.String("old")}, []),
        ("list", 4, "StringList", {"Value": dbus.Array(["a", "b c"], signature="s")}, []),
        ("do", 5, "Action", {}, [("Invoke", "a(nnns)", "u", invoke)]),
        ("empty", 6, "Table", {}, [("CreateIterator", CREATE, "o", lambda *_: refuse(9))]),
        ("full", 6, "Table", {}, [("CreateIterator", CREATE, "o", lambda *_: refuse(109))]),
        # The key of the next object is "\xff\x01 /\0", and the key of the object after it has 1500 letters.
        ("_ff_01_20_2f_00", 2, "String", {"Value": dbus.String("escaped")}, []),
        ("k" * 1500, 2, "String", {"Value": dbus.String("long")}, []),
        ("odd", 2, "Int64", {"Value": dbus.Int64(5)}, []),  # Its type and its interface do not match.
    ):
        path = f"{MAIN_OBJ}/{key}"
        mock.AddObject(path, f"{BUS_NAME}.{interface}", properties, methods)
        get_object(path).AddProperty(BUS_NAME + ".Object", "Type", dbus.Int32(type_number))
