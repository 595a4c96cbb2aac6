"""Drives the real ScrivLane as a person would: on a private X session (Xvfb, openbox, trayer,
a D-Bus session with the accessibility bus), through its accessible controls (AT-SPI), its
tray icon, the keyboard, and the command line for checking the store.

A test is a function of one Session, handed to run():

    def main(session):
        app = session.start_scrivlane()
        session.open_tray_menu(app)
        app.press(app.wait_for("menu item", "Quit ScrivLane"))
        session.check(app.wait_exit() == 0, "ScrivLane did not exit with 0")

    if __name__ == "__main__":
        run(main)

Run with Debian's /usr/bin/python3 (python3-pyatspi). Every wait is bounded and says what it
waited for. Exit codes: 0 passed, 1 failed, 77 skipped for a missing tool (a failure when
SCRIVLANE_REQUIRE_ALL_TESTS=1, as on CI).
"""

import argparse
import ctypes
import importlib.util
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import traceback
from pathlib import Path

SKIPPED = 77
SCREEN = (1280, 800)
AT_SPI_LAUNCHER = "/usr/libexec/at-spi-bus-launcher"
TOOLS = ["Xvfb", "openbox", "trayer", "xdotool", "xwininfo", "xprop", "xclip",
         "dbus-run-session", AT_SPI_LAUNCHER]
INNER = "SCRIVLANE_A11Y_ROOT"  # set in the process that runs inside the D-Bus session
OUTER = "SCRIVLANE_A11Y_OUTER"  # the pid of the process that started that session
# The name Qt registers on the accessibility bus (the application's name).
APP_NAME = "ScrivLane"
# The tray icon's X window carries the application's WM_CLASS.
TRAY_CLASS = '("scrivlane" "ScrivLane")'

pyatspi = None  # imported once the session's display and buses exist
GLib = None
Atspi = None


class Failure(Exception):
    """A step did not do what the test expected; the message says what."""


class Interrupted(BaseException):
    """The run was told to stop (its time ran out). Not an Exception, so that the places
    that pass over controls vanishing under them do not pass over this too."""


# ---------------------------------------------------------------------------------------------
# Waiting


def pump():
    """Delivers the accessibility events that have arrived."""
    if GLib is not None:
        context = GLib.MainContext.default()
        while context.iteration(False):
            pass


def wait_until(what, predicate, timeout=10.0, interval=0.05):
    """Polls predicate until it returns something true and returns that; fails naming `what`
    after `timeout` seconds. Objects that vanish while being read count as not yet."""
    deadline = time.monotonic() + timeout
    last_error = None
    while True:
        pump()
        try:
            value = predicate()
        except Exception as error:  # noqa: BLE001 - a control that went away mid-read
            if isinstance(error, Failure):
                raise
            value, last_error = None, error
        if value:
            return value
        if time.monotonic() >= deadline:
            detail = f" (last error: {last_error})" if last_error else ""
            raise Failure(f"timed out after {timeout:g} s waiting for {what}{detail}")
        time.sleep(interval)


def command(argv, timeout=10.0, env=None, input=None, check=True):
    """Runs a helper program to its end, within `timeout` seconds."""
    try:
        done = subprocess.run(argv, env=env, input=input, capture_output=True, text=True,
                              timeout=timeout)
    except subprocess.TimeoutExpired as error:
        raise Failure(f"{' '.join(map(str, argv))} did not finish within {timeout:g} s") \
            from error
    if check and done.returncode != 0:
        raise Failure(f"{' '.join(map(str, argv))} exited with {done.returncode}: "
                      f"{done.stderr.strip()}")
    return done


# ---------------------------------------------------------------------------------------------
# Processes


def _die_with_parent():
    # Nothing of a session outlives the run that started it, even a killed one.
    libc = ctypes.CDLL(None, use_errno=True)
    libc.prctl(1, signal.SIGTERM)  # PR_SET_PDEATHSIG


def processes():
    """{pid: (parent, process group)} of every process, read from /proc."""
    table = {}
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat", "rb") as stat:
                line = stat.read()
        except OSError:
            continue
        # "pid (name) state ppid pgrp ...", and the name may hold anything.
        fields = line[line.rfind(b")") + 2:].split()
        if len(fields) > 2:
            table[int(entry)] = (int(fields[1]), int(fields[2]))
    return table


def children_of(pid):
    return [child for child, (parent, _) in processes().items() if parent == pid]


def descendants_of(pid):
    table = processes()
    found, frontier = [], [pid]
    while frontier:
        parent = frontier.pop()
        children = [child for child, (ppid, _) in table.items() if ppid == parent]
        found.extend(children)
        frontier.extend(children)
    return found


