"""The fill-in form through its accessible controls: an abbreviation typed in another
application opens the form; the values set in its fields reach that application when "Insert"
is pressed (through its action or with the pointer), and nothing but the erased
abbreviation when "Cancel" is."""

from scrivlane_a11y import run, wait_until

CASES = [
    # button, pressed through its action or clicked with the pointer; values for Name and
    # City; what the text field then holds
    ("Insert", "press", ("Ada", "Oslo"), "xDear Ada of Oslo."),
    ("Insert", "click", ("", "Zürich"), "xDear  of Zürich."),
    ("Cancel", "press", ("Ada", "Oslo"), "x"),
]


def main(session):
    session.cli("snippet", "add", "--abbreviation", ";fi",
                "--text", "Dear {fill:Name} of {fill:City}.")
    app = session.start_scrivlane()
    app.wait_for_log("watching the keyboard")
    target = session.start_target()
    for button, how, (name, city), expected in CASES:
        target.clear()
        target.type("x;fi")
        form = app.wait_window("Complete Snippet")
        app.set_text(app.wait_for("text", "Name", within=form), name)
        app.set_text(app.wait_for("text", "City", within=form), city)
        getattr(app, how)(app.wait_for("push button", button, within=form))
        app.wait_window_gone("Complete Snippet")
        target.wait_text(expected)
        # The expansion is over once the user's clipboard (empty here) is back.
        wait_until("the clipboard to be put back", lambda: session.clipboard() == "", 5)


if __name__ == "__main__":
    run(main)
