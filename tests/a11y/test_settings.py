"""The settings through the accessible controls alone: launch at login writes its autostart
entry; a backup folder chosen in the folder dialog and "Back Up Now" leave a backup file and
say so; the AI provider switched to Anthropic, pointed at a server on this machine, given a key
and tested answers "Connected — model replied: …"."""

import json
import os
import re
import threading
from http.server import BaseHTTPRequestHandler, HTTPServer
from pathlib import Path

from scrivlane_a11y import Failure, run, wait_until


class Anthropic(BaseHTTPRequestHandler):
    """Answers the messages endpoint as Anthropic does, and records the key it was sent (as
    x-api-key or, the gateway default, a bearer token)."""
    keys = []

    def do_POST(self):  # noqa: N802 - the handler's name
        self.rfile.read(int(self.headers.get("Content-Length", 0)))
        bearer = self.headers.get("Authorization", "")
        Anthropic.keys.append(self.headers.get("x-api-key") or bearer.removeprefix("Bearer "))
        body = json.dumps({"id": "msg_1", "type": "message", "role": "assistant",
                           "content": [{"type": "text", "text": "ready"}],
                           "stop_reason": "end_turn"}).encode()
        self.send_response(200 if self.path.endswith("/messages") else 404)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):  # noqa: N802 - the model list: none here
        self.send_response(404)
        self.end_headers()

    def log_message(self, *arguments):
        pass


def section(app, window, name):
    app.click(app.wait_for("list item", name, within=window))


def main(session):
    home = Path(session.app_env()["HOME"])
    app = session.start_scrivlane()
    app.wait_for_log("watching the keyboard")
    session.open_tray_menu(app)
    app.press(app.wait_for("menu item", "Settings"))
    window = app.wait_window("ScrivLane")

    # General opens first; launch at login writes the autostart entry.
    app.set_checked(app.wait_for("check box", "Launch at Login", within=window))
    entry = home / ".config" / "autostart" / "com.pellucidforge.scrivlane.desktop"
    wait_until("the autostart entry", entry.exists)
    exec_line = next(line for line in entry.read_text().splitlines() if line.startswith("Exec="))
    if os.path.basename(session.scrivlane_path) not in exec_line:
        raise Failure(f"the entry starts {exec_line!r}")

    # A backup folder through the folder dialog, then a backup.
    folder = home / "Backups"
    folder.mkdir()
    section(app, window, "Backup & Sync")
    app.press(app.wait_for("push button", "Choose…", within=window))
    dialog = app.wait_window("Select a folder for automatic ScrivLane backups")
    name = app.wait_for("text", None, within=dialog)
    session.key("ctrl+a")
    session.type_text(str(folder))
    session.key("Return")
    app.wait_window_gone("Select a folder for automatic ScrivLane backups")
    app.press(app.wait_for("push button", "Back Up Now", within=window))
    wait_until("a backup file", lambda: list(folder.glob("ScrivLane-Backup-*.json")))
    app.wait_for(None, re.compile("^\u2713 Saved to ScrivLane-Backup-"), within=window)

    # Anthropic, at a server on this machine, with a key, tested.
    server = HTTPServer(("127.0.0.1", 0), Anthropic)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    try:
        section(app, window, "AI Macros")
        # Qt names a combo box by its current choice.
        app.press(app.wait_for("combo box", "OpenAI", within=window))
        app.click(app.wait_for("list item", "Anthropic"))
        app.set_checked(app.wait_for(None, "Advanced", within=window))
        base = [f for f in app.find_all("text", "Base URL", within=window)]
        if not base:
            raise Failure("no Base URL field for Anthropic")
        app.type_into(base[0], f"http://127.0.0.1:{server.server_port}/v1")
        # A password field does not read its text back: typed, then checked at the server.
        app.focus(app.wait_for("password text", "API Key", within=window))
        session.key("ctrl+a", "BackSpace")
        session.type_text("sk-ant-test")
        app.press(app.wait_for("push button", "Test Connection", within=window))
        app.wait_for(None, "Connected \u2014 model replied: \"ready\"", within=window,
                     timeout=15)
        if "sk-ant-test" not in Anthropic.keys:
            raise Failure(f"the server got the keys {Anthropic.keys!r}")
    finally:
        server.shutdown()


if __name__ == "__main__":
    run(main)