def _ours():
    # The run's own processes: everything below the process that started the D-Bus session
    # (orphans included, since it is their subreaper).
    return set(descendants_of(int(os.environ.get(OUTER, os.getpid()))))


def stop_process(process, grace=5.0):
    """Ends a process started in its own process group, then what is left of that group."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(grace)
        except subprocess.TimeoutExpired:
            pass
    ours = _ours()
    for pid, (_, group) in processes().items():
        if group == process.pid and pid in ours:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
    try:
        process.wait(grace)
    except subprocess.TimeoutExpired:
        pass


# ---------------------------------------------------------------------------------------------
# Accessible controls


def role_matches(accessible, role):
    if role is None:
        return True
    if isinstance(role, int):
        return accessible.getRole() == role
    return accessible.getRoleName() == role


def name_matches(accessible, name):
    if name is None:
        return True
    if isinstance(name, re.Pattern):
        return name.search(accessible.name or "") is not None
    return accessible.name == name


def is_showing(accessible):
    return accessible.getState().contains(pyatspi.STATE_SHOWING)


def describe(accessible):
    try:
        return f"{accessible.getRoleName()} {accessible.name!r}"
    except Exception:  # noqa: BLE001
        return "(a control that has gone)"


def action_names(accessible):
    try:
        action = accessible.queryAction()
    except NotImplementedError:
        return []
    return [action.getName(i) for i in range(action.nActions)]


def _no_reply(error):
    # A press that opens a modal dialog (QDialog::exec) answers only once the dialog closes.
    return re.search(r"NoReply|timeout|timed out|did not receive a reply", str(error), re.I)


def do_action(accessible, names):
    """Runs the first of `names` (lower case) the control offers."""
    offered = action_names(accessible)
    for index, offered_name in enumerate(offered):
        if offered_name.lower() in names:
            try:
                if not accessible.queryAction().doAction(index):
                    raise Failure(f"{describe(accessible)} refused {offered_name!r}")
            except GLib.Error as error:
                if not _no_reply(error):
                    raise
            return
    raise Failure(f"{describe(accessible)} offers no {'/'.join(names)} action "
                  f"(it offers {offered})")


class App:
    """The running ScrivLane: `scrivlane` is a supervisor whose child is the tray app, and the
    child is what shows up on the accessibility bus."""

    def __init__(self, session, process, log):
        self.session = session
        self.process = process
        self.log = log
        self._accessible = None

    # -- the process

    def child_pid(self):
        children = children_of(self.process.pid)
        return children[0] if len(children) == 1 else None

    def wait_exit(self, timeout=10.0):
        """The supervisor's exit code, once it has ended."""
        try:
            return self.process.wait(timeout)
        except subprocess.TimeoutExpired as error:
            raise Failure(f"ScrivLane still runs {timeout:g} s later") from error

    def log_text(self):
        return Path(self.log).read_text(errors="replace")

    def wait_for_log(self, text, timeout=15.0):
        """Waits until ScrivLane has written `text` on standard error."""
        wait_until(f"ScrivLane to log {text!r}", lambda: text in self.log_text(), timeout)

    # -- its controls

    @property
    def accessible(self):
        """The application on the accessibility bus: the one registered by the supervisor's
        child (a restarted child registers again)."""
        if self._accessible is not None:
            try:
                if self._accessible.get_process_id() == self.child_pid():
                    return self._accessible
            except Exception:  # noqa: BLE001
                pass
        self._accessible = wait_until("ScrivLane on the accessibility bus",
                                      self._find_registered, timeout=15.0)
        return self._accessible

    def _find_registered(self):
        if self.process.poll() is not None:
            raise Failure(f"ScrivLane ended with {self.process.returncode} before it showed "
                          f"up on the accessibility bus")
        child = self.child_pid()
        if child is None:
            return None
        desktop = pyatspi.Registry.getDesktop(0)
        desktop.clear_cache()
        for application in desktop:
            if application is not None and application.name == APP_NAME \
                    and application.get_process_id() == child:
                # Read through to the application every time: a cached child list or state
                # can lag behind what is on screen.
                Atspi.Accessible.set_cache_mask(application, Atspi.Cache.NONE)
                return application
        return None

    def roots(self):
        """Where controls live: the application's windows, and its popups without a parent
        widget (context menus such as the tray's), which Qt leaves out of its children."""
        application = self.accessible
        found = [application.getChildAtIndex(i) for i in range(application.childCount)]
        pid = application.get_process_id()
        for popup in self.session.popups:
            try:
                if popup.get_process_id() == pid and all(popup != r for r in found):
                    found.append(popup)
            except Exception:  # noqa: BLE001 - gone
                continue
        return [root for root in found if root is not None]

    def find_all(self, role=None, name=None, within=None, showing=True, limit=20000):
        """Every control of `role` (a name such as "push button" or a pyatspi.ROLE_*) and
        `name` (exact text, or a compiled pattern searched for), depth first. With `showing`,
        only what is on screen: hidden windows and pages are not looked into."""
        matches = []
        stack = list(reversed([within] if within is not None else self.roots()))
        visited = 0
        while stack and visited < limit:
            node = stack.pop()
            visited += 1
            try:
                if showing and not is_showing(node):
                    continue
                if role_matches(node, role) and name_matches(node, name):
                    matches.append(node)
                count = node.childCount
                stack.extend(node.getChildAtIndex(i) for i in reversed(range(count)))
            except Exception:  # noqa: BLE001 - went away while being read
                continue
        return [m for m in matches if m is not None]

    def find(self, role=None, name=None, within=None, showing=True):
        """The first matching control, or None."""
        found = self.find_all(role, name, within, showing)
        return found[0] if found else None

    def wait_for(self, role=None, name=None, within=None, timeout=10.0, showing=True):
        """Waits until a matching control is there and returns it."""
        return wait_until(f"a {role or 'control'} named {name!r}",
                          lambda: self.find(role, name, within, showing), timeout)

    def window(self, name):
        """The application's window (main window, dialog, panel) titled `name`, or None."""
        for root in self.roots():
            try:
                if root.name == name and is_showing(root):
                    return root
            except Exception:  # noqa: BLE001 - gone
                continue
        return None

    def wait_window(self, name, timeout=10.0):
        """Waits until the window titled `name` is on screen and returns it."""
        return wait_until(f"the window {name!r}", lambda: self.window(name), timeout)

    def wait_window_gone(self, name, timeout=10.0):
        wait_until(f"the window {name!r} to close", lambda: self.window(name) is None, timeout)

    def wait_gone(self, role=None, name=None, within=None, timeout=10.0):
        """Waits until no matching control is on screen."""
        wait_until(f"the {role or 'control'} named {name!r} to go away",
                   lambda: self.find(role, name, within) is None, timeout)

    def press(self, control):
        """Presses a button, activates a menu item (their "Press" or "Click" action)."""
        do_action(control, ("press", "click", "activate"))

    def click(self, control, button=1, double=False):
        """Clicks a control with the real pointer, at its centre: for what offers no action
        (list rows, links) or where the mouse path itself is under test."""
        x, y, width, height = self.extents(control)
        # "--sync" waits for the pointer to move: a step aside first, so a second click on
        # the same spot does not wait forever.
        self.session.xdotool("mousemove", x + width // 2 + 3, y + height // 2)
        self.session.xdotool("mousemove", "--sync", x + width // 2, y + height // 2,
                             "click", *(["--repeat", 2] if double else []), button)

    def set_text(self, control, text):
        """Replaces the text of an editable field, and checks it took it. For a line edit Qt
        does this with setText(): textChanged fires, textEdited does not (type_into does)."""
        try:
            editable = control.queryEditableText()
        except NotImplementedError as error:
            raise Failure(f"{describe(control)} is not editable text") from error
        editable.setTextContents(text)
        wait_until(f"{describe(control)} to hold {text!r}", lambda: self.text(control) == text,
                   timeout=3.0)

    def type_into(self, control, text):
        """Replaces a field's text the way a person does: focus, select all, type."""
        self.focus(control)
        self.session.key("ctrl+a", "BackSpace")
        if text:
            self.session.type_text(text)
        wait_until(f"{describe(control)} to hold {text!r}", lambda: self.text(control) == text,
                   timeout=5.0)

    def text(self, control):
        """The text a control shows: its Text interface, else its name."""
        try:
            return control.queryText().getText(0, -1)
        except NotImplementedError:
            return control.name

    def is_checked(self, control):
        states = control.getState()
        return states.contains(pyatspi.STATE_CHECKED) or states.contains(pyatspi.STATE_PRESSED)

    def set_checked(self, control, checked=True):
        """Toggles a check box or toggle button until it is `checked`."""
        if self.is_checked(control) != checked:
            do_action(control, ("toggle", "press", "click"))
        wait_until(f"{describe(control)} to be {'checked' if checked else 'unchecked'}",
                   lambda: self.is_checked(control) == checked, timeout=3.0)

    def focus(self, control):
        """Gives a control the keyboard (then Session.type_text types into it)."""
        if not control.queryComponent().grabFocus():
            do_action(control, ("setfocus",))
        wait_until(f"{describe(control)} to have the focus",
                   lambda: control.getState().contains(pyatspi.STATE_FOCUSED), timeout=3.0)

    def extents(self, control):
        """(x, y, width, height) of a control on the screen."""
        box = control.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        return (box.x, box.y, box.width, box.height)

    def tree(self, max_lines=400, budget=5.0):
        """What is on screen, one control a line, for failure reports; within `budget`
        seconds, since a hung application answers each question only at the time-out."""
        lines = []
        deadline = time.monotonic() + budget

        def walk(node, depth):
            if len(lines) >= max_lines or node is None or time.monotonic() > deadline:
                return
            try:
                if not is_showing(node):
                    return
                actions = action_names(node)
                lines.append("  " * depth + describe(node) +
                             (f" actions={actions}" if actions else ""))
                for i in range(node.childCount):
                    walk(node.getChildAtIndex(i), depth + 1)
            except Exception:  # noqa: BLE001
                return

        for root in self.roots():
            walk(root, 0)
        return "\n".join(lines)


class Target:
    """A text field in another application (tests/e2e/e2e_target), which writes what it holds
    to a file: what the user's typing and ScrivLane's expansions put there."""

    def __init__(self, session, process, path, window):
        self.session = session
        self.process = process
        self.path = Path(path)
        self.window = window

    def text(self):
        try:
            return self.path.read_text()
        except FileNotFoundError:
            return ""

    def focus(self):
        self.session.xdotool("windowactivate", "--sync", self.window)

    def wait_text(self, expected, timeout=5.0):
        """Waits until the field holds exactly `expected`."""
        try:
            wait_until(f"the text field to hold {expected!r}",
                       lambda: self.text() == expected, timeout)
        except Failure as failure:
            raise Failure(f"{failure}; it holds {self.text()!r}") from None

    def type(self, text):
        """Gives the field the keyboard and types `text` into it, key by key."""
        self.focus()
        self.session.type_text(text)

    def clear(self):
        self.focus()
        self.session.key("ctrl+a", "BackSpace")
        self.wait_text("")


# ---------------------------------------------------------------------------------------------
# The session


class Session:
    """A private desktop for one run. Everything it starts it stops again, applications before
    the X server."""

    def __init__(self, root, options, argv):
        self.root = Path(root)
        self.options = options
        self.args = argv  # what run() did not take, for the script's own options
        self.scrivlane_path = options.scrivlane
        self.target_path = options.target
        self.env = dict(os.environ)
        self.display = None
        self.app = None
        self.popups = []
        self._processes = []  # (name, Popen), in the order they started
        self.logs = self.root / "logs"

    # -- processes

    def spawn(self, name, argv, env=None, **kwargs):
        """Starts a program in its own process group, its output in logs/NAME.log."""
        log = open(self.logs / f"{name}.log", "ab")
        process = subprocess.Popen(argv, env=env or self.env, stdout=log, stderr=log,
                                   stdin=subprocess.DEVNULL, start_new_session=True,
                                   preexec_fn=_die_with_parent, **kwargs)
        log.close()
        self._processes.append((name, process))
        return process

    def close(self):
        for _, process in reversed(self._processes):
            stop_process(process)
        self._processes.clear()

    # -- the desktop

    def start_desktop(self, tray_height=24):
        self._start_x_server()
        self.env["DISPLAY"] = self.display
        os.environ["DISPLAY"] = self.display
        self.spawn("openbox", ["openbox", "--sm-disable"])
        wait_until("openbox to manage the screen", self._window_manager_running, timeout=10.0)
        if tray_height:
            self.start_tray(tray_height)
        self._start_accessibility_bus()

    def start_tray(self, height=24):
        """Starts trayer as the system tray and waits until it hosts it."""
        self.spawn("trayer", ["trayer", "--edge", "top", "--align", "right", "--margin", "48",
                              "--widthtype", "pixel", "--width", "96", "--height", str(height)])
        wait_until("trayer to host the system tray",
                   lambda: self._selection_owned(b"_NET_SYSTEM_TRAY_S0"), timeout=10.0)

    def _start_x_server(self):
        read_end, write_end = os.pipe()
        self.spawn("Xvfb", ["Xvfb", "-displayfd", str(write_end), "-screen", "0",
                            f"{SCREEN[0]}x{SCREEN[1]}x24", "-nolisten", "tcp",
                            # never reset when the last client leaves: it refuses
                            # connections meanwhile
                            "-noreset"], pass_fds=(write_end,))
        os.close(write_end)
        number = b""
        deadline = time.monotonic() + 10.0
        os.set_blocking(read_end, False)
        while not number.endswith(b"\n") and time.monotonic() < deadline:
            try:
                chunk = os.read(read_end, 16)
            except BlockingIOError:
                time.sleep(0.02)
                continue
            if not chunk:
                break
            number += chunk
        os.close(read_end)
        if not number.strip().isdigit():
            raise Failure("Xvfb did not report a display within 10 s "
                          f"(see {self.logs / 'Xvfb.log'})")
        self.display = ":" + number.decode().strip()

    def _window_manager_running(self):
        done = command(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], check=False,
                       env=self.env)
        return "window id" in done.stdout

    def _selection_owned(self, atom):
        # What QSystemTrayIcon::isSystemTrayAvailable() checks: an owner of the tray selection.
        xlib = ctypes.CDLL("libX11.so.6")
        xlib.XOpenDisplay.restype = ctypes.c_void_p
        xlib.XOpenDisplay.argtypes = [ctypes.c_char_p]
        xlib.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        xlib.XInternAtom.restype = ctypes.c_ulong
        xlib.XGetSelectionOwner.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
        xlib.XGetSelectionOwner.restype = ctypes.c_ulong
        xlib.XCloseDisplay.argtypes = [ctypes.c_void_p]
        connection = xlib.XOpenDisplay(self.display.encode())
        if not connection:
            return False
        try:
            return xlib.XGetSelectionOwner(connection,
                                           xlib.XInternAtom(connection, atom, 0)) != 0
        finally:
            xlib.XCloseDisplay(connection)

    def _start_accessibility_bus(self):
        global pyatspi, GLib, Atspi
        self.spawn("at-spi-bus-launcher", [AT_SPI_LAUNCHER, "--launch-immediately"])
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Gio, GLib as glib
        GLib = glib
        bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)

        def launched():
            # Asking for the address before the launcher owns its name would start a second
            # one through D-Bus activation.
            owned = bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                  "org.freedesktop.DBus", "NameHasOwner",
                                  GLib.Variant("(s)", ("org.a11y.Bus",)),
                                  GLib.VariantType("(b)"), Gio.DBusCallFlags.NONE, 2000, None)
            return owned.unpack()[0]

        wait_until("the accessibility bus launcher", launched, timeout=10.0)
        import pyatspi as atspi_module
        from gi.repository import Atspi as atspi
        pyatspi, Atspi = atspi_module, atspi
        Atspi.set_timeout(3000, 15000)
        # Qt leaves popups out of the application's children; they are found through the
        # events that show them. Registering first also tells Qt that someone listens.
        pyatspi.Registry.registerEventListener(self._on_showing, "object:state-changed:showing")
        pump()

    def _on_showing(self, event):
        try:
            if not event.detail1:
                return
            source = event.source
            parent = source.parent
            if parent is not None and parent.getRole() == pyatspi.ROLE_APPLICATION \
                    and source.getIndexInParent() < 0 and all(source != p for p in self.popups):
                self.popups.append(source)
        except Exception:  # noqa: BLE001 - gone before we looked
            pass

    # -- ScrivLane

    def app_env(self, extra=None):
        env = dict(self.env)
        env["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        env.pop("QT_QPA_PLATFORM", None)
        env.update(self.options.app_env)
        env.update(extra or {})
        return env

    def start_scrivlane(self, env=None, wait_for_tray=True):
        """Starts the real `scrivlane` and waits until it is on the accessibility bus (and its
        icon in the tray)."""
        log = self.logs / "scrivlane.log"
        process = self.spawn("scrivlane", [self.scrivlane_path], env=self.app_env(env))
        app = App(self, process, log)
        self.app = app
        _ = app.accessible
        if wait_for_tray and "trayer" in dict(self._processes):
            self.tray_icon()
        return app

    def seed_demo(self):
        """Fills the store with the demo library (tests/a11y/demo): three categories, eight
        snippets, one of them rich."""
        command(["bash", str(Path(__file__).with_name("demo") / "seed"), self.scrivlane_path],
                env=self.app_env(), timeout=60.0)

    def cli(self, *arguments, input=None, check=True):
        """Runs a `scrivlane` command on this session's store; its standard output."""
        done = command([self.scrivlane_path, *map(str, arguments)], env=self.app_env(),
                       input=input, check=False, timeout=30.0)
        if check and done.returncode != 0:
            raise Failure(f"scrivlane {' '.join(map(str, arguments))} exited with "
                          f"{done.returncode}: {done.stderr.strip()}")
        return done.stdout

    def cli_json(self, *arguments):
        """Runs a command that prints JSON (snippet list, category list...) and parses it."""
        return json.loads(self.cli(*arguments))

    # -- the tray

    def tray_icon(self, timeout=10.0):
        """(window, x, y, width, height) of ScrivLane's icon in the tray."""
        return wait_until("ScrivLane's icon in the tray", self._find_tray_icon, timeout)

    def _find_tray_icon(self):
        # The icon is an XEmbed client: a window with ScrivLane's WM_CLASS that trayer has
        # reparented into its panel. Other windows of the app carry the same class, so only
        # trayer's subtree is searched.
        panels = self.xdotool("search", "--class", "trayer", check=False).split()
        for panel in panels:
            tree = command(["xwininfo", "-tree", "-id", panel], env=self.env, check=False)
            for line in tree.stdout.splitlines():
                if TRAY_CLASS not in line:
                    continue
                match = re.search(r"^\s*(0x[0-9a-f]+) .*\s(\d+)x(\d+)[+-]-?\d+[+-]-?\d+"
                                  r"\s+\+(-?\d+)\+(-?\d+)\s*$", line)
                if match and int(match.group(2)) > 1 and int(match.group(3)) > 1:
                    window = match.group(1)
                    width, height, x, y = map(int, match.group(2, 3, 4, 5))
                    return (window, x, y, width, height)
        return None

    def open_tray_menu(self, app):
        """Right-clicks the tray icon and returns its context menu once it is on screen."""
        _, x, y, width, height = self.tray_icon()
        # Press near the icon's lower right corner, so that the menu, which opens at the
        # pointer, leaves the icon in sight; release far from both: a release over the menu
        # that has just opened under the pointer would choose an item.
        away_x = 10 if x > SCREEN[0] // 2 else SCREEN[0] - 10
        away_y = 10 if y > SCREEN[1] // 2 else SCREEN[1] - 10
        self.xdotool("mousemove", "--sync", x + width - 2, y + height - 2, "mousedown", 3)
        self.xdotool("mousemove", "--sync", away_x, away_y, "mouseup", 3)
        return app.wait_for("popup menu", None, timeout=5.0)

    # -- keyboard and other windows

    def xdotool(self, *arguments, check=True):
        return command(["xdotool", *map(str, arguments)], env=self.env, check=check).stdout

    def type_text(self, text, delay_ms=40):
        """Types into whatever has the keyboard, key by key (XTEST), as a person would."""
        self.xdotool("type", "--delay", delay_ms, text)

    def key(self, *keys):
        """Presses keys such as "Return", "Escape", "ctrl+a"."""
        self.xdotool("key", "--delay", 40, *keys)

    def clipboard(self, selection="clipboard"):
        """The text on an X selection ("clipboard", "primary"); empty when it has none."""
        done = command(["xclip", "-selection", selection, "-o"], env=self.env, check=False)
        return done.stdout if done.returncode == 0 else ""

    def find_window(self, name, timeout=10.0):
        """The X window whose title is exactly `name`."""
        pattern = "^" + re.sub(r"([.^$*+?()\[\]{}|\\])", r"\\\1", name) + "$"  # POSIX ERE
        found = wait_until(f"a window named {name!r}",
                           lambda: self.xdotool("search", "--onlyvisible", "--name", pattern,
                                                check=False).split(), timeout)
        return found[0]

    def start_target(self, name="target", rich=False):
        """Starts the end-to-end text field on this display and gives it the keyboard."""
        path = self.root / f"{name}.txt"
        argv = [self.target_path, str(path)] + (["--rich"] if rich else [])
        process = self.spawn(name, argv, env=self.app_env())
        title = "scrivlane-e2e-rich" if rich else "scrivlane-e2e-target"
        target = Target(self, process, path, self.find_window(title))
        target.focus()
        return target

    # -- pictures

    def capture_window(self, window, path):
        """Writes a PNG of one X window (its contents, without the frame)."""
        command(["import", "-window", str(window), str(path)], env=self.env, timeout=20.0)

    def capture_region(self, region, path, margin=0):
        """Writes a PNG of part of the screen: (x, y, width, height), grown by `margin`."""
        x, y, width, height = region
        x0, y0 = max(0, x - margin), max(0, y - margin)
        x1 = min(SCREEN[0], x + width + margin)
        y1 = min(SCREEN[1], y + height + margin)
        command(["import", "-window", "root", "-crop", f"{x1 - x0}x{y1 - y0}+{x0}+{y0}",
                 "+repage", str(path)], env=self.env, timeout=20.0)

    def mean_brightness(self, region):
        """How light part of the screen is, from 0 (black) to 1 (white)."""
        x, y, width, height = region
        done = command(["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}",
                        "-colorspace", "Gray", "-format", "%[fx:mean]", "info:"],
                       env=self.env, timeout=20.0)
        return float(done.stdout.strip())

    def set_background(self, color):
        """Paints the desktop behind the windows (black otherwise)."""
        command(["xsetroot", "-solid", color], env=self.env)

    @staticmethod
    def union(*regions):
        left = min(r[0] for r in regions)
        top = min(r[1] for r in regions)
        right = max(r[0] + r[2] for r in regions)
        bottom = max(r[1] + r[3] for r in regions)
        return (left, top, right - left, bottom - top)

    @staticmethod
    def check(condition, message):
        if not condition:
            raise Failure(message)


# ---------------------------------------------------------------------------------------------
# Running a test


def _options(argv):
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--scrivlane", default=os.environ.get("SCRIVLANE_EXECUTABLE"))
    parser.add_argument("--target", default=os.environ.get("E2E_TARGET"))
    parser.add_argument("--artifacts", default=os.environ.get("SCRIVLANE_A11Y_ARTIFACTS"))
    parser.add_argument("--timeout", type=float, default=90.0)
    parser.add_argument("--tray-height", type=int, default=24)
    parser.add_argument("--app-env", action="append", default=[],
                        help="NAME=VALUE for ScrivLane's environment")
    parser.add_argument("--keep", action="store_true", help="keep the session's folder")
    options, rest = parser.parse_known_args(argv)
    options.app_env = dict(item.split("=", 1) for item in options.app_env)
    return options, rest


def _missing_tools(extra):
    missing = [tool for tool in TOOLS + list(extra) if shutil.which(tool) is None]
    if importlib.util.find_spec("pyatspi") is None:
        missing.append("python3-pyatspi (run with /usr/bin/python3)")
    return missing


def run(main, tools=()):
    """Runs main(session) on a private desktop and exits with its verdict."""
    options, rest = _options(sys.argv[1:])
    if INNER in os.environ:
        sys.exit(_inner(main, options, rest))
    sys.exit(_outer(options, tools))


def _outer(options, tools):
    name = Path(sys.argv[0]).stem
    missing = _missing_tools(tools)
    for required, value in (("--scrivlane", options.scrivlane), ("--target", options.target)):
        if not value or not os.access(value, os.X_OK):
            missing.append(f"{required} (an executable; got {value!r})")
    if missing:
        if os.environ.get("SCRIVLANE_REQUIRE_ALL_TESTS") == "1":
            print(f"{name}: FAILED: missing {', '.join(missing)} "
                  "(SCRIVLANE_REQUIRE_ALL_TESTS is set: the test machine lacks it)")
            return 1
        print(f"{name}: SKIPPED: missing {', '.join(missing)}")
        return SKIPPED

    root = Path(tempfile.mkdtemp(prefix="scrivlane-a11y-"))
    env = {k: v for k, v in os.environ.items()
           if k not in ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS",
                        "QT_QPA_PLATFORM", "SESSION_MANAGER", "AT_SPI_BUS_ADDRESS")}
    home = root / "home"
    places = {"HOME": home, "XDG_CONFIG_HOME": home / ".config",
              "XDG_DATA_HOME": home / ".local/share", "XDG_CACHE_HOME": home / ".cache",
              "XDG_STATE_HOME": home / ".local/state", "XDG_RUNTIME_DIR": root / "run",
              "SCRIVLANE_HOME": root / "scrivlane"}
    for variable, path in places.items():
        path.mkdir(parents=True, exist_ok=True)
        env[variable] = str(path)
    os.chmod(root / "run", 0o700)
    env[INNER] = str(root)
    env[OUTER] = str(os.getpid())
    env["PYTHONDONTWRITEBYTECODE"] = "1"

    # Programs that D-Bus starts (the accessibility registry, a keyring) leave their parent;
    # as a subreaper this process gets them, and ends them below.
    libc = ctypes.CDLL(None, use_errno=True)
    libc.prctl(36, 1)  # PR_SET_CHILD_SUBREAPER
    # The session bus's own messages go to a log; the test's output to ours.
    (root / "logs").mkdir()
    with open(root / "logs" / "dbus-session.log", "wb") as bus_log:
        session = subprocess.Popen(["dbus-run-session", "--", sys.executable, *sys.argv],
                                   env=env, stderr=bus_log, start_new_session=True,
                                   preexec_fn=_die_with_parent)
    try:
        code = session.wait(options.timeout)
    except subprocess.TimeoutExpired:
        print(f"{name}: FAILED: no verdict within {options.timeout:g} s; stopping the session",
              flush=True)
        # The inner run reports and cleans up on SIGTERM, while its buses still answer.
        try:
            os.kill(int((root / "inner.pid").read_text()), signal.SIGTERM)
        except (OSError, ValueError):
            os.killpg(session.pid, signal.SIGTERM)
        try:
            session.wait(20)
        except subprocess.TimeoutExpired:
            os.killpg(session.pid, signal.SIGKILL)
            session.wait()
        code = 1
    _reap_orphans()
    if options.keep:
        print(f"{name}: the session's files are in {root}")
    else:
        shutil.rmtree(root, ignore_errors=True)
    return code


