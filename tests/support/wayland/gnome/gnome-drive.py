#!/usr/bin/env python3
"""Drives a headless GNOME Shell by hand, one command per line on standard input.

  gnome-drive.py keys
      Holds one remote-desktop session of mutter (it ends with this process's connection) and
      types what each line says: "Super+Shift+Right", "Return", "press Shift_L", "release Shift_L",
      "sleep 0.2". Answers "ok" per line.
  gnome-drive.py mosaro
      Stands in for Mosaro: owns tech.brenmark.mosaro, registers with the extension, and runs
      "call <Method> [<GVariant text of the arguments>]" against it, answering
      "ok <ms> <reply>" or "error <ms> <message>"; "window <title>" opens a GTK window of its own
      under that title (its key presses are printed as "key <name>", its loss of the keyboard as
      "focus-out"), "hide" closes it. The extension's signals are printed as
      "signal <name> <arguments>".
  gnome-drive.py bench [rounds]
      Stands in for Mosaro and measures, against the focused window: the trigger (a key typed
      through the remote-desktop session until the extension's signal arrives), the focused
      window's read, pure moves, and moves with a resize until the frame settled.

Run them as the Shell's user in its environment (gnome-shell-headless.sh run <dir> ...).
"""

import sys
import time

import gi
gi.require_version("Gio", "2.0")
gi.require_version("GLib", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

KEYSYMS = {
    "Return": 0xFF0D, "Escape": 0xFF1B, "Tab": 0xFF09, "space": 0x20,
    "Home": 0xFF50, "Left": 0xFF51, "Up": 0xFF52, "Right": 0xFF53, "Down": 0xFF54,
    "Page_Up": 0xFF55, "Page_Down": 0xFF56, "End": 0xFF57,
    "Shift_L": 0xFFE1, "Control_L": 0xFFE3, "Alt_L": 0xFFE9, "Super_L": 0xFFEB,
    "Shift": 0xFFE1, "Control": 0xFFE3, "Alt": 0xFFE9, "Super": 0xFFEB,
}


def keysym(name):
    if name in KEYSYMS:
        return KEYSYMS[name]
    if len(name) == 1:
        return ord(name)
    return int(name, 0)  # a keysym's number, as 0xff0d


def answer(text):
    print(text, flush=True)


def lines(handle):
    """Calls handle(line) for each line of standard input from the main loop."""
    loop = GLib.MainLoop()
    stdin = GLib.IOChannel.unix_new(sys.stdin.fileno())

    # GLib's channel, not Python's file: a watch sees the lines the channel has buffered.
    def readable(channel, condition):
        status, line, _, _ = channel.read_line()
        if status != GLib.IOStatus.NORMAL:
            loop.quit()
            return False
        line = line.strip()
        if line:
            handle(line)
        return True

    GLib.io_add_watch(stdin, GLib.PRIORITY_DEFAULT, GLib.IOCondition.IN | GLib.IOCondition.HUP, readable)
    loop.run()


def remote_keyboard(bus):
    """Starts a remote-desktop session of mutter; gives key(name, pressed) and stop()."""
    session = bus.call_sync("org.gnome.Mutter.RemoteDesktop", "/org/gnome/Mutter/RemoteDesktop",
                            "org.gnome.Mutter.RemoteDesktop", "CreateSession", None, None,
                            Gio.DBusCallFlags.NONE, 5000, None).unpack()[0]

    def session_call(method, args=None):
        bus.call_sync("org.gnome.Mutter.RemoteDesktop", session, "org.gnome.Mutter.RemoteDesktop.Session",
                      method, args, None, Gio.DBusCallFlags.NONE, 5000, None)

    session_call("Start")
    return (lambda name, pressed: session_call("NotifyKeyboardKeysym", GLib.Variant("(ub)", (keysym(name), pressed))),
            lambda: session_call("Stop"))


def keys():
    key, stop = remote_keyboard(Gio.bus_get_sync(Gio.BusType.SESSION))
    answer("ready")

    def handle(line):
        words = line.split()
        if words[0] == "sleep":
            time.sleep(float(words[1]))
        elif words[0] in ("press", "release"):
            key(words[1], words[0] == "press")
        else:
            combo = words[0].split("+")
            for name in combo:
                key(name, True)
            for name in reversed(combo):
                key(name, False)
        answer("ok")

    lines(handle)
    stop()


def own_mosaro_name(bus):
    owned = bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                          "RequestName", GLib.Variant("(su)", ("tech.brenmark.mosaro", 4)), None,
                          Gio.DBusCallFlags.NONE, 5000, None).unpack()[0]
    return owned == 1


