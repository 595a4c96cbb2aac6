"""Pictures of ScrivLane for docs/screenshots: the demo library in the store, then each shot
drives the real application into one state and captures the window that shows it.
scripts/screenshots runs this once for each look (light, dark, 16 px tray), each on a fresh
private desktop; --suffix names the look in the file names.

A shot is a function registered with @shot("file-name"): it gets the session, the running
app and a camera, takes its picture with the camera, and leaves the app as it found it. Shots
that show the tray say so (tray=True): only they are taken again with a 16 px tray."""

import argparse
import re
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
    provider = serve_slow_provider(session)
    time.sleep(1.5)  # the running app takes up the new settings within a second
    try:
        target = session.start_target("generating-target")
        target.type(";gen")
        panel = session.find_window("ScrivLane is generating")
        time.sleep(0.5)
        camera.window(panel, None)
        target.wait_text("Hello", timeout=10.0)
        time.sleep(1.5)  # the expansion ends once the clipboard is back
    finally:
        provider.shutdown()
        # Off again, so that the AI button later shows the set-up for its pictures.
        session.cli("config", "set", "ai_enabled", "false")
        time.sleep(1.5)


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


# -- Before the demo library: the first run -------------------------------------------------

EARLY = []


def early(name):
    def register(function):
        EARLY.append((name, function))
        return function
    return register


def main_window(session, app):
    """The library window, opened from the tray menu when it is not open yet."""
    window = app.window("ScrivLane")
    if window is None:
        session.open_tray_menu(app)
        app.press(app.wait_for("menu item", "Open Snippets"))
        window = app.wait_window("ScrivLane")
    session.xdotool("windowactivate", "--sync", session.find_window("ScrivLane"))
    return window


def window_shot(session, app, camera, title):
    found = app.wait_window(title)
    camera.window(session.find_window(title), app.extents(found))
    return found


@early("welcome-callout")
def welcome_callout(session, app, camera):
    callout = app.wait_for("filler", "ScrivLane is in your system tray", timeout=5)
    _, x, y, width, height = session.tray_icon()
    box = app.extents(callout)
    camera.region(session.union(box, (x, y, width, height)), box, margin=12)
    app.press(app.wait_for("push button", "Got it", within=callout))


@early("main-window-empty")
def main_window_empty(session, app, camera):
    window = main_window(session, app)
    app.wait_for("label", "No Snippets", within=window)
    window_shot(session, app, camera, "ScrivLane")


@early("sync-suggestion")
def sync_suggestion(session, app, camera):
    main_window(session, app)
    session.cli("snippet", "add", "--abbreviation", ";hi", "--title", "Hello", "--text", "Hello!")
    suggestion = window_shot(session, app, camera, "First snippet saved!")
    app.press(app.wait_for("push button", "Maybe Later", within=suggestion))
    app.wait_window_gone("First snippet saved!")


# -- With the demo library --------------------------------------------------------------------


def select_rows(session, app, *titles):
    window = main_window(session, app)
    for i, title in enumerate(titles):
        row = app.wait_for("list item", re.compile("^" + re.escape(title)), within=window)
        if i:
            session.xdotool("keydown", "ctrl")
        app.click(row)
        if i:
            session.xdotool("keyup", "ctrl")
    return window


def discard_edits(session, app):
    """Leaves the editor clean: an edit made for a picture is thrown away."""
    window = main_window(session, app)
    row = app.wait_for("list item", re.compile("^Home address"), within=window)
    app.click(row)
    question = app.window("Unsaved Changes")
    if question is not None:
        app.press(app.wait_for("push button", "Discard Changes", within=question))
        app.wait_window_gone("Unsaved Changes")


@shot("main-window")
def main_window_library(session, app, camera):
    main_window(session, app)
    window_shot(session, app, camera, "ScrivLane")


@shot("main-window-selection")
def main_window_selection(session, app, camera):
    window = select_rows(session, app, "Meeting notes", "Stand-up")
    app.wait_for("push button", "Move 2 Snippets", within=window)
    window_shot(session, app, camera, "ScrivLane")


@shot("editor-plain")
def editor_plain(session, app, camera):
    window = select_rows(session, app, "Order confirmation")
    app.wait_for("text", "Expansion", within=window)
    window_shot(session, app, camera, "ScrivLane")


@shot("editor-rich")
def editor_rich(session, app, camera):
    window = select_rows(session, app, "Signature")
    app.wait_for("push button", "Bold", within=window)
    window_shot(session, app, camera, "ScrivLane")


@shot("editor-preview")
def editor_preview(session, app, camera):
    window = select_rows(session, app, "Order confirmation")
    preview = app.wait_for("check box", "Preview", within=window)
    app.set_checked(preview)
    window_shot(session, app, camera, "ScrivLane")
    app.set_checked(preview, False)


@shot("editor-conflict")
def editor_conflict(session, app, camera):
    window = select_rows(session, app, "Stand-up")
    app.set_text(app.wait_for("text", "Abbreviation", within=window), ";th")  # ;thx exists
    app.wait_for(None, re.compile("^Conflicts with"), within=window)
    window_shot(session, app, camera, "ScrivLane")
    discard_edits(session, app)


@shot("unsaved-changes")
def unsaved_changes(session, app, camera):
    window = select_rows(session, app, "Stand-up")
    app.set_text(app.wait_for("text", "Title", within=window), "Stand-up notes")
    app.click(app.wait_for("list item", re.compile("^Meeting notes"), within=window))
    question = window_shot(session, app, camera, "Unsaved Changes")
    app.press(app.wait_for("push button", "Discard Changes", within=question))
    app.wait_window_gone("Unsaved Changes")


