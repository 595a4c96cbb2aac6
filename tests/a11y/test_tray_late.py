"""A tray host that starts after ScrivLane (login autostart often wins that race): the icon
docks in it once the host is there. Run with --tray-height 0, so that the
desktop starts without trayer."""

from scrivlane_a11y import run, wait_until


def main(session):
    app = session.start_scrivlane(wait_for_tray=False)
    app.wait_for_log("no system tray yet")
    session.spawn("trayer", ["trayer", "--edge", "top", "--align", "right", "--margin", "48",
                             "--widthtype", "pixel", "--width", "96", "--height", "24"])
    wait_until("trayer to host the system tray",
               lambda: session._selection_owned(b"_NET_SYSTEM_TRAY_S0"), timeout=10.0)
    session.tray_icon(timeout=10.0)
    app.wait_for_log("the system tray is here")


if __name__ == "__main__":
    run(main)