SHELL = ("tech.brenmark.mosaro.Shell", "/tech/brenmark/mosaro/Shell", "tech.brenmark.mosaro.Shell")


def figures(name, samples):
    samples = sorted(samples)
    pick = lambda q: samples[min(len(samples) - 1, int(q * len(samples)))]
    print(f"{name:<44} n={len(samples):<4} median {pick(0.5):7.2f} ms  p95 {pick(0.95):7.2f} ms  "
          f"max {samples[-1]:7.2f} ms", flush=True)


def bench():
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 50
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    if not own_mosaro_name(bus):
        sys.exit("tech.brenmark.mosaro is taken")

    def call(method, args=None):
        return bus.call_sync(*SHELL, method, args, None, Gio.DBusCallFlags.NONE, 5000, None)

    call("Register")
    call("SetTrigger", GLib.Variant("(s)", ("<Super>Return",)))
    key, stop = remote_keyboard(bus)
    context = GLib.MainContext.default()
    fired = []
    bus.signal_subscribe(None, SHELL[2], "Triggered", SHELL[1], None, Gio.DBusSignalFlags.NONE,
                         lambda *args: fired.append(time.monotonic()))

    def wait(condition, seconds):
        deadline = time.monotonic() + seconds
        while not condition() and time.monotonic() < deadline:
            context.iteration(False) or time.sleep(0.0005)
        return condition()

    triggers = []
    for _ in range(rounds):
        fired.clear()
        key("Super_L", True)
        started = time.monotonic()
        key("Return", True)
        if wait(lambda: fired, 1.0):
            triggers.append((fired[0] - started) * 1000)
        key("Return", False)
        key("Super_L", False)
        wait(lambda: False, 0.02)
    figures("trigger key -> Triggered", triggers)

    reads = []
    window = None
    for _ in range(rounds):
        started = time.monotonic()
        window = call("GetFocusedWindow").unpack()[0]
        reads.append((time.monotonic() - started) * 1000)
    figures("GetFocusedWindow", reads)
    if "id" not in window:
        sys.exit("no focused window")
    wid, x, y, width, height = (window[k] for k in ("id", "x", "y", "width", "height"))

    def place(label, frames):
        times, unsettled = [], 0
        for frame in frames:
            started = time.monotonic()
            settled, *_ = call("MoveResize", GLib.Variant("(tiiii)", (wid, *frame))).unpack()
            times.append((time.monotonic() - started) * 1000)
            unsettled += not settled
        figures(f"{label} ({unsettled} unsettled)", times)

    place("MoveResize, move only", [(x + 10 * (i % 2), y, width, height) for i in range(rounds)])
    place("MoveResize, move and resize", [(40 * (i % 2), 32, 700 + 20 * (i % 2), 400 + 30 * (i % 2))
                                            for i in range(rounds)])
    stop()


def mosaro():
    gi.require_version("Gtk", "3.0")
    from gi.repository import Gtk

    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    if not own_mosaro_name(bus):
        answer("error tech.brenmark.mosaro is taken")
        return
    shell = SHELL

    def signal(connection, sender, path, interface, name, args):
        answer(f"signal {name} {args.print_(True)}")

    bus.signal_subscribe(None, shell[2], None, shell[1], None, Gio.DBusSignalFlags.NONE, signal)
    windows = []

    # Asynchronous, so that the window keeps answering the Shell while a call waits for it.
    def call(method, args):
        started = time.monotonic()

        def done(connection, result):
            elapsed = (time.monotonic() - started) * 1000
            try:
                reply = connection.call_finish(result)
                answer(f"ok {elapsed:.1f} {reply.print_(True) if reply is not None else '()'}")
            except GLib.Error as error:
                answer(f"error {elapsed:.1f} {error.message}")

        bus.call(*shell, method, args, None, Gio.DBusCallFlags.NONE, 5000, None, done)

    def handle(line):
        word, _, rest = line.partition(" ")
        if word == "call":
            method, _, args = rest.partition(" ")
            call(method, GLib.Variant.parse(None, args, None, None) if args else None)
        elif word == "window":
            window = Gtk.Window(title=rest)
            window.set_default_size(300, 200)
            window.connect("key-press-event",
                           lambda w, event: answer(f"key {Gtk.accelerator_name(event.keyval, event.state)}"))
            window.connect("focus-out-event", lambda w, event: answer("focus-out"))
            window.show_all()
            windows.append(window)
            answer("ok")
        elif word == "hide":
            for window in windows:
                window.destroy()
            windows.clear()
            answer("ok")
        else:
            answer(f"error unknown command {word}")

    call("Register", None)
    lines(handle)


if __name__ == "__main__":
    {"keys": keys, "mosaro": mosaro, "bench": bench}[sys.argv[1]]()