def _reap_orphans():
    for sig in (signal.SIGTERM, signal.SIGKILL):
        left = descendants_of(os.getpid())
        for pid in left:
            try:
                os.kill(pid, sig)
            except ProcessLookupError:
                pass
        deadline = time.monotonic() + 3.0
        while left and time.monotonic() < deadline:
            left = [pid for pid in left if not _reaped(pid)]
            time.sleep(0.05)


def _reaped(pid):
    try:
        return os.waitpid(pid, os.WNOHANG)[0] == pid
    except ChildProcessError:  # not ours, or already gone
        return not Path(f"/proc/{pid}").exists()


def _inner(main, options, rest):
    name = Path(sys.argv[0]).stem

    def stop(signum, frame):
        raise Interrupted(f"stopped by signal {signum}")

    signal.signal(signal.SIGTERM, stop)
    # A killed outer process takes dbus-run-session with it, and that this one.
    _die_with_parent()
    session_runner = os.getppid()
    Path(os.environ[INNER], "inner.pid").write_text(str(os.getpid()))
    os.dup2(1, 2)
    session = Session(os.environ[INNER], options, rest)
    started = time.monotonic()
    code = 0
    try:
        session.start_desktop(options.tray_height)
        main(session)
        print(f"{name}: PASSED in {time.monotonic() - started:.1f} s")
    except BaseException as error:  # noqa: BLE001 - report, then clean up
        code = 1
        print(f"{name}: FAILED: {error}")
        if not isinstance(error, (Failure, Interrupted)):
            traceback.print_exc(file=sys.stdout)
        _report(session, name, options)
    finally:
        signal.signal(signal.SIGTERM, signal.SIG_IGN)  # the clean-up itself is not cut short
        session.close()
        _end_marked(session_runner)
    return code


