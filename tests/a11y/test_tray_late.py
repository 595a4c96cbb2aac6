"""A tray host that starts after ScrivLane (login autostart often wins that race): the icon
docks in it once the host is there. Run with --tray-height 0, so that the
desktop starts without trayer."""

from scrivlane_a11y import run


def main(session):
    app = session.start_scrivlane(wait_for_tray=False)
    app.wait_for_log("no system tray yet")
    session.start_tray()
    session.tray_icon(timeout=10.0)
    app.wait_for_log("the system tray is here")


if __name__ == "__main__":
    run(main)
