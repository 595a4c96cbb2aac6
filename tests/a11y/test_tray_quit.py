"""Quitting from the tray: the icon's menu, opened with the mouse, offers "Quit ScrivLane";
choosing it ends ScrivLane, supervisor included, with status 0."""

from scrivlane_a11y import run


def main(session):
    app = session.start_scrivlane()
    session.open_tray_menu(app)
    app.press(app.wait_for("menu item", "Quit ScrivLane"))
    code = app.wait_exit(timeout=10)
    session.check(code == 0, f"scrivlane exited with {code}, not 0")


if __name__ == "__main__":
    run(main)