def _end_marked(session_runner):
    """Ends what D-Bus started for this run (the registry, a keyring): they left their parent,
    but carry the run's folder in their environment. The session bus itself, our sibling, and
    our ancestors are left to dbus-run-session."""
    marker = f"{INNER}={os.environ[INNER]}".encode()
    table = processes()
    spared = {os.getpid()}
    pid = os.getpid()
    while pid in table and pid not in (0, 1):
        pid = table[pid][0]
        spared.add(pid)
    spared.update(child for child, (parent, _) in table.items() if parent == session_runner)
    for pid in table:
        if pid in spared:
            continue
        try:
            with open(f"/proc/{pid}/environ", "rb") as environ:
                if marker not in environ.read().split(b"\0"):
                    continue
            os.kill(pid, signal.SIGTERM)
        except (OSError, ProcessLookupError):
            continue


def _report(session, name, options):
    """What a failed run leaves for its reader: the screen, the controls, the logs."""
    if options.artifacts and session.display and shutil.which("import"):
        folder = Path(options.artifacts)
        folder.mkdir(parents=True, exist_ok=True)
        picture = folder / f"{name}-failure.png"
        try:
            session.capture_region((0, 0) + SCREEN, picture)
            print(f"the screen at the failure: {picture}")
        except Failure as error:
            print(f"(no picture of the screen: {error})")
    app = session.app
    if app is not None and pyatspi is not None:
        try:
            print("controls on screen:\n" + app.tree())
        except Exception as error:  # noqa: BLE001
            print(f"(could not list the controls: {error})")
    for log in sorted(session.logs.glob("*.log")):
        lines = log.read_text(errors="replace").splitlines()
        if lines:
            print(f"--- {log.name} (last {min(len(lines), 30)} lines)")
            print("\n".join(lines[-30:]))