@shot("macro-picker")
def macro_picker(session, app, camera):
    window = select_rows(session, app, "Meeting notes")
    app.press(app.wait_for("push button", "Insert a macro", within=window))
    picker = app.wait_for(None, "Insert a macro", within=None)
    label = app.wait_for("text", "Label")
    box = app.extents(label)
    frame = session.popups[-1] if session.popups else None
    area = app.extents(frame) if frame is not None else (box[0] - 20, box[1] - 360, 420, 520)
    camera.region(area, area, margin=4)
    session.key("Escape")


@shot("link-panel")
def link_panel(session, app, camera):
    window = select_rows(session, app, "Signature")
    text = app.wait_for("text", "Expansion", within=window)
    app.focus(text)
    session.key("ctrl+Home", "shift+End")
    app.press(app.wait_for("push button", "Hyperlink", within=window))
    field = app.wait_for("text", "Link address")
    app.set_text(field, "https://example.org/ada")
    box = app.extents(field)
    region = (box[0] - 12, box[1] - 12, box[2] + 200, box[3] + 24)
    camera.region(session.union(region, app.extents(window)), app.extents(window))
    session.key("Escape")


@shot("new-snippet-sheet")
def new_snippet_sheet(session, app, camera):
    window = main_window(session, app)
    app.press(app.wait_for("push button", "New Snippet", within=window))
    sheet = app.wait_window("New Snippet")
    app.set_text(app.wait_for("text", "Title", within=sheet), "Order status")
    app.set_text(app.wait_for("text", "Abbreviation", within=sheet), ";ord")
    app.wait_for(None, re.compile("^Conflicts with"), within=sheet)
    window_shot(session, app, camera, "New Snippet")
    app.press(app.wait_for("push button", "Cancel", within=sheet))
    app.wait_window_gone("New Snippet")


@shot("category-sheet")
def category_sheet(session, app, camera):
    window = main_window(session, app)
    app.press(app.wait_for("push button", "New Category", within=window))
    sheet = app.wait_window("New Category")
    app.set_text(app.wait_for("text", "Name", within=sheet), "Travel")
    window_shot(session, app, camera, "New Category")
    app.press(app.wait_for("push button", "Cancel", within=sheet))
    app.wait_window_gone("New Category")


@shot("delete-question")
def delete_question(session, app, camera):
    select_rows(session, app, "Home address")
    session.key("Delete")
    question = window_shot(session, app, camera, 'Delete "Home address"?')
    app.press(app.wait_for("push button", "Cancel", within=question))


@shot("ai-onboarding")
def ai_onboarding(session, app, camera):
    window = select_rows(session, app, "Meeting notes")
    app.press(app.wait_for("push button", "AI Macro", within=window))
    dialog = window_shot(session, app, camera, "AI Macros")
    app.press(app.wait_for("push button", "Get Started", within=dialog))
    app.wait_for("label", "Choose a Provider", within=dialog)
    camera.path = camera.path.with_name(camera.path.name.replace("ai-onboarding", "ai-onboarding-providers"))
    window_shot(session, app, camera, "AI Macros")
    app.set_checked(app.wait_for(None, "Ollama (Local)", within=dialog))
    app.press(app.wait_for("push button", "Next", within=dialog))
    app.wait_for("label", "Configure Ollama (Local)", within=dialog)
    camera.path = camera.path.with_name(camera.path.name.replace("ai-onboarding-providers", "ai-onboarding-configure"))
    window_shot(session, app, camera, "AI Macros")
    # Turned on without a test: the picker follows.
    app.press(app.wait_for("push button", "Enable AI Macros", within=dialog))
    app.wait_window_gone("AI Macros")
    app.wait_for("push button", "Make it shorter")
    session.key("Escape")


@shot("ai-prompt-picker")
def ai_prompt_picker(session, app, camera):
    window = select_rows(session, app, "Meeting notes")
    app.press(app.wait_for("push button", "AI Macro", within=window))
    example = app.wait_for("push button", "Make it shorter")
    frame = session.popups[-1] if session.popups else None
    box = app.extents(example)
    area = app.extents(frame) if frame is not None else (box[0] - 20, box[1] - 260, 400, 420)
    camera.region(area, area, margin=4)
    session.key("Escape")
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
    parser.add_argument("--only", action="append",
                        choices=[name for name, _, _ in SHOTS] + [name for name, _ in EARLY],
                        help="just this shot (repeatable)")
    return parser


def main(session):
    options = options_parser().parse_args(session.args)
    out = Path(options.out)
    out.mkdir(parents=True, exist_ok=True)

    session.set_background("#4a5560")
    app = session.start_scrivlane()
    app.wait_for_log("watching the keyboard")
    # The first run, on an empty library; then the demo library, taken up by the running app.
    for name, take in EARLY:
        if (options.only and name not in options.only) or options.tray_shots:
            continue
        path = out / f"{name}{options.suffix}.png"
        try:
            take(session, app, Camera(session, path, options.dark))
        except NotDark:
            print(f"{path.name}: not written, ScrivLane drew it light")
            return
        print(f"wrote {path}")
    session.seed_demo()
    if app.window("ScrivLane") is not None:
        app.wait_for("list item", re.compile("^Signature"), timeout=10)
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


if __name__ == "__main__":
    options_parser().parse_known_args()  # a wrong option fails before any session starts
    run(main, tools=("import", "xsetroot"))
