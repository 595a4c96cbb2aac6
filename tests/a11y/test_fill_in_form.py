"""The fill-in form through its accessible controls: an abbreviation typed in another
application opens the form; the values put in its fields (set through their text interface, or
typed) reach that application when "Insert" is pressed (through its action or with the
pointer), and nothing but the erased abbreviation when "Cancel" is."""

from scrivlane_a11y import run, wait_until

CASES = [
    # how the fields are filled; the button, pressed through its action or clicked with the
    # pointer; the values for Name and City; what the text field then holds
    ("set_text", "Insert", "press", ("", "Zürich"), "xDear  of Zürich."),
    ("type_into", "Insert", "click", ("Grace", "Bergen"), "xDear Grace of Bergen."),
    ("set_text", "Cancel", "press", ("Ada", "Oslo"), "x"),
]


def main(session):
    session.cli("snippet", "add", "--abbreviation", ";fi",
                "--text", "Dear {fill:Name} of {fill:City}.")
    app = session.start_scrivlane()
    app.wait_for_log("watching the keyboard")
    target = session.start_target()
    for fill, button, how, (name, city), expected in CASES:
        target.clear()
        target.type("x;fi")
        form = app.wait_window("Complete Snippet")
        getattr(app, fill)(app.wait_for("text", "Name", within=form), name)
        getattr(app, fill)(app.wait_for("text", "City", within=form), city)
        getattr(app, how)(app.wait_for("push button", button, within=form))
        app.wait_window_gone("Complete Snippet")
        target.wait_text(expected)
        # The expansion is over once the user's clipboard (empty here) is back.
        wait_until("the clipboard to be put back", lambda: session.clipboard() == "", 5)


if __name__ == "__main__":
    run(main)
