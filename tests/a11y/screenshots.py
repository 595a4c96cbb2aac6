"""Pictures of ScrivLane for docs/screenshots: the demo library in the store, then each shot
drives the real application into one state and captures the window that shows it.
scripts/screenshots runs this once for each look (light, dark, 16 px tray), each on a fresh
private desktop; --suffix names the look in the file names.

A shot is a function registered with @shot("file-name"): it gets the session, the running
app and a camera, takes its picture with the camera, and leaves the app as it found it. Shots
that show the tray say so (tray=True): only they are taken again with a 16 px tray."""

import argparse
import http.server
import threading
import time
from pathlib import Path

from scrivlane_a11y import run

SHOTS = []


class NotDark(Exception):
    """The app drew a dark look's window in light colours."""


def shot(name, tray=False):
    def register(function):
        SHOTS.append((name, function, tray))
        return function
    return register


class Camera:
    """Writes one shot's PNG. In a dark look it also checks that ScrivLane's part of the
    picture is dark: a light picture named -dark would only mislead."""

    def __init__(self, session, path, dark):
        self.session, self.path, self.dark = session, path, dark

    def window(self, window, app_box):
        self.session.capture_window(window, self.path)
        self._check(app_box)

    def region(self, region, app_box, margin=0):
        self.session.capture_region(region, self.path, margin)
        self._check(app_box)

    def _check(self, app_box):
        if self.dark and app_box and self.session.mean_brightness(app_box) > 0.5:
            self.path.unlink()
            raise NotDark()


@shot("tray-menu", tray=True)
def tray_menu(session, app, camera):
    menu = session.open_tray_menu(app)
    _, x, y, width, height = session.tray_icon()
    menu_box = app.extents(menu)
    camera.region(session.union(menu_box, (x, y, width, height)), menu_box, margin=16)
    session.key("Escape")
    app.wait_gone("popup menu")


@shot("generating-panel")
def generating_panel(session, app, camera):
    target = session.start_target("generating-target")
    target.type(";gen")
    panel = session.find_window("ScrivLane is generating")
    time.sleep(0.5)
    camera.window(panel, None)
    target.wait_text("Hello", timeout=10.0)
    time.sleep(1.5)  # the expansion ends once the clipboard is back


@shot("fill-in-form")
def fill_in_form(session, app, camera):
    target = session.start_target("fill-in-target")
    target.type(";order")
    form = app.wait_window("Complete Snippet")
    app.set_text(app.wait_for("text", "Name", within=form), "Ada")
    app.focus(app.wait_for("text", "Order number", within=form))
    camera.window(session.find_window("Complete Snippet"), app.extents(form))
    app.press(app.wait_for("push button", "Cancel", within=form))
    app.wait_window_gone("Complete Snippet")


class SlowProvider(http.server.BaseHTTPRequestHandler):
    """An AI provider on this machine that takes its time, so the generating panel stays up."""

    def do_POST(self):
        self.rfile.read(int(self.headers.get("Content-Length", 0)))
        time.sleep(4)
        body = b'{"choices":[{"message":{"role":"assistant","content":"Hello"}}]}'
        self.send_response(200)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *args):
        pass


def serve_slow_provider(session):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), SlowProvider)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    session.cli("ai", "provider", "custom")
    session.cli("config", "set", "ai_base_url", f"http://127.0.0.1:{server.server_port}/v1")
    session.cli("config", "set", "ai_enabled", "true")
    session.cli("ai", "key", "set", input="sk-local\n")
    session.cli("snippet", "add", "--abbreviation", ";gen", "--text", "{ai: say hello}")
    return server


def options_parser():
    parser = argparse.ArgumentParser(prog="screenshots.py")
    parser.add_argument("--out", required=True, help="folder for the PNG files")
    parser.add_argument("--suffix", default="",
                        help="added to each file's name: --suffix=-dark, --suffix=-16px")
    parser.add_argument("--dark", action="store_true",
                        help="the look is a dark palette: check that the windows are dark")
    parser.add_argument("--tray-shots", action="store_true", help="only the shots of the tray")
    parser.add_argument("--only", action="append", choices=[name for name, _, _ in SHOTS],
                        help="just this shot (repeatable)")
    return parser


def main(session):
    options = options_parser().parse_args(session.args)
    out = Path(options.out)
    out.mkdir(parents=True, exist_ok=True)

    session.set_background("#4a5560")
    session.seed_demo()
    provider = serve_slow_provider(session)
    app = session.start_scrivlane()
    app.wait_for_log("watching the keyboard")
    for name, take, shows_tray in SHOTS:
        if (options.only and name not in options.only) or (options.tray_shots and not shows_tray):
            continue
        path = out / f"{name}{options.suffix}.png"
        try:
            take(session, app, Camera(session, path, options.dark))
        except NotDark:
            print(f"{path.name}: not written, ScrivLane drew it light: it does not apply "
                  "SCRIVLANE_PALETTE=dark (yet); no dark pictures this time")
            return
        print(f"wrote {path}")
    provider.shutdown()


if __name__ == "__main__":
    options_parser().parse_known_args()  # a wrong option fails before any session starts
    run(main, tools=("import", "xsetroot"))
